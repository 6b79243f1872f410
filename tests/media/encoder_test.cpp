// An encoder channel: how many pictures it takes, when its streams are ready, how they lie in its buffer.
#include <gmock/gmock.h>

#include "tests/support/media_units.h"

namespace twin {
namespace {

constexpr int kBadParameter = 3, kNotPermitted = 9;

class Encoder : public ::testing::Test, protected MediaUnits {
 protected:
  void SetUp() override {
    Do([this] { StartAll(); });
  }
  void Start(VENC_CHN channel, HI_S32 pictureCount) {
    const VENC_RECV_PIC_PARAM_S param = {pictureCount};
    Do([&] { EXPECT_EQ(HI_MPI_VENC_StartRecvPicEx(channel, &param), HI_SUCCESS); });
  }
  VENC_CHN_STAT_S Query(VENC_CHN channel) {
    VENC_CHN_STAT_S stat = {};
    Do([&] { EXPECT_EQ(HI_MPI_VENC_Query(channel, &stat), HI_SUCCESS); });
    return stat;
  }
};

TEST_F(Encoder, TakesTheCountThatItIsToldAndThenNoMoreUntilItIsStartedAgain) {
  Start(0, 2);
  for (int camera = 0; camera < 5; camera++) ArriveAndEncode(camera);
  EXPECT_EQ(Query(0).u32LeftStreamFrames, 2u);
  const VENC_RECV_PIC_PARAM_S again = {10}, none = {0};
  Do([&] {
    EXPECT_EQ(Take(0), Picture(0, 0, PictureSize::Full));
    EXPECT_EQ(Take(0), Picture(1, 0, PictureSize::Full));
    EXPECT_TRUE(Take(0).empty());
  });
  Start(0, 1);  // it had stopped by itself
  ArriveAndEncode(5);
  Do([&] { EXPECT_EQ(Take(0), Picture(4, 0, PictureSize::Full)); });

  // It is started only when stopped, and then knows no old streams.
  Start(0, 10);
  ArriveAndEncode(6);
  ArriveAndEncode(7);
  Do([&] {
    EXPECT_EQ(ReasonOf(HI_MPI_VENC_StartRecvPicEx(0, &again)), kNotPermitted);
    EXPECT_EQ(ReasonOf(HI_MPI_VENC_DestroyChn(0)), kNotPermitted);
    EXPECT_EQ(HI_MPI_VENC_StopRecvPic(0), HI_SUCCESS);
    EXPECT_EQ(ReasonOf(HI_MPI_VENC_StartRecvPicEx(0, &none)), kBadParameter);
  });
  EXPECT_NE(Query(0).u32CurPacks, 0u);
  Start(0, 10);
  EXPECT_EQ(Query(0).u32CurPacks, 0u);
}

TEST_F(Encoder, StreamsGoRoundTheBufferInOneOrTwoPacksAndStayUntilTheyAreReleased) {
  Do([&] { StartEncoder(2, PictureSize::Half, 10'000); });
  Start(2, -1);
  pictures.bytes = 3'000;
  bool twoPacks = false, offset = false;
  ArriveAndEncode(0);
  for (int camera = 0; camera < 20; camera++) {
    ArriveAndEncode(camera + 1);
    const HI_U32 count = Query(2).u32CurPacks;
    Do([&] {
      VENC_PACK_S packs[2];
      VENC_STREAM_S stream = {packs, count, 0};
      ASSERT_EQ(HI_MPI_VENC_GetStream(2, &stream, 0), HI_SUCCESS);
      EXPECT_EQ(stream.u32PackCount, count);
      EXPECT_EQ(Payload(stream), Picture(camera, 0, PictureSize::Half));
      twoPacks |= count == 2;
      offset |= packs[0].u32Offset != 0;
      EXPECT_EQ(packs[count - 1].bFrameEnd, HI_TRUE);
      VENC_STREAM_S wrong = stream;
      wrong.u32Seq++;
      EXPECT_EQ(ReasonOf(HI_MPI_VENC_ReleaseStream(2, &wrong)), kBadParameter);
      EXPECT_EQ(HI_MPI_VENC_ReleaseStream(2, &stream), HI_SUCCESS);
      EXPECT_NE(Payload(stream), Picture(camera, 0, PictureSize::Half)) << "read after release";
      EXPECT_EQ(ReasonOf(HI_MPI_VENC_ReleaseStream(2, &stream)), kNotPermitted);
    });
  }
  EXPECT_TRUE(twoPacks);
  EXPECT_TRUE(offset);
}

TEST_F(Encoder, LosesWhatHasNoRoomInItsBufferAndRefusesWhatItCannotKeepUpWith) {
  Do([&] { StartEncoder(2, PictureSize::Half, 10'000); });
  Start(2, -1);
  pictures.bytes = 4'000;
  for (int camera = 0; camera < 5; camera++) ArriveAndEncode(camera);
  EXPECT_EQ(media.Encoder(2)->counts().encoded, 2u);
  EXPECT_EQ(media.Encoder(2)->counts().noRoom, 2u);
  Do([&] {
    EXPECT_EQ(Take(2), Picture(0, 0, PictureSize::Half));
    EXPECT_EQ(Take(2), Picture(1, 0, PictureSize::Half));
    EXPECT_TRUE(Take(2).empty());
  });
  pictures.bytes = 10'001;
  ArriveAndEncode(6);
  EXPECT_EQ(media.Encoder(2)->counts().noRoom, 3u);

  pictures.bytes = 100;
  for (int i = 0; i < 8; i++) Arrive(i);
  EXPECT_EQ(media.Encoder(2)->counts().queueFull, 8 - EncoderChannel::kQueue);
}

}  // namespace
}  // namespace twin
