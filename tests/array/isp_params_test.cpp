// Noise and sharpening by gain: whole stops give whole columns of the tables, between them the mix.
#include "common/fpga_ctrl/capture/isp_params.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

// At the first three whole stops of gain above unity, and at all further ones; in the order of the records' fields. The
// noise threshold alone goes on.
constexpr int kNoise[] = {128, 136, 156, 176, 208, 255, 255, 255};
constexpr int kTables[][4] = {{72, 72, 20, 0},      {58, 58, 22, 0},      {80, 80, 80, 32},     {48, 48, 16, 0},
                              {48, 48, 16, 0},      {24, 24, 8, 0},       {16, 16, 16, 16},     {0, 1, 1, 1},
                              {12, 0, 0, 0},        {56, 0, 0, 0},        {32, 0, 0, 0},        {32, 0, 0, 0},
                              {10, 56, 56, 56},     {0, 32, 32, 32},      {16, 4, 4, 4},        {50, 255, 255, 255},
                              {50, 255, 255, 255},  {140, 130, 130, 130}, {160, 110, 110, 110}, {200, 150, 150, 150},
                              {240, 180, 180, 180}, {255, 255, 255, 255}};

std::vector<int> ValuesAt(int gain) {
  BYTE thresh = 0;
  LUMO_ISP_BAYER_SHARPEN_S shp = {};
  LUMO_ISP_BAYER_SHARPEN_EX_S ex = {};
  LUMO_ISP_YUV_SHARPEN_MANUAL_ATTR_S yuv = {};
  LumoCalcIspParas(&thresh, &shp, &ex, &yuv, gain);
  EXPECT_THAT(yuv.au8LumaThd, testing::ElementsAre(20, 40, 65, 90));
  std::vector<int> values = {thresh, shp.u8SharpenD, shp.u8SharpenUd, shp.u16LumaThd};
  const auto add = [&](const BYTE* first, const BYTE* last) { values.insert(values.end(), first, last + 1); };
  add(&ex.u8SharpenHF, &ex.u8SadAmplifier);
  values.push_back(static_cast<int>(yuv.bEnLowLumaShoot));
  add(&yuv.u8TextureSt, &yuv.u8DetailCtrl);
  add(&yuv.au8LumaWgt[0], &yuv.au8LumaWgt[3]);
  return values;
}

TEST(IspParams, EveryFieldIsItsColumnOrTheMixOfTwo) {
  for (const int gain : {-3, 0, 15, 16, 24, 32, 40, 64, 96, 128, 200, 256, 512, 700, 1024, 2048, 1 << 30}) {
    const double stop = gain <= 16 ? 0 : std::min(std::log2(gain / 16.0), 6.99999);
    const auto column = static_cast<size_t>(stop);
    const auto mix = [&](int left, int right) {
      const double part = stop - static_cast<double>(column);
      return static_cast<int>(left * (1 - part) + right * part + 0.5);
    };
    std::vector<int> expected = {mix(kNoise[column], kNoise[column + 1])};
    for (const auto& row : kTables)
      expected.push_back(mix(row[std::min(column, size_t{3})], row[std::min(column + 1, size_t{3})]));
    EXPECT_EQ(ValuesAt(gain), expected) << "gain " << gain;
  }
}

}  // namespace
