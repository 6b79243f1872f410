// A driver that forgets a command gets no shot, and a stored frame comes out only through right switches.
#include "common/fpga_ctrl/capture/capture_sequencer.h"
#include "tests/fpga/array_on_wire.h"

namespace {

struct ShotContract : ArrayOnWire {
  // A shot by hand in three brackets around this time.
  int Shoot(int us) {
    int columns = 0, x = 0, y = 0, exposure = 0;
    std::array<int, 6> shutter, lines, gain;
    return LumoCapture(ctrlSigs.get(), &columns, shutter.data(), lines.data(), gain.data(), &x, &y, 0, &exposure, 0, 1,
                       0, 0, 0, us, 100);
  }
};

TEST_F(ShotContract, NoShotWithout) {
  struct Case {
    const char* what;
    int us;
    std::function<bool(std::vector<uint16_t>&)> spoil;
  };
  const auto noWriteTo = [](int address) {
    return [address](std::vector<uint16_t>& words) { return Register(words) != address; };
  };
  const Case cases[] = {
      {"a capture start", 4000, [](auto& words) { return Code(words) != 0xD1; }},
      {"room for the frame starts", 4000,
       [](auto& words) {
         if (Code(words) == 0x17) words[1] = static_cast<uint16_t>((words[1] & 0xFF00) | 20);
         return true;
       }},
      {"an end mark", 4000, [](auto& words) { return Code(words) != 0x15 || (H(words) & 0x1F) != 7 << 2; }},
      {"the layers' knowledge of stretched rows", 1'000'000, [](auto& words) { return Code(words) != 0x16; }},
      {"a row of the receivers", 4000, noWriteTo(0x001E)},
      {"a software reset", 4000, noWriteTo(0x0103)},
      {"the lanes' clock", 4000, noWriteTo(0x0302)},
      {"the output size", 4000, noWriteTo(0x380B)}};
  for (const Case& one : cases) {
    spoil = one.spoil;
    OnBoard(board, [&] {
      ASSERT_EQ(LumoDeviceOpen(ctrlSigs.get()), 0);
      EXPECT_LT(Shoot(one.us), 0) << one.what;
    });
  }
}

TEST_F(ShotContract, AFrameArrivesOnlyThroughRightSwitches) {
  OnBoard(board, [&] {
    ASSERT_EQ(LumoDeviceOpen(ctrlSigs.get()), 0);
    ASSERT_EQ(Shoot(4000), 0);
    const auto load = [&](BYTE layer, BYTE slot) {
      const uint64_t before = board.array.FramesArrived();
      const twin::Time start = board.Now();
      LumoSpiCaptureLoadNew(layer, slot);
      while (LumoSpiReadLoadBusy() != 0) board.kernel.Spend(1ms);
      EXPECT_GT(board.Now() - start, 30ms) << "a lost frame takes its time too";
      return board.array.FramesArrived() - before == 1;
    };
    // Bits: source of layers 0, 1, 2 is the layer before; parallel link of layers 0, 1.
    for (int switches = 0; switches < 32; switches++) {
      const bool passOn0 = switches & 1, passOn1 = switches & 2, passOn2 = switches & 4;
      const bool link0 = switches & 8, link1 = switches & 16;
      LumoSpiSelectDataSrcOneLayer(0, passOn0);
      LumoSpiSelectDataSrcOneLayer(1, passOn1);
      LumoSpiSelectDataSrcOneLayer(2, passOn2);
      LumoSpiSetParalSendOneLayer(0, link0);
      LumoSpiSetParalSendOneLayer(1, link1);
      const bool arrives[3] = {!passOn0 && link0 && passOn1 && link1 && passOn2, !passOn1 && link1 && passOn2,
                               !passOn2};
      for (BYTE layer = 0; layer < 3; layer++) {
        EXPECT_EQ(load(layer, 7), arrives[layer]) << switches << ' ' << int{layer};
      }
    }
    EXPECT_THAT(board.Complaints(), testing::IsEmpty());
    ResetPulse();
    EXPECT_STREQ(board.array.LayerStateName(0), "idle") << "a reset forgets the frames";
  });
}

}  // namespace
