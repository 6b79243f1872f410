// Noise and sharpening settings of the image pipeline by the gain of the frames that come through it.
// The records mirror the media library's own, so that the arithmetic needs none of it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "common/types.h"

struct LUMO_hiISP_BAYER_SHARPEN_S {
  BYTE u8SharpenD;
  BYTE u8SharpenUd;
  uint16_t u16LumaThd;
};
using LUMO_ISP_BAYER_SHARPEN_S = LUMO_hiISP_BAYER_SHARPEN_S;

struct LUMO_hiISP_BAYER_SHARPEN_EX_S {
  BYTE u8SharpenHF;
  BYTE u8SharpenMF;
  BYTE u8SharpenLF;
  BYTE u8SadAmplifier;
};
using LUMO_ISP_BAYER_SHARPEN_EX_S = LUMO_hiISP_BAYER_SHARPEN_EX_S;

struct LUMO_hiISP_YUV_SHARPEN_MANUAL_ATTR_S {
  uint32_t bEnLowLumaShoot;
  BYTE u8TextureSt;
  BYTE u8EdgeSt;
  BYTE u8OverShoot;
  BYTE u8UnderShoot;
  BYTE u8TextureThd;
  BYTE u8EdgeThd;
  BYTE u8JagCtrl;
  BYTE u8SaltCtrl;
  BYTE u8PepperCtrl;
  BYTE u8DetailCtrl;
  BYTE au8LumaThd[4];
  BYTE au8LumaWgt[4];
};
using LUMO_ISP_YUV_SHARPEN_MANUAL_ATTR_S = LUMO_hiISP_YUV_SHARPEN_MANUAL_ATTR_S;

static_assert(sizeof(LUMO_ISP_BAYER_SHARPEN_S) == 4);
static_assert(sizeof(LUMO_ISP_BAYER_SHARPEN_EX_S) == 4);
static_assert(sizeof(LUMO_ISP_YUV_SHARPEN_MANUAL_ATTR_S) == 24);
static_assert(offsetof(LUMO_ISP_YUV_SHARPEN_MANUAL_ATTR_S, au8LumaWgt) == 18);

// Fills the noise threshold and all three records for frames of this gain (16 is unity). Interpolates the tables
// between whole stops; gains at or below unity give their first column, from seven stops on their last.
void LumoCalcIspParas(BYTE* u8Thresh, LUMO_ISP_BAYER_SHARPEN_S* lumoStShp, LUMO_ISP_BAYER_SHARPEN_EX_S* lumoStShpEx,
                      LUMO_ISP_YUV_SHARPEN_MANUAL_ATTR_S* lumoStManual, int gain);
