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

TEST(IspParams, WholeStopsGiveWholeColumnsAndTheEndsHold) {
  const std::pair<int, int> thresholds[] = {{16, 128}, {15, 128},  {0, 128},   {-3, 128},   {32, 136},
                                            {64, 156}, {128, 176}, {256, 208}, {2048, 255}, {1 << 30, 255}};
  for (const auto& [gain, thresh] : thresholds) EXPECT_EQ(At(gain).thresh, thresh) << gain;
  const Params unity = At(16), two = At(64), most = At(1 << 30);
  EXPECT_EQ(unity.yuv.bEnLowLumaShoot, 0u);
  EXPECT_EQ(unity.yuv.au8LumaThd[0], 20);
  EXPECT_EQ(unity.yuv.au8LumaThd[3], 90);
  EXPECT_EQ(unity.bayerEx.u8SharpenHF, 48);
  EXPECT_EQ(two.bayerEx.u8SharpenMF, 16);
  EXPECT_EQ(two.bayerEx.u8SharpenLF, 8);
  EXPECT_EQ(two.bayerEx.u8SadAmplifier, 16);
  EXPECT_EQ(most.bayer.u8SharpenD, 0);
}

// log2 of 24/16 is 0.58496, of 96/16 2.58496.
TEST(IspParams, BetweenStopsColumnsMix) {
  const Params half = At(24), steep = At(96);
  const auto& yuv = half.yuv;
  const std::pair<int, double> mixed[] = {
      {half.thresh, 132.68},          {yuv.u8TextureSt, 4.98},         {yuv.u8EdgeSt, 23.24},
      {yuv.u8OverShoot, 13.28},       {yuv.u8UnderShoot, 13.28},       {yuv.u8TextureThd, 36.91},
      {yuv.u8EdgeThd, 18.72},         {yuv.u8JagCtrl, 8.98},           {yuv.u8SaltCtrl, 169.92},
      {yuv.u8PepperCtrl, 169.92},     {yuv.u8DetailCtrl, 134.15},      {yuv.au8LumaWgt[0], 130.75},
      {yuv.au8LumaWgt[1], 170.75},    {yuv.au8LumaWgt[2], 204.90},     {steep.thresh, 167.70},
      {steep.bayer.u8SharpenD, 8.30}, {steep.bayer.u8SharpenUd, 9.13}, {steep.bayer.u16LumaThd, 51.92}};
  for (const auto& [value, exact] : mixed) EXPECT_NEAR(value, exact, 0.5) << exact;
  EXPECT_EQ(yuv.bEnLowLumaShoot, 1u);
}

}  // namespace
