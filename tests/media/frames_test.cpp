// The road of a frame: from the lanes through a pipeline of one frame's depth into the encoders.
#include <gmock/gmock.h>

#include "tests/support/media_units.h"

namespace twin {
namespace {

using ::testing::ElementsAre;

const VENC_RECV_PIC_PARAM_S kAny = {-1};

class Frames : public ::testing::Test, protected MediaUnits {
 protected:
  void SetUp() override {
    Do([this] {
      StartAll();
      EXPECT_EQ(HI_MPI_VENC_StartRecvPicEx(0, &kAny), HI_SUCCESS);
      EXPECT_EQ(HI_MPI_VENC_StartRecvPicEx(1, &kAny), HI_SUCCESS);
    });
  }
  std::vector<int> CamerasAt(int channel) {
    std::vector<int> cameras;
    for (const DeliveredFrame& one : media.Delivered()) {
      if (one.channel == channel) cameras.push_back(one.frame.camera);
    }
    return cameras;
  }
};

TEST_F(Frames, EachComesOutWhenTheNextComesInAtBothEncodersWithTheirOwnSizeAndQuality) {
  const VENC_PARAM_JPEG_S fine = {95};
  Do([&] { EXPECT_EQ(HI_MPI_VENC_SetJpegParam(0, &fine), HI_SUCCESS); });
  ArriveAndEncode(7, 2);
  EXPECT_TRUE(media.Delivered().empty());
  ArriveAndEncode(8);
  EXPECT_THAT(CamerasAt(0), ElementsAre(7));
  EXPECT_THAT(CamerasAt(1), ElementsAre(7));
  Do([&] {
    EXPECT_EQ(Take(0), Picture(7, 2, PictureSize::Full, 95));
    EXPECT_EQ(Take(1), Picture(7, 2, PictureSize::Half, 90));
    EXPECT_TRUE(Take(0).empty());
  });
  ArriveAndEncode(9);
  EXPECT_THAT(CamerasAt(0), ElementsAre(7, 8));
}

TEST_F(Frames, AreNotSeenWhileReceiverInputOrIspAreNotReadyForThem) {
  ArriveAndEncode(0);
  const auto unseen = [this] {
    const uint64_t before = media.counts().unseen;
    ArriveAndEncode(1);
    return media.counts().unseen == before + 1;
  };
  const auto tell = [this](const MIPI_DEV_ATTR_S& record) {
    Do([&] {
      MIPI_DEV_ATTR_S copy = record;
      EXPECT_EQ(media.lanes.Ioctl(HI_MIPI_SET_DEV_ATTR, &copy), 0);
    });
  };
  const std::pair<const char*, void (*)(MIPI_DEV_ATTR_S&)> wrong[] = {
      {"width", [](auto& r) { r.img_size.u32Width = 3840; }},
      {"depth", [](auto& r) { r.raw_data_type = RAW_DATA_12BIT; }},
      {"a lane more", [](auto& r) { r.lane_id[4] = 4; }},
      {"lanes crossed", [](auto& r) { std::swap(r.lane_id[0], r.lane_id[1]); }},
      {"bits the other way", [](auto& r) { r.data_endian = LVDS_ENDIAN_LITTLE; }},
      {"sync code", [](auto& r) { r.sync_code[2][0][3] = 0x386; }}};
  for (const auto& [what, spoil] : wrong) {
    MIPI_DEV_ATTR_S record = ArrayRecord();
    spoil(record);
    tell(record);
    EXPECT_TRUE(unseen()) << what;
  }
  tell(ArrayRecord());
  EXPECT_FALSE(unseen());

  Do([] { EXPECT_EQ(HI_MPI_VI_DisableChn(0), HI_SUCCESS); });
  EXPECT_TRUE(unseen());
  Do([] { EXPECT_EQ(HI_MPI_VI_EnableChn(0), HI_SUCCESS); });
  EXPECT_FALSE(unseen());
  Do([] { EXPECT_EQ(HI_MPI_ISP_Exit(0), HI_SUCCESS); });
  EXPECT_TRUE(unseen());
  EXPECT_TRUE(media.Delivered().empty()) << "a frame of before the break must not come out after it";
}

TEST_F(Frames, ReachOnlyEncodersThatAreBoundAndTakePictures) {
  MPP_CHN_S vpss = {HI_ID_VPSS, 0, 0}, encoder = {HI_ID_VENC, 0, 0};
  Do([&] { EXPECT_EQ(HI_MPI_SYS_UnBind(&vpss, &encoder), HI_SUCCESS); });
  ArriveAndEncode(0);
  ArriveAndEncode(1);
  EXPECT_THAT(CamerasAt(0), ElementsAre());
  EXPECT_THAT(CamerasAt(1), ElementsAre(0));
  Do([&] {
    EXPECT_EQ(HI_MPI_SYS_Bind(&vpss, &encoder), HI_SUCCESS);
    EXPECT_EQ(HI_MPI_VPSS_DisableChn(0, 1), HI_SUCCESS);
  });
  ArriveAndEncode(2);
  EXPECT_THAT(CamerasAt(0), ElementsAre(1));
  EXPECT_THAT(CamerasAt(1), ElementsAre(0));
}

}  // namespace
}  // namespace twin
