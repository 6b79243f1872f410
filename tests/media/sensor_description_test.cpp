// The ISP and the sensor that a program describes to it: what it asks, when it does not start, when it sees no frames.
#include <gmock/gmock.h>

#include "tests/support/media_units.h"

namespace twin {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int kBadParameter = 3, kExists = 4, kDoesNotExist = 5, kNullPointer = 6, kNotConfigured = 7,
              kNotSupported = 8, kNotPermitted = 9;

class SensorAtTheIsp : public ::testing::Test, protected MediaUnits {};

TEST_F(SensorAtTheIsp, IsAskedAtItsRegistrationAtTheStartAndInTheRun) {
  Do([this] {
    StartSystem();
    StartIsp();
  });
  EXPECT_THAT(toldSensor.asked, ElementsAre("registered", "image mode", "wdr mode", "isp default", "black level",
                                            "ae default", "awb default", "start", "rate", "analog gain", "digital gain",
                                            "exposure", "gains", "registers"));
  EXPECT_EQ(toldSensor.picture.u32Width, 3264u);
  EXPECT_EQ(toldSensor.picture.u32Height, 2448u);
  EXPECT_EQ(toldSensor.rate, 30);
  ASSERT_EQ(media.isp.Sensor().Sent().size(), 2u);
  EXPECT_EQ(media.isp.Sensor().Sent()[1].u32RegAddr, 0x12u);

  toldSensor.asked.clear();
  Do([] {
    EXPECT_EQ(ReasonOf(HI_MPI_ISP_SensorUnRegCallBack(0, kToldSensor)), kNotPermitted);
    toldSensor.imageMode = HI_FAILURE;  // no new start is needed
    const ISP_PUB_ATTR_S attr = {{0, 0, 1920, 1080}, 25, BAYER_BGGR};
    EXPECT_EQ(HI_MPI_ISP_SetPubAttr(0, &attr), HI_SUCCESS);
    EXPECT_THAT(toldSensor.asked, ElementsAre("image mode"));
    EXPECT_EQ(HI_MPI_ISP_Exit(0), HI_SUCCESS);
    EXPECT_THAT(toldSensor.asked, ElementsAre("image mode", "exit"));
    EXPECT_EQ(HI_MPI_ISP_SensorUnRegCallBack(0, kToldSensor), HI_SUCCESS);
    EXPECT_EQ(ReasonOf(HI_MPI_ISP_SensorUnRegCallBack(0, kToldSensor)), kDoesNotExist);
  });
}

TEST_F(SensorAtTheIsp, MayBeTakenFromItWhileItIsTold) {
  toldSensor.whileRateIsSet = [] { EXPECT_EQ(HI_MPI_ISP_Exit(0), HI_SUCCESS); };
  Do([this] {
    StartSystem();
    EXPECT_EQ(RegisterWithIsp(), HI_SUCCESS);
    EXPECT_EQ(RegisterWithExposure(), HI_SUCCESS);
    EXPECT_EQ(RegisterWithWhiteBalance(), HI_SUCCESS);
    PrepareIsp();
    EXPECT_EQ(HI_MPI_ISP_Init(0), HI_SUCCESS);
    EXPECT_EQ(HI_MPI_ISP_Run(0), HI_SUCCESS) << "and the run ends";
  });
}

TEST_F(SensorAtTheIsp, MustBeDescribedInFullAndFitThePicture) {
  Do([this] {
    StartSystem();
    PrepareIsp();
    const auto refusal = [] { return ReasonOf(HI_MPI_ISP_Init(0)); };
    EXPECT_EQ(refusal(), kNotConfigured);
    EXPECT_EQ(RegisterWithIsp(), HI_SUCCESS);
    EXPECT_EQ(RegisterWithExposure(), HI_SUCCESS);
    EXPECT_EQ(refusal(), kNotConfigured);
    EXPECT_EQ(RegisterWithWhiteBalance(kToldSensor + 1), HI_SUCCESS);
    EXPECT_EQ(refusal(), kNotConfigured) << "of two sensors";
    EXPECT_EQ(ReasonOf(RegisterWithWhiteBalance()), kExists);
    const ALG_LIB_S lib = {0, "hisi_awb_lib"};
    EXPECT_EQ(HI_MPI_AWB_SensorUnRegCallBack(0, &lib, kToldSensor + 1), HI_SUCCESS);
    EXPECT_EQ(RegisterWithWhiteBalance(), HI_SUCCESS);
    const AWB_SENSOR_REGISTER_S none = {nullptr};
    EXPECT_EQ(ReasonOf(HI_MPI_AWB_SensorRegCallBack(0, &lib, kToldSensor, &none)), kNullPointer);
    EXPECT_EQ(ReasonOf(HI_MPI_AE_SensorRegCallBack(0, &lib, kToldSensor, nullptr)), kBadParameter);

    const ToldSensor good;
    const std::vector<std::pair<int, std::function<void(ToldSensor&)>>> bad = {
        {kNotSupported, [](auto& s) { s.imageMode = HI_FAILURE; }},
        {kNotSupported, [](auto& s) { s.wdrMode = HI_FAILURE; }},
        {kNotConfigured, [](auto& s) { s.blackLevel = HI_FAILURE; }},
        {kBadParameter, [](auto& s) { s.lines = 2200, s.longest = 2192; }},
        {kBadParameter, [](auto& s) { s.longest = 2501; }},
    };
    for (const auto& [reason, spoil] : bad) {
      toldSensor = good;
      spoil(toldSensor);
      EXPECT_EQ(refusal(), reason);
      EXPECT_THAT(toldSensor.asked, ::testing::Not(::testing::Contains("start")));
      EXPECT_EQ(ReasonOf(HI_MPI_ISP_Run(0)), kNotPermitted);
    }
    toldSensor = good;
    EXPECT_EQ(HI_MPI_ISP_Init(0), HI_SUCCESS);
  });
}

// No frame without the chip's own timing, whatever else is right.
TEST_F(SensorAtTheIsp, GetsItsFramesOnlyInTheTimeThatTheChipGivesThem) {
  toldSensor.starts = false;
  Do([this] { StartAll(); });
  const auto seen = [this](uint32_t address, uint32_t value) {
    const uint32_t before = media.timing.ReadRegister(address);
    const uint64_t unseen = media.counts().unseen;
    media.timing.WriteRegister(address, value);
    ArriveAndEncode(1);
    media.timing.WriteRegister(address, before);
    return media.counts().unseen == unseen;
  };
  EXPECT_FALSE(seen(FrameTiming::kFramePeriod, 2448 * 660)) << "nothing has been written";
  const uint32_t periods[] = {2448 * 660, 660, 3, 3};
  for (uint32_t i = 0; i < 4; i++) media.timing.WriteRegister(FrameTiming::kFramePeriod + 4 * i, periods[i]);
  EXPECT_TRUE(seen(FrameTiming::kControl, 0xC0000000));
  EXPECT_FALSE(seen(FrameTiming::kControl, 0x40030000));
  media.timing.WriteRegister(FrameTiming::kControl, 0xC0030000);
  EXPECT_FALSE(seen(FrameTiming::kFramePeriod, 2448 * 660 - 1)) << "a line too few";
  EXPECT_FALSE(seen(FrameTiming::kLinePeriod, 0));
  EXPECT_FALSE(seen(FrameTiming::kFramePulse, 0));
  EXPECT_TRUE(seen(FrameTiming::kLinePeriod, 600));

  Do([] {
    EXPECT_EQ(HI_MPI_SYS_Mmap(0x11380000, 4), nullptr);
    EXPECT_EQ(HI_MPI_SYS_Mmap(0x113800B0, 20), nullptr);
    auto* word = static_cast<HI_U32*>(HI_MPI_SYS_Mmap(0x113800B4, 4));
    ASSERT_NE(word, nullptr);
    EXPECT_EQ(*word, 660u);
    EXPECT_EQ(HI_MPI_SYS_Munmap(word, 4), HI_SUCCESS);
    EXPECT_NE(HI_MPI_SYS_Munmap(word, 4), HI_SUCCESS);
  });
}

}  // namespace
}  // namespace twin
