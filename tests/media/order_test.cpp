// The order in which the media units want to be brought up and down, and what a power-off leaves.
#include <gmock/gmock.h>

#include "tests/support/media_units.h"

namespace twin {
namespace {

constexpr int kBadParameter = 3, kExists = 4, kDoesNotExist = 5, kNotConfigured = 7, kNotSupported = 8,
              kNotPermitted = 9, kNoMemory = 12, kNotReady = 16, kBusy = 18;

class Order : public ::testing::Test, protected MediaUnits {};

MPP_CHN_S input = {HI_ID_VIU, 0, 0}, group = {HI_ID_VPSS, 0, 0}, encoder = {HI_ID_VENC, 0, 0};

TEST_F(Order, NothingWorksBeforeTheSystemIsUpAndTheSystemWantsItsPools) {
  Do([] {
    EXPECT_EQ(HI_MPI_SYS_Exit(), HI_SUCCESS);
    EXPECT_EQ(HI_MPI_VB_Exit(), HI_SUCCESS);
    EXPECT_EQ(ReasonOf(HI_MPI_VB_Init()), kNotConfigured);
    EXPECT_EQ(ReasonOf(HI_MPI_SYS_Init()), kNotConfigured);
    const MPP_SYS_CONF_S good = {64};
    EXPECT_EQ(HI_MPI_SYS_SetConf(&good), HI_SUCCESS);
    EXPECT_EQ(ReasonOf(HI_MPI_SYS_Init()), kNotReady);

    EXPECT_EQ(ReasonOf(HI_MPI_VI_EnableDev(0)), kNotReady);
    EXPECT_EQ(ReasonOf(HI_MPI_ISP_MemInit(0)), kNotReady);
    EXPECT_EQ(ReasonOf(HI_MPI_SYS_Bind(&input, &group)), kNotReady);
  });
}

TEST_F(Order, PoolsAndStreamBuffersShareOneMemory) {
  Do([this] {
    VB_CONF_S pools = {};
    pools.u32MaxPoolCnt = 128;
    pools.astCommPool[0] = {16352640, 17};
    EXPECT_EQ(HI_MPI_VB_SetConf(&pools), HI_SUCCESS);
    EXPECT_EQ(ReasonOf(HI_MPI_VB_Init()), kNoMemory);
    for (int start = 0; start < 2; start++) {  // all of it comes back
      StartSystem();
      EXPECT_EQ(ReasonOf(HI_MPI_VB_Exit()), kBusy);
      const VENC_CHN_ATTR_S half = JpegChannel(PictureSize::Half, 32 << 20);
      EXPECT_EQ(HI_MPI_VENC_CreateChn(0, &half), HI_SUCCESS);
      EXPECT_EQ(HI_MPI_VENC_CreateChn(1, &half), HI_SUCCESS);
      EXPECT_EQ(ReasonOf(HI_MPI_VENC_CreateChn(2, &half)), kNoMemory);
      EXPECT_EQ(HI_MPI_SYS_Exit(), HI_SUCCESS);
      EXPECT_EQ(HI_MPI_VB_Exit(), HI_SUCCESS);
    }
  });
}

TEST_F(Order, TheIspIsPreparedStepByStepRunsUntilItsEndAndThenKnowsNothing) {
  Do([this] {
    StartSystem();
    EXPECT_EQ(ReasonOf(HI_MPI_ISP_MemInit(0)), kNotConfigured);
    EXPECT_EQ(ReasonOf(HI_MPI_ISP_Init(0)), kNotConfigured);
    EXPECT_EQ(ReasonOf(HI_MPI_ISP_Run(0)), kNotPermitted);
    ISP_NR_ATTR_S noise = {};
    EXPECT_EQ(ReasonOf(HI_MPI_ISP_GetNRAttr(0, &noise)), kNotConfigured);
    StartIsp();
    EXPECT_EQ(ReasonOf(HI_MPI_ISP_Run(0)), kNotPermitted) << "it runs already";
    noise.stManual.u8Thresh = 99;
    EXPECT_EQ(HI_MPI_ISP_SetNRAttr(0, &noise), HI_SUCCESS);
    EXPECT_EQ(HI_MPI_ISP_Exit(0), HI_SUCCESS);
    EXPECT_FALSE(media.isp.Running());
    StartIsp();
    EXPECT_EQ(HI_MPI_ISP_GetNRAttr(0, &noise), HI_SUCCESS);
    EXPECT_NE(noise.stManual.u8Thresh, 99);
  });
}

TEST_F(Order, InputVpssAndEncodersRefuseWhatIsOutOfOrder) {
  Do([this] {
    StartSystem();
    EXPECT_EQ(ReasonOf(HI_MPI_VI_EnableDev(0)), kNotConfigured);
    EXPECT_EQ(ReasonOf(HI_MPI_VI_EnableChn(0)), kNotConfigured);
    EXPECT_EQ(ReasonOf(HI_MPI_SYS_Bind(&input, &group)), kDoesNotExist);
    EXPECT_EQ(ReasonOf(HI_MPI_VPSS_StartGrp(0)), kDoesNotExist);
    EXPECT_EQ(ReasonOf(HI_MPI_VPSS_EnableChn(0, 0)), kDoesNotExist);
    EXPECT_EQ(ReasonOf(HI_MPI_VENC_GetFd(0)), kDoesNotExist);

    StartInput();
    EXPECT_EQ(ReasonOf(HI_MPI_VI_DisableDev(0)), kNotPermitted) << "its channel first";
    VI_CHN_ATTR_S beyond = {};
    beyond.stCapRect = {0, 0, 3265, 2448};
    EXPECT_EQ(ReasonOf(HI_MPI_VI_SetChnAttr(0, &beyond)), kBadParameter);

    StartVpss();
    EXPECT_EQ(ReasonOf(HI_MPI_VPSS_DestroyGrp(0)), kNotPermitted) << "stop it first";
    EXPECT_EQ(ReasonOf(HI_MPI_VPSS_EnableChn(0, 2)), kNotConfigured);
    EXPECT_EQ(ReasonOf(HI_MPI_SYS_Bind(&input, &group)), kExists);

    EXPECT_EQ(ReasonOf(HI_MPI_SYS_Bind(&group, &encoder)), kDoesNotExist);
    StartEncoder(0, PictureSize::Full);
    EXPECT_EQ(ReasonOf(HI_MPI_SYS_Bind(&input, &encoder)), kNotSupported);
    VENC_CHN_ATTR_S attr = JpegChannel(PictureSize::Full, 1000);
    EXPECT_EQ(ReasonOf(HI_MPI_VENC_CreateChn(0, &attr)), kExists);
    attr.stVeAttr.stAttrJpeg.u32PicWidth++;
    EXPECT_EQ(ReasonOf(HI_MPI_VENC_CreateChn(1, &attr)), kBadParameter);
  });
}

}  // namespace
}  // namespace twin
