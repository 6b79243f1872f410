// The records that a program hands to the media units to get pictures of the array, as the units want them.
#pragma once

#include <algorithm>
#include <array>

#include "sdk/hi_mpi.h"

constexpr RECT_S kWholePicture = {0, 0, 3264, 2448};
constexpr PIXEL_FORMAT_E k420 = PIXEL_FORMAT_YUV_SEMIPLANAR_420;

inline VB_CONF_S PoolsRecord() { return {128, {{3264 * 2496 * 2 + 2448 * 24, 12}}}; }

// What the first layer of the array sends.
inline MIPI_DEV_ATTR_S LanesRecord() {
  MIPI_DEV_ATTR_S record = {};
  record.input_mode = INPUT_MODE_LVDS;
  record.phy_clk_share = PHY_CLK_SHARE_PHY0;
  record.img_size = {3264, 2448};
  record.raw_data_type = RAW_DATA_10BIT;
  record.sync_mode = LVDS_SYNC_MODE_SOF;
  record.fid_type = {0, 1};
  record.data_endian = record.sync_code_endian = LVDS_ENDIAN_BIG;
  for (int lane = 0; lane < LVDS_LANE_NUM; lane++) {
    record.lane_id[lane] = static_cast<HI_S16>(lane < 4 ? lane : -1);
    for (auto& row : record.sync_code[lane]) {
      if (lane < 4) std::ranges::copy(std::array<HI_U16, 4>{0x207, 0x267, 0x21F, 0x387}, row);
    }
  }
  return record;
}

inline ISP_PUB_ATTR_S PictureRecord() { return {kWholePicture, 30, BAYER_BGGR}; }

inline VI_DEV_ATTR_S DeviceRecord() {
  return {.enIntfMode = VI_MODE_LVDS,
          .enWorkMode = VI_WORK_MODE_1Multiplex,
          .au32CompMask = {0xFFF00000, 0},
          .enScanMode = VI_SCAN_PROGRESSIVE,
          .s32AdChnId = {-1, -1, -1, -1},
          .enDataSeq = VI_INPUT_DATA_YUYV,
          .enDataPath = VI_PATH_ISP,
          .enInputDataType = VI_DATA_TYPE_RGB,
          .bDataRev = HI_FALSE,
          .stDevRect = kWholePicture};
}

inline VI_CHN_ATTR_S ChannelRecord() {
  return {kWholePicture, {3264, 2448}, VI_CAPSEL_BOTH, k420, COMPRESS_MODE_NONE, HI_TRUE, HI_FALSE, -1, -1};
}

inline VPSS_GRP_ATTR_S GroupRecord() {
  return {.u32MaxW = 3264,
          .u32MaxH = 2448,
          .enPixFmt = k420,
          .bIeEn = HI_FALSE,
          .bDciEn = HI_FALSE,
          .bNrEn = HI_TRUE,
          .bHistEn = HI_FALSE,
          .enDieMode = VPSS_DIE_MODE_NODIE};
}
inline VPSS_CHN_ATTR_S VpssChannelRecord() { return {HI_FALSE, HI_FALSE, HI_FALSE, HI_FALSE, -1, -1}; }

// Of a full picture for channel 0, of half its width and height for channel 1.
inline VPSS_CHN_MODE_S ModeRecord(int channel) {
  return {VPSS_CHN_MODE_USER, 3264u >> channel, 2448u >> channel, HI_FALSE, k420, COMPRESS_MODE_NONE};
}
inline VENC_ATTR_JPEG_S JpegRecord(int channel) {
  const HI_U32 width = 3264u >> channel, height = 2448u >> channel;
  return {width, height, 3264 * 2448 * 2, width, height, HI_TRUE, HI_FALSE};
}

constexpr MPP_CHN_S kInputEnd = {HI_ID_VIU, 0, 0};
constexpr MPP_CHN_S VpssEnd(int channel) { return {HI_ID_VPSS, 0, channel}; }
constexpr MPP_CHN_S EncoderEnd(int channel) { return {HI_ID_VENC, 0, channel}; }
