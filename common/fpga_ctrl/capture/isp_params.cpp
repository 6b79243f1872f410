#include "common/fpga_ctrl/capture/isp_params.h"

#include <array>
#include <cmath>

namespace {

// One entry for each whole stop of gain above unity.
using StopTable = std::array<int, 8>;

// clang-format off
constexpr StopTable u8ThreshTable          = {128, 136, 156, 176, 208, 255, 255, 255};
constexpr StopTable u8SharpenDTable        = { 72,  72,  20,   0,   0,   0,   0,   0};
constexpr StopTable u8SharpenUdTable       = { 58,  58,  22,   0,   0,   0,   0,   0};
constexpr StopTable u16LumaThdTable        = { 80,  80,  80,  32,  32,  32,  32,  32};
constexpr StopTable u8SharpenHFTable       = { 48,  48,  16,   0,   0,   0,   0,   0};
constexpr StopTable u8SharpenMFTable       = { 48,  48,  16,   0,   0,   0,   0,   0};
constexpr StopTable u8SharpenLFTable       = { 24,  24,   8,   0,   0,   0,   0,   0};
constexpr StopTable u8SadAmplifierTable    = { 16,  16,  16,  16,  16,  16,  16,  16};
constexpr StopTable u8EnLowLumaShootTable  = {  0,   1,   1,   1,   1,   1,   1,   1};
constexpr StopTable u8TextureStTable       = { 12,   0,   0,   0,   0,   0,   0,   0};
constexpr StopTable u8EdgeStTable          = { 56,   0,   0,   0,   0,   0,   0,   0};
constexpr StopTable u8OverShootTable       = { 32,   0,   0,   0,   0,   0,   0,   0};
constexpr StopTable u8UnderShootTable      = { 32,   0,   0,   0,   0,   0,   0,   0};
constexpr StopTable u8TextureThdTable      = { 10,  56,  56,  56,  56,  56,  56,  56};
constexpr StopTable u8EdgeThdTable         = {  0,  32,  32,  32,  32,  32,  32,  32};
constexpr StopTable u8JagCtrlTable         = { 16,   4,   4,   4,   4,   4,   4,   4};
constexpr StopTable u8SaltCtrlTable        = { 50, 255, 255, 255, 255, 255, 255, 255};
constexpr StopTable u8PepperCtrlTable      = { 50, 255, 255, 255, 255, 255, 255, 255};
constexpr StopTable u8DetailCtrlTable      = {140, 130, 130, 130, 130, 130, 130, 130};
constexpr std::array<StopTable, 4> au8LumaWgtTable = {{
                                                    {160, 110, 110, 110, 110, 110, 110, 110},
                                                    {200, 150, 150, 150, 150, 150, 150, 150},
                                                    {240, 180, 180, 180, 180, 180, 180, 180},
                                                    {255, 255, 255, 255, 255, 255, 255, 255},
}};
constexpr std::array<BYTE, 4> kLumaThd   = {20, 40, 65, 90};
// clang-format on

// A place between two columns of the tables.
struct StopPlace {
  size_t idx0;
  double coef0, coef1;  // weights of columns idx0 and idx0 + 1
};

StopPlace PlaceOfGain(int gain) {
  double tmp = log(gain * 0.0625) / 0.6931471805599453;
  if (!(tmp > 0.0)) tmp = 0.0;  // also what is no number, from a gain below 0
  if (tmp > 6.99999) tmp = 6.99999;
  const auto idx0 = static_cast<size_t>(tmp);
  const double coef1 = tmp - static_cast<double>(idx0);
  return {idx0, 1.0 - coef1, coef1};
}

int At(const StopTable& table, const StopPlace& place) {
  // Nothing here is below 0, where this would round the wrong way. NOLINTNEXTLINE(bugprone-incorrect-roundings)
  return static_cast<int>(table[place.idx0] * place.coef0 + table[place.idx0 + 1] * place.coef1 + 0.5);
}
BYTE ByteAt(const StopTable& table, const StopPlace& place) { return static_cast<BYTE>(At(table, place)); }

}  // namespace

void LumoCalcIspParas(BYTE* u8Thresh, LUMO_ISP_BAYER_SHARPEN_S* lumoStShp, LUMO_ISP_BAYER_SHARPEN_EX_S* lumoStShpEx,
                      LUMO_ISP_YUV_SHARPEN_MANUAL_ATTR_S* lumoStManual, int gain) {
  const StopPlace place = PlaceOfGain(gain);

  *u8Thresh = ByteAt(u8ThreshTable, place);

  lumoStShp->u8SharpenD = ByteAt(u8SharpenDTable, place);
  lumoStShp->u8SharpenUd = ByteAt(u8SharpenUdTable, place);
  lumoStShp->u16LumaThd = static_cast<uint16_t>(At(u16LumaThdTable, place));

  lumoStShpEx->u8SharpenHF = ByteAt(u8SharpenHFTable, place);
  lumoStShpEx->u8SharpenMF = ByteAt(u8SharpenMFTable, place);
  lumoStShpEx->u8SharpenLF = ByteAt(u8SharpenLFTable, place);
  lumoStShpEx->u8SadAmplifier = ByteAt(u8SadAmplifierTable, place);

  lumoStManual->bEnLowLumaShoot = static_cast<uint32_t>(At(u8EnLowLumaShootTable, place));
  lumoStManual->u8TextureSt = ByteAt(u8TextureStTable, place);
  lumoStManual->u8EdgeSt = ByteAt(u8EdgeStTable, place);
  lumoStManual->u8OverShoot = ByteAt(u8OverShootTable, place);
  lumoStManual->u8UnderShoot = ByteAt(u8UnderShootTable, place);
  lumoStManual->u8TextureThd = ByteAt(u8TextureThdTable, place);
  lumoStManual->u8EdgeThd = ByteAt(u8EdgeThdTable, place);
  lumoStManual->u8JagCtrl = ByteAt(u8JagCtrlTable, place);
  lumoStManual->u8SaltCtrl = ByteAt(u8SaltCtrlTable, place);
  lumoStManual->u8PepperCtrl = ByteAt(u8PepperCtrlTable, place);
  lumoStManual->u8DetailCtrl = ByteAt(u8DetailCtrlTable, place);
  for (size_t i = 0; i < kLumaThd.size(); i++) {
    lumoStManual->au8LumaThd[i] = kLumaThd[i];
    lumoStManual->au8LumaWgt[i] = ByteAt(au8LumaWgtTable[i], place);
  }
}
