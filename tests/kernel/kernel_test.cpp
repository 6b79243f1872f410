// The board's clock: order, waiting, killing, and chance.
#include "twin/kernel/kernel.h"

#include <gmock/gmock.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <ctime>
#include <string>
#include <thread>

namespace twin {
namespace {

using ::testing::ElementsAre;

TEST(Kernel, EqualTimesRunInOrderOfRequestAndWaitsEndByNotifyOrLimit) {
  Kernel kernel;
  WaitQueue queue(kernel), other(kernel);
  std::vector<std::string> seen;
  const auto see = [&](const char* what) { seen.push_back(what + std::to_string(kernel.Now() / 1ms)); };
  kernel.Spawn("a", [&] {
    see("a");
    kernel.Spend(2ms);
    see("a");
    for (const Duration limit : {10ms, 10ms})
      see(WaitQueue::WaitAny(kernel, {&other, &queue}, limit) ? "told" : "limit");
    queue.Wait();
    see("told");
  });
  kernel.Spawn("b", [&] {
    kernel.Spend(1ms);
    see("b");
    kernel.Spend(1ms);
    see("b");
  });
  kernel.At(1ms, [&] { see("action"); });
  for (const Time when : {5ms, 100ms}) kernel.At(when, [&] { queue.Notify(); });
  kernel.Run(1500us);
  EXPECT_EQ(kernel.Now(), 1500us);
  EXPECT_THAT(seen, ElementsAre("a0", "action1", "b1"));
  kernel.Run(1s);
  EXPECT_THAT(seen, ElementsAre("a0", "action1", "b1", "a2", "b2", "told5", "limit15", "told100"));
}

TEST(Kernel, ChangesItsPaceAtAnyTimeAndHearsTheHostInEach) {
  Kernel kernel(0, Pace::Real);
  kernel.Cancel(kernel.At(10min, [] {}));
  EXPECT_EQ(kernel.NextEvent(), std::nullopt);
  kernel.At(1h, [] {});
  EXPECT_EQ(kernel.NextEvent(), Time(1h));
  kernel.SetPace(Pace::Free);
  const auto start = std::chrono::steady_clock::now();
  kernel.Run(2h);
  kernel.SetPace(Pace::Real);
  kernel.Run(30ms);
  const auto took = std::chrono::steady_clock::now() - start;
  EXPECT_TRUE(took >= 30ms && took < 1min) << took / 1ms << " ms: two hours at once, then 30 ms of the host's clock";

  kernel.SetPace(Pace::Free);
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe(ends.data()), 0);
  bool heard = false;
  kernel.Host().Add(ends[0], POLLIN, [&] { heard = true; });
  kernel.Spawn("busy", [&] {
    while (!heard) kernel.Spend(10ms);
  });
  ASSERT_EQ(write(ends[1], "x", 1), 1);
  EXPECT_TRUE(kernel.RunUntil([&] { return heard; }, 100h)) << "a board that is never idle listens too";
  kernel.Host().Remove(ends[0]);
  for (const int end : ends) close(end);
}

TEST(Kernel, KilledFibersUnwindAndTheirDoorsDoNothing) {
  Kernel kernel;
  WaitQueue never(kernel);
  int closed = 0, after = 0;
  struct Door {
    Kernel& kernel;
    int& closed;
    ~Door() {
      kernel.Spend(1s);  // what a closing file would do
      closed++;
    }
  };
  const auto spawn = [&](const std::function<void()>& stands) {
    kernel.Spawn("x", [&, stands] {
      Door door{kernel, closed};
      stands();
      after++;
    });
  };
  spawn([&] { kernel.Spend(1h); });
  spawn([&] { never.Wait(); });
  spawn([&] {
    kernel.Spend(10ms);
    kernel.KillFibers();
  });
  kernel.Run(20ms);
  never.Notify();  // nobody stands there any more
  EXPECT_EQ(kernel.Now(), 20ms);
  kernel.Run(2h);
  EXPECT_EQ(closed, 3);
  EXPECT_EQ(after, 0);
}

// Not the fiber that a busy host keeps from running.
TEST(Kernel, NamesTheFiberThatSpins) {
  Kernel kernel;
  kernel.Spawn("patient", [] { std::this_thread::sleep_for(1600ms); });
  kernel.Spawn("spinning", [] {
    const std::clock_t begin = std::clock();
    while (std::clock() - begin < 1.6 * CLOCKS_PER_SEC) {
    }
  });
  testing::internal::CaptureStderr();
  kernel.Run(1s);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "board: thread \"spinning\" has run for more than a second without a call to the outside\n");
}

}  // namespace
}  // namespace twin
