#include "tests/support/media_units.h"

#include <gtest/gtest.h>

#include <cstring>

#include "sensor/registration.h"
#include "tests/support/media_records.h"

using namespace std::chrono_literals;

void MediaUnits::Do(const std::function<void()>& body) {
  const twin::Fiber* fiber = board.kernel.Spawn("test", body);
  EXPECT_TRUE(board.RunUntil([&] { return board.kernel.Finished(fiber); }, 1min));
}

void MediaUnits::Ok(HI_S32 result) {
  EXPECT_TRUE(result == HI_SUCCESS || refused) << std::hex << result;
  if (result != HI_SUCCESS && refused) ++*refused;
}

template <class R>
const R* MediaUnits::Spoilt(R record) {
  // Until the next record of this kind.
  static R kept;
  kept = record;
  spoil(&kept);
  return &kept;
}

void MediaUnits::Bind(MPP_CHN_S from, MPP_CHN_S to) { Ok(HI_MPI_SYS_Bind(&from, &to)); }

void MediaUnits::StartSystem() {
  if (thorough) Ok(HI_MPI_SYS_Exit());
  if (thorough) Ok(HI_MPI_VB_Exit());
  Ok(HI_MPI_VB_SetConf(Spoilt(PoolsRecord())));
  Ok(HI_MPI_VB_Init());
  Ok(HI_MPI_SYS_SetConf(Spoilt(MPP_SYS_CONF_S{64})));
  Ok(HI_MPI_SYS_Init());
}

void MediaUnits::StartReceiver() {
  MIPI_DEV_ATTR_S record = *Spoilt(LanesRecord());
  const int descriptor = board.descriptors.Open("/dev/hi_mipi", 0);
  ASSERT_GE(descriptor, 0);
  EXPECT_EQ(board.descriptors.Find(descriptor)->Ioctl(HI_MIPI_SET_DEV_ATTR, &record), 0);
  EXPECT_EQ(board.descriptors.Close(descriptor), 0);
}

void MediaUnits::StartIsp() {
  ALG_LIB_S exposure = {0, "hisi_ae_lib"}, white = {0, "hisi_awb_lib"}, focus = {0, "hisi_af_lib"};
  Ok(sensor_register_callback());
  Ok(HI_MPI_AE_Register(0, &exposure));
  Ok(HI_MPI_AWB_Register(0, &white));
  if (thorough) Ok(HI_MPI_AF_Register(0, &focus));
  Ok(HI_MPI_ISP_MemInit(0));
  const ISP_WDR_MODE_S mode = {WDR_MODE_NONE};
  Ok(HI_MPI_ISP_SetWDRMode(0, &mode));
  Ok(HI_MPI_ISP_SetPubAttr(0, Spoilt(PictureRecord())));
  Ok(HI_MPI_ISP_Init(0));
  board.kernel.Spawn("isp", [this] { Ok(HI_MPI_ISP_Run(0)); });
  board.kernel.Spend(1ms);
}

void MediaUnits::StartInput() {
  const VI_WDR_ATTR_S wdr = {WDR_MODE_NONE, HI_FALSE};
  ISP_WDR_MODE_S mode = {};
  if (thorough) Ok(HI_MPI_ISP_GetWDRMode(0, &mode));
  Ok(HI_MPI_VI_SetDevAttr(0, Spoilt(DeviceRecord())));
  if (thorough) Ok(HI_MPI_VI_SetWDRAttr(0, &wdr));
  Ok(HI_MPI_VI_EnableDev(0));
  Ok(HI_MPI_VI_SetChnAttr(0, Spoilt(ChannelRecord())));
  Ok(HI_MPI_VI_EnableChn(0));
  ISP_REG_ATTR_S layout = {};
  PQ_BIN_MODULE_S module = {0x3519A, {}};
  VI_DCI_PARAM_S contrast = {};
  VI_CSC_ATTR_S matrix = {};
  if (thorough) Ok(HI_MPI_ISP_GetISPRegAttr(0, &layout));
  std::memcpy(&module.stPqBinIsp, &layout, sizeof layout);
  if (thorough) Ok(HI_PQ_BIN_Init(&module));
  if (thorough) Ok(HI_MPI_VI_GetDCIParam(0, &contrast));
  Ok(HI_MPI_VI_SetDCIParam(0, Spoilt(VI_DCI_PARAM_S{HI_FALSE})));
  if (thorough) Ok(HI_MPI_VI_GetCSCAttr(0, &matrix));
  Ok(HI_MPI_VI_SetCSCAttr(0, Spoilt(VI_CSC_ATTR_S{VI_CSC_TYPE_601})));
}

void MediaUnits::StartVpss() {
  Ok(HI_MPI_VPSS_CreateGrp(0, Spoilt(GroupRecord())));
  Ok(HI_MPI_VPSS_StartGrp(0));
  Bind(kInputEnd, VpssEnd(0));
  for (VPSS_CHN channel : {0, 1}) {
    Ok(HI_MPI_VPSS_SetChnAttr(0, channel, Spoilt(VpssChannelRecord())));
    Ok(HI_MPI_VPSS_SetChnMode(0, channel, Spoilt(ModeRecord(channel))));
    Ok(HI_MPI_VPSS_EnableChn(0, channel));
  }
}

void MediaUnits::StartEncoder(VENC_CHN channel) {
  const VENC_CHN_ATTR_S attr = {{PT_JPEG, *Spoilt(JpegRecord(channel))}};
  Ok(HI_MPI_VENC_CreateChn(channel, &attr));
  VENC_PARAM_JPEG_S quality = {};
  if (thorough) Ok(HI_MPI_VENC_GetJpegParam(channel, &quality));
  quality.u32Qfactor = channel == 0 ? 95 : 85;
  if (thorough) Ok(HI_MPI_VENC_SetJpegParam(channel, &quality));
  Bind(VpssEnd(channel), EncoderEnd(channel));
}

void MediaUnits::StartAll() {
  StartSystem();
  StartReceiver();
  StartIsp();
  StartInput();
  StartVpss();
  for (const VENC_CHN channel : {0, 1}) StartEncoder(channel);
}

void MediaUnits::ArriveAndEncode(int camera) {
  board.kernel.At(board.Now(), [this, camera] { board.media.FrameArrives({.camera = camera, .shot = 1}); });
  board.Run(50ms);
}

std::vector<uint8_t> MediaUnits::Take(VENC_CHN channel) {
  VENC_PACK_S packs[2] = {};
  VENC_STREAM_S stream = {packs, 2, 0};
  if (HI_MPI_VENC_GetStream(channel, &stream, 0) != HI_SUCCESS) return {};
  std::vector<uint8_t> bytes;
  for (HI_U32 i = 0; i < stream.u32PackCount; i++) {
    bytes.insert(bytes.end(), packs[i].pu8Addr + packs[i].u32Offset, packs[i].pu8Addr + packs[i].u32Len);
  }
  Ok(HI_MPI_VENC_ReleaseStream(channel, &stream));
  return bytes;
}
