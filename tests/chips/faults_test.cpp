#include "twin/faults/faults.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

namespace twin {
namespace {

struct FaultEngine : testing::Test {
  Kernel kernel{7};
  Faults faults{kernel};
  FaultPoint bus{faults, "spi.message", "one frame"};
  FaultPoint disk{faults, "disk.write", "one write"};

  // Which of `count` operations break: "..x." and so on.
  static std::string Operate(FaultPoint& point, int count, int64_t detail = 0) {
    std::string result;
    for (int i = 0; i < count; i++) result += point.Ask(detail) ? 'x' : '.';
    return result;
  }
};

TEST_F(FaultEngine, CountsOnlyOperationsThatMeetTheConditions) {
  faults.Add("spi.message fail nth=3 times=2 detail=2");
  EXPECT_EQ(Operate(bus, 5, 1), ".....") << "another layer";
  EXPECT_EQ(Operate(disk, 5, 2), ".....") << "another point";
  EXPECT_EQ(Operate(bus, 6, 2), "..xx..");
  EXPECT_EQ(faults.Fired(), 2u);
  faults.Clear();
  EXPECT_EQ(Operate(bus, 3, 2), "...");
  faults.Add("spi.message silence after=2s for=3s");
  for (const auto& [length, breaks] : {std::pair{2s - 1ns, "."}, {1ns, "x"}, {3s - 1ns, "x"}, {1ns, "."}}) {
    kernel.Run(length);
    EXPECT_EQ(Operate(bus, 1), breaks) << kernel.Now().count();
  }
  // The first rule that fires decides; the others go on counting.
  faults.Clear();
  faults.Add("spi.message fail=EBUSY nth=2");
  faults.Add("spi.message value=0x10 nth=3");
  EXPECT_FALSE(bus.Ask());
  EXPECT_EQ(bus.Ask()->value, EBUSY);
  EXPECT_EQ(bus.Ask()->value, 16);
  EXPECT_FALSE(bus.Ask());
}

TEST_F(FaultEngine, ProbabilityIsDrawnFromTheSeed) {
  faults.Add("spi.message fail p=0.25");
  const std::string first = Operate(bus, 4000);
  EXPECT_NEAR(static_cast<double>(std::count(first.begin(), first.end(), 'x')), 1000, 120);
  Kernel other{7};
  Faults otherFaults{other};
  FaultPoint otherBus{otherFaults, "spi.message", ""};
  otherFaults.Add("spi.message fail p=0.25");
  EXPECT_EQ(Operate(otherBus, 4000), first);
}

TEST_F(FaultEngine, APowerCutComesOnceWhetherThePointKnowsOfItOrNot) {
  int cuts = 0;
  faults.SetPowerCut([&] { cuts++; });
  faults.Add("spi.message powercut");
  faults.Add("disk.write powercut=100");
  EXPECT_EQ(bus.Ask()->kind, Effect::Kind::PowerCut);
  EXPECT_EQ(cuts, 0) << "the operation is still to be done";
  kernel.Run(1ns);
  EXPECT_EQ(cuts, 1);
  EXPECT_EQ(disk.Ask()->value, 100);
  faults.PowerCut();  // as a point does after its own part
  kernel.Run(1s);
  EXPECT_EQ(cuts, 2);
}

TEST_F(FaultEngine, TheTextFormTellsAPersonWhatIsWrong) {
  const std::pair<const char*, const char*> refusals[] = {
      {"spi.mesage fail", "there is no fault point \"spi.mesage\"; did you mean \"spi.message\"?"},
      {"spi.message nth=2", "says when but not how"},
      {"spi.message fail silence", "two"},
      {"spi.message fail=EWHAT", "does not know the error \"EWHAT\""},
      {"spi.message fail nth=0", "nth wants a number from 1"},
      {"spi.message value=12q", "value wants a number, not \"12q\""},
      {"spi.message delay=5", "delay wants a time"},
      {"spi.message fail p=1.5", "p wants a probability"},
      {"spi.message fail often", "does not know \"often\""},
      {"  ", "wants a point"}};
  for (const auto& [text, reason] : refusals) {
    try {
      faults.Add(text);
      ADD_FAILURE() << text;
    } catch (const std::invalid_argument& refusal) {
      EXPECT_THAT(refusal.what(), testing::HasSubstr(reason)) << text;
    }
  }
  EXPECT_EQ(Operate(bus, 3), "...") << "a refused rule leaves nothing behind";
}

}  // namespace
}  // namespace twin
