#include "tests/support/media_units.h"

#include <gtest/gtest.h>

#include <cstring>

using twin::PictureSize;
using namespace std::chrono_literals;

twin::Jpeg CountedPictures::Encode(const twin::StoredFrame& frame, PictureSize size, int quality) {
  std::vector<uint8_t> picture(bytes);
  const auto seed =
      static_cast<uint32_t>(frame.camera * 7919 + frame.bracket * 101 + quality * 13 + (size == PictureSize::Half));
  for (size_t i = 0; i < picture.size(); i++) picture[i] = static_cast<uint8_t>((seed + i * 2654435761u) >> 11);
  return std::make_shared<const std::vector<uint8_t>>(std::move(picture));
}

void CountedPictures::ReadOut(const twin::StoredFrame& frame, std::span<uint16_t> levels) {
  for (size_t i = 0; i < levels.size(); i++) {
    levels[i] = static_cast<uint16_t>((i % 3264 + i / 3264 + 4 * static_cast<size_t>(frame.camera)) % 1024);
  }
}

void MediaUnits::Do(const std::function<void()>& body) {
  const twin::Fiber* fiber = kernel.Spawn("test", body);
  EXPECT_TRUE(kernel.RunUntil([&] { return kernel.Finished(fiber); }, 1min));
}

void MediaUnits::StartSystem() {
  VB_CONF_S pools = {};
  pools.u32MaxPoolCnt = 128;
  pools.astCommPool[0] = {16352640, 12};
  EXPECT_EQ(HI_MPI_VB_SetConf(&pools), HI_SUCCESS);
  EXPECT_EQ(HI_MPI_VB_Init(), HI_SUCCESS);
  const MPP_SYS_CONF_S conf = {64};
  EXPECT_EQ(HI_MPI_SYS_SetConf(&conf), HI_SUCCESS);
  EXPECT_EQ(HI_MPI_SYS_Init(), HI_SUCCESS);
}

void MediaUnits::StartReceiver() {
  MIPI_DEV_ATTR_S record = ArrayRecord();
  const int descriptor = descriptors.Open("/dev/hi_mipi", 0);
  ASSERT_GE(descriptor, 0);
  EXPECT_EQ(descriptors.Find(descriptor)->Ioctl(HI_MIPI_SET_DEV_ATTR, &record), 0);
  EXPECT_EQ(descriptors.Close(descriptor), 0);
}

void MediaUnits::PrepareIsp() {
  ALG_LIB_S exposure = {0, "hisi_ae_lib"}, white = {0, "hisi_awb_lib"};
  EXPECT_EQ(HI_MPI_AE_Register(0, &exposure), HI_SUCCESS);
  EXPECT_EQ(HI_MPI_AWB_Register(0, &white), HI_SUCCESS);
  EXPECT_EQ(HI_MPI_ISP_MemInit(0), HI_SUCCESS);
  const ISP_WDR_MODE_S mode = {WDR_MODE_NONE};
  EXPECT_EQ(HI_MPI_ISP_SetWDRMode(0, &mode), HI_SUCCESS);
  const ISP_PUB_ATTR_S attr = {{0, 0, 3264, 2448}, 30, BAYER_BGGR};
  EXPECT_EQ(HI_MPI_ISP_SetPubAttr(0, &attr), HI_SUCCESS);
}

void MediaUnits::StartIsp() {
  EXPECT_EQ(RegisterWithIsp(), HI_SUCCESS);
  EXPECT_EQ(RegisterWithExposure(), HI_SUCCESS);
  EXPECT_EQ(RegisterWithWhiteBalance(), HI_SUCCESS);
  PrepareIsp();
  EXPECT_EQ(HI_MPI_ISP_Init(0), HI_SUCCESS);
  kernel.Spawn("isp", [] { EXPECT_EQ(HI_MPI_ISP_Run(0), HI_SUCCESS); });
  kernel.Spend(1ms);
}

void MediaUnits::StartInput() {
  VI_DEV_ATTR_S device = {};
  device.enIntfMode = VI_MODE_LVDS;
  device.au32CompMask[0] = 0xFFF00000;
  device.enScanMode = VI_SCAN_PROGRESSIVE;
  device.enDataPath = VI_PATH_ISP;
  device.enInputDataType = VI_DATA_TYPE_RGB;
  device.stDevRect = {0, 0, 3264, 2448};
  EXPECT_EQ(HI_MPI_VI_SetDevAttr(0, &device), HI_SUCCESS);
  EXPECT_EQ(HI_MPI_VI_EnableDev(0), HI_SUCCESS);
  VI_CHN_ATTR_S channel = {};
  channel.stCapRect = {0, 0, 3264, 2448};
  channel.stDestSize = {3264, 2448};
  channel.enPixFormat = PIXEL_FORMAT_YUV_SEMIPLANAR_420;
  EXPECT_EQ(HI_MPI_VI_SetChnAttr(0, &channel), HI_SUCCESS);
  EXPECT_EQ(HI_MPI_VI_EnableChn(0), HI_SUCCESS);
}

