// Noise and sharpening by gain: whole stops give whole columns, between them the mix.
#include "common/fpga_ctrl/capture/isp_params.h"

#include <gtest/gtest.h>

namespace {

struct Params {
  BYTE thresh = 0;
  LUMO_ISP_BAYER_SHARPEN_S bayer = {};
  LUMO_ISP_BAYER_SHARPEN_EX_S bayerEx = {};
  LUMO_ISP_YUV_SHARPEN_MANUAL_ATTR_S yuv = {};
};

Params At(int gain) {
  Params p;
  LumoCalcIspParas(&p.thresh, &p.bayer, &p.bayerEx, &p.yuv, gain);
  return p;
}

TEST(IspParams, UnityAndBelowGiveTheFirstColumn) {
  for (const int gain : {16, 15, 1, 0, -3}) {
    const Params p = At(gain);
    EXPECT_EQ(p.thresh, 128) << gain;
    EXPECT_EQ(p.bayer.u8SharpenD, 72);
    EXPECT_EQ(p.bayer.u8SharpenUd, 58);
    EXPECT_EQ(p.bayer.u16LumaThd, 80);
    EXPECT_EQ(p.bayerEx.u8SharpenHF, 48);
    EXPECT_EQ(p.bayerEx.u8SharpenLF, 24);
    EXPECT_EQ(p.bayerEx.u8SadAmplifier, 16);
    EXPECT_EQ(p.yuv.bEnLowLumaShoot, 0u);
    EXPECT_EQ(p.yuv.u8TextureSt, 12);
    EXPECT_EQ(p.yuv.u8EdgeSt, 56);
    EXPECT_EQ(p.yuv.u8TextureThd, 10);
    EXPECT_EQ(p.yuv.u8DetailCtrl, 140);
    EXPECT_EQ(p.yuv.au8LumaThd[0], 20);
    EXPECT_EQ(p.yuv.au8LumaThd[3], 90);
    EXPECT_EQ(p.yuv.au8LumaWgt[0], 160);
    EXPECT_EQ(p.yuv.au8LumaWgt[3], 255);
  }
}

TEST(IspParams, WholeStopsGiveWholeColumns) {
  const Params one = At(32);
  EXPECT_EQ(one.thresh, 136);
  EXPECT_EQ(one.bayer.u8SharpenD, 72);
  EXPECT_EQ(one.yuv.bEnLowLumaShoot, 1u);
  EXPECT_EQ(one.yuv.u8TextureSt, 0);
  EXPECT_EQ(one.yuv.u8PepperCtrl, 255);
  EXPECT_EQ(one.yuv.au8LumaWgt[1], 150);

  const Params two = At(64);
  EXPECT_EQ(two.thresh, 156);
  EXPECT_EQ(two.bayer.u8SharpenD, 20);
  EXPECT_EQ(two.bayer.u8SharpenUd, 22);
  EXPECT_EQ(two.bayer.u16LumaThd, 80);
  EXPECT_EQ(two.bayerEx.u8SharpenMF, 16);
  EXPECT_EQ(two.bayerEx.u8SharpenLF, 8);

  EXPECT_EQ(At(128).thresh, 176);
  EXPECT_EQ(At(128).bayer.u16LumaThd, 32);
  EXPECT_EQ(At(256).thresh, 208);
  for (const int gain : {512, 2048, 4096, 1 << 30}) {
    EXPECT_EQ(At(gain).thresh, 255);
    EXPECT_EQ(At(gain).bayer.u8SharpenD, 0);
  }
}

// log2 of 24/16 is 0.58496, of 96/16 2.58496.
TEST(IspParams, BetweenStopsColumnsMix) {
  const Params half = At(24);
  EXPECT_EQ(half.thresh, 133);  // 132.68
  EXPECT_EQ(half.yuv.bEnLowLumaShoot, 1u);
  EXPECT_EQ(half.yuv.u8TextureSt, 5);   // 4.98
  EXPECT_EQ(half.yuv.u8EdgeSt, 23);     // 23.24
  EXPECT_EQ(half.yuv.u8OverShoot, 13);  // 13.28
  EXPECT_EQ(half.yuv.u8UnderShoot, 13);
  EXPECT_EQ(half.yuv.u8TextureThd, 37);    // 36.91
  EXPECT_EQ(half.yuv.u8EdgeThd, 19);       // 18.72
  EXPECT_EQ(half.yuv.u8JagCtrl, 9);        // 8.98
  EXPECT_EQ(half.yuv.u8SaltCtrl, 170);     // 169.92
  EXPECT_EQ(half.yuv.u8DetailCtrl, 134);   // 134.15
  EXPECT_EQ(half.yuv.au8LumaWgt[0], 131);  // 130.75
  EXPECT_EQ(half.yuv.au8LumaWgt[1], 171);
  EXPECT_EQ(half.yuv.au8LumaWgt[2], 205);

  const Params steep = At(96);
  EXPECT_EQ(steep.thresh, 168);          // 167.70
  EXPECT_EQ(steep.bayer.u8SharpenD, 8);  // 8.30
  EXPECT_EQ(steep.bayer.u8SharpenUd, 9);
  EXPECT_EQ(steep.bayer.u16LumaThd, 52);  // 51.92
}

}  // namespace
