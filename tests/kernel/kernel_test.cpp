// The board's clock: order, waiting, killing, and the two ways in which time passes.
#include "twin/kernel/kernel.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <string>

namespace twin {
namespace {

using ::testing::ElementsAre;

TEST(Kernel, EqualTimesRunInOrderOfRequestAndSleepersInterleaveWithActions) {
  Kernel kernel;
  std::vector<std::string> seen;
  kernel.Spawn("a", [&] {
    seen.push_back("a0");
    kernel.Spend(2ms);
    seen.push_back("a2");
  });
  kernel.Spawn("b", [&] {
    seen.push_back("b0");
    kernel.Spend(1ms);
    seen.push_back("b1");
    kernel.Spend(1ms);
    seen.push_back("b2");
  });
  kernel.At(1ms, [&] { seen.push_back("action1"); });
  kernel.Run(1500us);
  EXPECT_EQ(kernel.Now(), 1500us);
  EXPECT_THAT(seen, ElementsAre("a0", "b0", "action1", "b1"));
  kernel.Run(1ms);
  EXPECT_THAT(seen, ElementsAre("a0", "b0", "action1", "b1", "a2", "b2"));
}

TEST(Kernel, WaitEndsByNotifyOrByItsLimitAndSaysWhich) {
  Kernel kernel;
  WaitQueue queue(kernel), other(kernel);
  std::vector<bool> results;
  std::vector<Time> at;
  kernel.Spawn("waiter", [&] {
    for (Duration limit : {10ms, 10ms}) {
      results.push_back(WaitQueue::WaitAny(kernel, {&other, &queue}, limit));
      at.push_back(kernel.Now());
    }
    queue.Wait();
    results.push_back(true);
    at.push_back(kernel.Now());
  });
  kernel.At(3ms, [&] { queue.Notify(); });
  kernel.At(100ms, [&] { queue.Notify(); });
  kernel.Run(1s);
  EXPECT_THAT(results, ElementsAre(true, false, true));
  EXPECT_THAT(at, ElementsAre(3ms, 13ms, 100ms));
}

TEST(Kernel, KilledFibersUnwindAndTheirDoorsDoNothing) {
  Kernel kernel;
  struct Door {
    Kernel& kernel;
    int& closed;
    ~Door() {
      kernel.Spend(1s);  // what a closing file would do
      closed++;
    }
  };
  int closed = 0, after = 0;
  WaitQueue never(kernel);
  kernel.Spawn("sleeper", [&] {
    Door door{kernel, closed};
    kernel.Spend(1h);
    after++;
  });
  kernel.Spawn("waiter", [&] {
    Door door{kernel, closed};
    never.Wait();
    after++;
  });
  kernel.Spawn("killer", [&] {
    Door door{kernel, closed};
    kernel.Spend(10ms);
    kernel.KillFibers();
    after++;
  });
  Fiber* early = kernel.Spawn("ends", [] {});
  kernel.Run(20ms);
  EXPECT_EQ(closed, 3);
  EXPECT_EQ(after, 0);
  EXPECT_EQ(kernel.Now(), 20ms);
  EXPECT_TRUE(kernel.Finished(early));
  never.Notify();  // nobody stands there any more
  kernel.Run(2h);
  EXPECT_EQ(after, 0);
}

TEST(Kernel, ExplorationShufflesEqualTimesAndASeedRepeatsIt) {
  const auto order = [](uint64_t seed) {
    Kernel kernel(seed);
    kernel.Explore();
    std::string seen;
    for (char name : std::string("abcdefgh")) {
      kernel.Spawn("x", [&, name] {
        for (int i = 0; i < 20; i++) {
          seen += name;
          kernel.Spend(1us);
        }
      });
    }
    kernel.Run(1s);
    return seen;
  };
  EXPECT_EQ(order(1), order(1));
  EXPECT_NE(order(1), order(2));
  EXPECT_EQ(order(2).size(), 160u);
}

}  // namespace
}  // namespace twin