void MediaUnits::StartVpss() {
  VPSS_GRP_ATTR_S group = {};
  group.u32MaxW = 3264;
  group.u32MaxH = 2448;
  group.enPixFmt = PIXEL_FORMAT_YUV_SEMIPLANAR_420;
  EXPECT_EQ(HI_MPI_VPSS_CreateGrp(0, &group), HI_SUCCESS);
  EXPECT_EQ(HI_MPI_VPSS_StartGrp(0), HI_SUCCESS);
  MPP_CHN_S input = {HI_ID_VIU, 0, 0}, vpss = {HI_ID_VPSS, 0, 0};
  EXPECT_EQ(HI_MPI_SYS_Bind(&input, &vpss), HI_SUCCESS);
  for (VPSS_CHN channel : {0, 1}) {
    VPSS_CHN_ATTR_S attr = {};
    attr.s32SrcFrameRate = attr.s32DstFrameRate = -1;
    VPSS_CHN_MODE_S mode = {};
    mode.enChnMode = VPSS_CHN_MODE_USER;
    mode.enPixelFormat = PIXEL_FORMAT_YUV_SEMIPLANAR_420;
    mode.u32Width = 3264u >> channel;
    mode.u32Height = 2448u >> channel;
    EXPECT_EQ(HI_MPI_VPSS_SetChnAttr(0, channel, &attr), HI_SUCCESS);
    EXPECT_EQ(HI_MPI_VPSS_SetChnMode(0, channel, &mode), HI_SUCCESS);
    EXPECT_EQ(HI_MPI_VPSS_EnableChn(0, channel), HI_SUCCESS);
  }
}

void MediaUnits::StartEncoder(VENC_CHN channel, PictureSize size, HI_U32 bufferSize) {
  const VENC_CHN_ATTR_S attr = JpegChannel(size, bufferSize);
  EXPECT_EQ(HI_MPI_VENC_CreateChn(channel, &attr), HI_SUCCESS);
  MPP_CHN_S vpss = {HI_ID_VPSS, 0, size == PictureSize::Full ? 0 : 1}, encoder = {HI_ID_VENC, 0, channel};
  EXPECT_EQ(HI_MPI_SYS_Bind(&vpss, &encoder), HI_SUCCESS);
}

void MediaUnits::StartAll() {
  StartSystem();
  StartReceiver();
  StartIsp();
  StartInput();
  StartVpss();
  StartEncoder(0, PictureSize::Full);
  StartEncoder(1, PictureSize::Half);
}

void MediaUnits::Arrive(int camera, int bracket, uint32_t shot) {
  twin::StoredFrame frame;
  frame.camera = camera;
  frame.bracket = bracket;
  frame.shot = shot;
  kernel.At(kernel.Now(), [this, frame] { media.FrameArrives(frame); });
  kernel.Run(0ms);
}

void MediaUnits::ArriveAndEncode(int camera, int bracket) {
  Arrive(camera, bracket);
  kernel.Run(50ms);
}

std::vector<uint8_t> MediaUnits::Take(VENC_CHN channel) {
  VENC_PACK_S packs[2];
  VENC_STREAM_S stream = {packs, 2, 0};
  if (HI_MPI_VENC_GetStream(channel, &stream, 0) != HI_SUCCESS) return {};
  const std::vector<uint8_t> bytes = Payload(stream);
  EXPECT_EQ(HI_MPI_VENC_ReleaseStream(channel, &stream), HI_SUCCESS);
  return bytes;
}

std::vector<uint8_t> MediaUnits::Picture(int camera, int bracket, PictureSize size, int quality) {
  twin::StoredFrame frame;
  frame.camera = camera;
  frame.bracket = bracket;
  return *pictures.Encode(frame, size, quality);
}

MIPI_DEV_ATTR_S ArrayRecord() {
  MIPI_DEV_ATTR_S record = {};
  record.input_mode = INPUT_MODE_LVDS;
  record.phy_clk_share = PHY_CLK_SHARE_PHY0;
  record.img_size = {3264, 2448};
  record.raw_data_type = RAW_DATA_10BIT;
  record.sync_mode = LVDS_SYNC_MODE_SOF;
  record.fid_type = {0, 1};
  record.data_endian = LVDS_ENDIAN_BIG;
  record.sync_code_endian = LVDS_ENDIAN_BIG;
  const HI_U16 codes[] = {0x207, 0x267, 0x21F, 0x387};
  for (int lane = 0; lane < LVDS_LANE_NUM; lane++) {
    record.lane_id[lane] = static_cast<HI_S16>(lane < 4 ? lane : -1);
    for (auto& row : record.sync_code[lane]) {
      if (lane < 4) std::memcpy(row, codes, sizeof codes);
    }
  }
  return record;
}

VENC_CHN_ATTR_S JpegChannel(PictureSize size, HI_U32 bufferSize) {
  VENC_CHN_ATTR_S attr = {};
  attr.stVeAttr.enType = PT_JPEG;
  VENC_ATTR_JPEG_S& jpeg = attr.stVeAttr.stAttrJpeg;
  jpeg.u32MaxPicWidth = jpeg.u32PicWidth = static_cast<HI_U32>(twin::WidthOf(size));
  jpeg.u32MaxPicHeight = jpeg.u32PicHeight = static_cast<HI_U32>(twin::HeightOf(size));
  jpeg.u32BufSize = bufferSize;
  jpeg.bByFrame = HI_TRUE;
  return attr;
}

std::vector<uint8_t> Payload(const VENC_STREAM_S& stream) {
  std::vector<uint8_t> bytes;
  for (HI_U32 i = 0; i < stream.u32PackCount; i++) {
    const VENC_PACK_S& pack = stream.pstPack[i];
    bytes.insert(bytes.end(), pack.pu8Addr + pack.u32Offset, pack.pu8Addr + pack.u32Len);
  }
  return bytes;
}

int ReasonOf(HI_S32 result) { return result & 0x1FFF; }
