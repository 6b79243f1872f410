/* The receiver at the chip's video lanes: the device file /dev/hi_mipi and the one record that it takes. */
#ifndef LUMORA_SDK_HI_MIPI_H
#define LUMORA_SDK_HI_MIPI_H

#include "sdk/hi_mpi_sys.h"

#define LVDS_LANE_NUM 12
#define WDR_VC_NUM 4
#define SYNC_CODE_NUM 4

typedef enum { INPUT_MODE_LVDS = 2 } INPUT_MODE_E;
typedef enum { PHY_CLK_SHARE_NONE = 0, PHY_CLK_SHARE_PHY0 = 1 } PHY_CLK_SHARE_E;
typedef enum { RAW_DATA_8BIT = 0, RAW_DATA_10BIT = 1, RAW_DATA_12BIT = 2 } RAW_DATA_TYPE_E;
typedef enum { LVDS_SYNC_MODE_SOF = 0, LVDS_SYNC_MODE_SAV = 1 } LVDS_SYNC_MODE_E;
typedef enum { LVDS_ENDIAN_LITTLE = 0, LVDS_ENDIAN_BIG = 1 } LVDS_ENDIAN_E;

typedef struct {
  HI_U32 sync_type;
  HI_U32 hblank;
} LVDS_VSYNC_TYPE_S;

typedef struct {
  HI_U32 fid;
  HI_U32 output_fil;
} LVDS_FID_TYPE_S;

typedef struct {
  HI_U32 devno;
  INPUT_MODE_E input_mode;
  PHY_CLK_SHARE_E phy_clk_share;
  SIZE_S img_size;
  RAW_DATA_TYPE_E raw_data_type;
  WDR_MODE_E wdr_mode;
  LVDS_SYNC_MODE_E sync_mode;
  LVDS_VSYNC_TYPE_S vsync_type;
  LVDS_FID_TYPE_S fid_type;
  LVDS_ENDIAN_E data_endian;
  LVDS_ENDIAN_E sync_code_endian;
  HI_S16 lane_id[LVDS_LANE_NUM];                              /* -1: lane not used */
  HI_U16 sync_code[LVDS_LANE_NUM][WDR_VC_NUM][SYNC_CODE_NUM]; /* line start, line end, frame start, frame end */
} MIPI_DEV_ATTR_S;

/* Hands the receiver its record. The number holds the record's size, 464 bytes. */
#define HI_MIPI_SET_DEV_ATTR 0x41D06D01u

#ifdef __cplusplus
static_assert(sizeof(MIPI_DEV_ATTR_S) == ((HI_MIPI_SET_DEV_ATTR >> 16) & 0x3FFF), "the request names this size");
#endif
#endif
