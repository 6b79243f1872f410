// The two records that describe the FPGA's stream: to the receiver at the lanes, and to the video input behind it.
#include "common/sample_comm_vi/sample_comm_vi.h"

namespace {

constexpr int LANES_USED = 4;
// The same in all rows of a lane.
constexpr HI_U16 SYNC_CODES[SYNC_CODE_NUM] = {0x207, 0x267, 0x21F, 0x387};

constexpr MIPI_DEV_ATTR_S MakeMipiAttr() {
  MIPI_DEV_ATTR_S stAttr = {};
  stAttr.devno = 0;
  stAttr.input_mode = INPUT_MODE_LVDS;
  stAttr.phy_clk_share = PHY_CLK_SHARE_PHY0;
  stAttr.img_size = {3264, 2448};
  stAttr.raw_data_type = RAW_DATA_10BIT;
  stAttr.wdr_mode = WDR_MODE_NONE;
  stAttr.sync_mode = LVDS_SYNC_MODE_SOF;
  stAttr.vsync_type = {0, 0};
  stAttr.fid_type = {0, 1};
  stAttr.data_endian = LVDS_ENDIAN_BIG;
  stAttr.sync_code_endian = LVDS_ENDIAN_BIG;
  for (int lane = 0; lane < LVDS_LANE_NUM; lane++) {
    stAttr.lane_id[lane] = static_cast<HI_S16>(lane < LANES_USED ? lane : -1);
    if (lane >= LANES_USED) continue;
    for (auto& row : stAttr.sync_code[lane]) {
      for (int code = 0; code < SYNC_CODE_NUM; code++) row[code] = SYNC_CODES[code];
    }
  }
  return stAttr;
}

constexpr VI_DEV_ATTR_S MakeDevAttr() {
  VI_DEV_ATTR_S stAttr = {};
  stAttr.enIntfMode = VI_MODE_LVDS;
  stAttr.enWorkMode = VI_WORK_MODE_1Multiplex;
  stAttr.au32CompMask[0] = 0xFFF00000;
  stAttr.au32CompMask[1] = 0;
  stAttr.enScanMode = VI_SCAN_PROGRESSIVE;
  for (HI_S32& channel : stAttr.s32AdChnId) channel = -1;
  stAttr.enDataSeq = VI_INPUT_DATA_YUYV;
  stAttr.enDataPath = VI_PATH_ISP;
  stAttr.enInputDataType = VI_DATA_TYPE_RGB;
  stAttr.bDataRev = HI_FALSE;
  return stAttr;
}

}  // namespace

constexpr MIPI_DEV_ATTR_S LVDS_4lane_SENSOR_IMX226_SIMULATOR_10BIT_8M_NOWDR_ATTR = MakeMipiAttr();
constexpr VI_DEV_ATTR_S DEV_ATTR_LVDS_BASE = MakeDevAttr();
