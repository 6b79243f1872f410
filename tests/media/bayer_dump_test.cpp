// Sensor data for the user: where the input leads it, which frame is given out, and what lies at its address.
#include <gmock/gmock.h>

#include <cstring>
#include <optional>

#include "tests/support/media_units.h"

namespace twin {
namespace {

using ::testing::ElementsAre;

constexpr int kBadDevice = 1, kBadChannel = 2, kBadParameter = 3, kNotConfigured = 7, kNotPermitted = 9,
              kBufferEmpty = 14;
constexpr HI_U32 kRoute = 0x11380210;
constexpr VI_CHN kChannel = 17;
constexpr size_t kBytes = size_t{3264} * 2448 * 2;

class Dump : public ::testing::Test, protected MediaUnits {
 protected:
  void SetUp() override {
    Do([this] {
      StartAll();
      const VENC_RECV_PIC_PARAM_S any = {-1};
      EXPECT_EQ(HI_MPI_VENC_StartRecvPicEx(0, &any), HI_SUCCESS);
    });
  }
  void Lead(HI_U32 depth = 1) {
    Do([=] {
      EXPECT_EQ(HI_MPI_VI_EnableBayerDump(0), HI_SUCCESS);
      EXPECT_EQ(HI_MPI_SYS_SetReg(kRoute, 1), HI_SUCCESS);
      EXPECT_EQ(HI_MPI_VI_SetFrameDepth(kChannel, depth), HI_SUCCESS);
    });
    kernel.Run(50ms);  // no frame that arrives from now on began before
  }
  // The frame that is given out within 100 ms.
  std::optional<VIDEO_FRAME_INFO_S> Get() {
    VIDEO_FRAME_INFO_S frame = {};
    HI_S32 result = HI_FAILURE;
    Do([&] { result = HI_MPI_VI_GetFrame(kChannel, &frame, 100); });
    return result == HI_SUCCESS ? std::optional(frame) : std::nullopt;
  }
  void Release(const VIDEO_FRAME_INFO_S& frame) {
    Do([&] { EXPECT_EQ(HI_MPI_VI_ReleaseFrame(kChannel, &frame), HI_SUCCESS); });
  }
  // What a program finds at the frame's address, through /dev/mem: page by page aligned, as mmap wants it.
  std::vector<uint16_t> Look(const VIDEO_FRAME_INFO_S& frame) {
    std::vector<uint16_t> samples(kBytes / 2);
    const uint64_t address = frame.stVFrame.u32PhyAddr[0], inPage = address % 4096;
    Do([&] {
      const int memory = descriptors.Open("/dev/mem", 0);
      void* where = nullptr;
      EXPECT_EQ(descriptors.Map(memory, kBytes + inPage, address - inPage, &where), 0);
      EXPECT_EQ(descriptors.Close(memory), 0);
      std::memcpy(samples.data(), static_cast<char*>(where) + inPage, kBytes);
      EXPECT_EQ(descriptors.Unmap(where, kBytes + inPage), 0);
    });
    return samples;
  }
  // Which camera's frame it is, by its first sample; see CountedPictures.
  int CameraOf(const VIDEO_FRAME_INFO_S& frame) { return (Look(frame).at(0) >> 6) / 4; }
};

TEST_F(Dump, GivesOutWhatComesInWhileItIsLedThereAndNothingElse) {
  Lead();
  Arrive(3);
  const auto frame = Get();
  ASSERT_TRUE(frame);
  EXPECT_EQ(frame->stVFrame.u32Width, 3264u);
  EXPECT_EQ(frame->stVFrame.u32Height, 2448u);
  EXPECT_EQ(frame->stVFrame.u32Stride[0], 3264u);
  const auto samples = Look(*frame);
  for (const size_t i : {size_t{0}, size_t{5}, size_t{3264}, samples.size() - 1}) {
    const size_t level = (i % 3264 + i / 3264 + 12) % 1024;
    EXPECT_EQ(samples[i], level << 6 | level >> 4) << i;
  }
  Release(*frame);
  EXPECT_FALSE(Get()) << "each is given out once";
  EXPECT_TRUE(media.Delivered().empty());

  // Led back, the ISP gets them again.
  Do([] { EXPECT_EQ(HI_MPI_SYS_SetReg(kRoute, 0), HI_SUCCESS); });
  ArriveAndEncode(4);
  ArriveAndEncode(5);
  EXPECT_FALSE(Get());
  ASSERT_EQ(media.Delivered().size(), 1u);
  EXPECT_EQ(media.Delivered()[0].frame.camera, 4);

  // Enabled without a way there, led there without being enabled, and without room for one frame.
  Do([] {
    EXPECT_EQ(HI_MPI_VI_DisableBayerDump(0), HI_SUCCESS);
    EXPECT_EQ(HI_MPI_SYS_SetReg(kRoute, 1), HI_SUCCESS);
  });
  ArriveAndEncode(6);
  Lead(0);
  ArriveAndEncode(7);
  Lead(1);
  EXPECT_FALSE(Get());
  EXPECT_EQ(media.Delivered().size(), 1u);
  EXPECT_EQ(media.counts().led, 3u);
  EXPECT_EQ(media.system.BlocksTaken(), 0u);
}

TEST_F(Dump, KeepsTheNewestAndLetsTheUserHoldSeveral) {
  Lead();
  Arrive(1);
  Arrive(2);
  const auto first = Get();
  ASSERT_TRUE(first);
  Arrive(3);
  const auto second = Get();
  ASSERT_TRUE(second);
  EXPECT_EQ(CameraOf(*first), 2);
  EXPECT_EQ(CameraOf(*second), 3);
  EXPECT_EQ(CameraOf(*first), 2) << "still the user's";
  Release(*first);
  Do([&] { EXPECT_EQ(ReasonOf(HI_MPI_VI_ReleaseFrame(kChannel, &*first)), kBadParameter); });
  Release(*second);
  Lead(2);
  for (const int camera : {4, 5, 6}) Arrive(camera);
  EXPECT_EQ(CameraOf(*Get()), 5);
  EXPECT_EQ(CameraOf(*Get()), 6);
  EXPECT_EQ(media.system.BlocksTaken(), 2u);
  Do([] { EXPECT_EQ(HI_MPI_SYS_Exit(), HI_SUCCESS); });
  EXPECT_EQ(media.system.BlocksTaken(), 0u);
}

TEST_F(Dump, WaitsForAFrameAsLongAsItIsTold) {
  Lead();
  VIDEO_FRAME_INFO_S frame = {};
  const Time begin = kernel.Now();
  Do([&] { EXPECT_EQ(ReasonOf(HI_MPI_VI_GetFrame(kChannel, &frame, 2000)), kBufferEmpty); });
  EXPECT_EQ((kernel.Now() - begin) / 1ms, 2000);
  kernel.After(700ms, [this] { media.FrameArrives({.camera = 9}); });
  Do([&] {
    const Time asked = kernel.Now();
    EXPECT_EQ(HI_MPI_VI_GetFrame(kChannel, &frame, 2000), HI_SUCCESS);
    EXPECT_EQ((kernel.Now() - asked) / 1ms, 700);
  });
  kernel.After(300ms, [this] { kernel.Spawn("other", [] { HI_MPI_VI_DisableBayerDump(0); }); });
  Do([&] { EXPECT_EQ(ReasonOf(HI_MPI_VI_GetFrame(kChannel, &frame, -1)), kNotConfigured); });
}

// A frame of 36 ms that was half through when it was led to memory: the upper half went by. And one whose samples the
// lanes exchange.
TEST_F(Dump, WritesWhatItSawOfAFrameInTheOrderOfTheLanes) {
  kernel.Run(100ms);
  Do([] {
    EXPECT_EQ(HI_MPI_VI_EnableBayerDump(0), HI_SUCCESS);
    EXPECT_EQ(HI_MPI_SYS_SetReg(kRoute, 1), HI_SUCCESS);
    EXPECT_EQ(HI_MPI_VI_SetFrameDepth(kChannel, 1), HI_SUCCESS);
  });
  kernel.Run(18ms);
  Arrive(3);
  const auto torn = Look(*Get());
  EXPECT_EQ(torn[3264 * 1000 + 10], 0);
  EXPECT_EQ(torn[3264 * 1500 + 10] >> 6, (1500 + 10 + 12) % 1024);

  kernel.Run(50ms);
  kernel.At(kernel.Now(), [this] { media.FrameArrives({.camera = 3, .pairsExchanged = true}); });
  kernel.Run(0ms);
  const auto samples = Look(*Get());
  EXPECT_THAT(std::vector<int>({samples[0] >> 6, samples[1] >> 6, samples[2] >> 6, samples[3] >> 6}),
              ElementsAre(14, 15, 12, 13));
}

TEST_F(Dump, LosesFramesForWhichNoBlockIsFree) {
  Lead();
  std::vector<VIDEO_FRAME_INFO_S> held;
  for (int i = 0; i < 12; i++) {
    Arrive(i);
    held.push_back(*Get());
  }
  Arrive(20);
  EXPECT_FALSE(Get());
  EXPECT_EQ(media.dump.counts().noBlock, 1u);
  Release(held[5]);
  Arrive(21);
  EXPECT_EQ(CameraOf(*Get()), 21);
  EXPECT_EQ(CameraOf(held[11]), 11) << "in the last block";
}

TEST_F(Dump, RefusesWhatMakesNoSense) {
  Do([this] {
    VIDEO_FRAME_INFO_S frame = {};
    HI_U32 value = 7;
    EXPECT_EQ(HI_MPI_SYS_GetReg(kRoute, &value), HI_SUCCESS);
    EXPECT_EQ(value, 0u);
    EXPECT_EQ(ReasonOf(HI_MPI_SYS_GetReg(0x12340000, &value)), kBadParameter);
    EXPECT_EQ(ReasonOf(HI_MPI_SYS_SetReg(0x12340000, 1)), kBadParameter);
    EXPECT_EQ(ReasonOf(HI_MPI_VI_EnableBayerDump(1)), kBadDevice);
    EXPECT_EQ(ReasonOf(HI_MPI_VI_SetFrameDepth(0, 1)), kBadChannel);
    EXPECT_EQ(ReasonOf(HI_MPI_VI_SetFrameDepth(kChannel, 9)), kBadParameter);
    EXPECT_EQ(ReasonOf(HI_MPI_VI_GetFrame(18, &frame, 0)), kBadChannel);
    EXPECT_EQ(ReasonOf(HI_MPI_VI_GetFrame(kChannel, &frame, 0)), kNotConfigured);
    EXPECT_EQ(HI_MPI_VI_DisableChn(0), HI_SUCCESS);
    EXPECT_EQ(HI_MPI_VI_DisableDev(0), HI_SUCCESS);
    EXPECT_EQ(ReasonOf(HI_MPI_VI_EnableBayerDump(0)), kNotPermitted);

    // Memory that is none of the units', an address within a page, and a mapping that nobody made.
    const int memory = descriptors.Open("/dev/mem", 0);
    void* where = nullptr;
    EXPECT_EQ(descriptors.Map(memory, 4096, 0x12010000, &where), -EINVAL);
    EXPECT_EQ(descriptors.Map(memory, 4096, 0x90000040, &where), -EINVAL);
    EXPECT_EQ(descriptors.Map(memory, 4096, 0x90000000, &where), 0);
    EXPECT_EQ(descriptors.Unmap(where, 8192), -EINVAL);
    EXPECT_EQ(descriptors.Unmap(where, 4096), 0);
    EXPECT_EQ(descriptors.Unmap(where, 4096), -EINVAL);
  });
}

}  // namespace
}  // namespace twin
