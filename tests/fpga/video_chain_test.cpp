// The road of a stored frame to the video input.
#include "tests/fpga/array_bench.h"

namespace {

using namespace bench;

using Chain = ArrayBench;

TEST_F(Chain, AFrameArrivesOnlyThroughRightSwitches) {
  Do([&] {
    BringUp();
    ASSERT_TRUE(Shoot(threeSets, {}));
    Send(kAll, 0, 0xE6);
    int open = 0;
    // Bits: source of layers 0, 1, 2 is the layer before; parallel link of layers 0, 1.
    for (int switches = 0; switches < 32; switches++) {
      const bool passOn0 = switches & 1, passOn1 = switches & 2, passOn2 = switches & 4;
      const bool link0 = switches & 8, link1 = switches & 16;
      Send(0, 0, passOn0 ? 0xD9 : 0xD8);
      Send(1, 0, passOn1 ? 0xD9 : 0xD8);
      Send(2, 0, passOn2 ? 0xD9 : 0xD8);
      Send(0, 0, link0 ? 0xDA : 0xDB);
      Send(1, 0, link1 ? 0xDA : 0xDB);
      const bool arrives[3] = {!passOn0 && link0 && passOn1 && link1 && passOn2, !passOn1 && link1 && passOn2,
                               !passOn2};
      for (int layer = 0; layer < 3; layer++) {
        const size_t before = receiver.frames.size();
        const auto start = kernel.Now();
        Load(layer, 7);
        EXPECT_GT(kernel.Now() - start, 30ms) << "a lost frame takes its time too";
        EXPECT_EQ(receiver.frames.size() - before, arrives[layer] ? 1u : 0u) << switches << ' ' << layer;
        open += arrives[layer];
      }
    }
    EXPECT_EQ(open, 1 + 4 + 16);  // ways to leave the switches that do not matter
  });
}

TEST_F(Chain, TheMomentOfArrival) {
  Do([&] {
    BringUp();
    ASSERT_TRUE(Shoot(threeSets, {}));
    ConnectLayer0();
    Send(0, 0, 0xD6, 0);
    EXPECT_EQ(Read(0, 0x48), 1);
    EXPECT_EQ(Read(1, 0x48), 0);
    Wait(30ms);
    EXPECT_TRUE(receiver.frames.empty());
    Wait(8ms);
    EXPECT_EQ(receiver.frames.size(), 1u);
    EXPECT_EQ(Read(0, 0x48), 0);

    Send(0, 0, 0xD6, 0);
    Wait(10ms);
    Send(0, 0, 0xDB);  // cut in the middle
    Wait(10ms);
    Send(0, 0, 0xD6, 1);  // and asked again too early
    Wait(60ms);
    EXPECT_EQ(receiver.frames.size(), 1u);
    EXPECT_EQ(complaints.size(), 1u);
    Send(0, 0, 0xD6, 54);
    EXPECT_EQ(complaints.size(), 2u);
  });
}

}  // namespace
