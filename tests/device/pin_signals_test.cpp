// Pins by signal: which register each call touches, and with what.
#include "common/fpga_ctrl/array/gpio.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <utility>
#include <vector>

#include "tests/support/on_board.h"

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Pair;
using twin::Board;

namespace {

using Write = std::pair<uint32_t, uint32_t>;

// Stands in for all registers of the chip: remembers writes, and answers what it is told.
class Recorder final : public twin::RegisterDevice {
 public:
  explicit Recorder(Board& board) { board.registers.Claim(0x12000000, 0x200000, *this); }
  uint32_t ReadRegister(uint32_t address) override { return content[address]; }
  void WriteRegister(uint32_t address, uint32_t value) override { writes.emplace_back(address, value); }

  std::map<uint32_t, uint32_t> content;
  std::vector<Write> writes;
};

}  // namespace

TEST(PinSignals, InitInItsOrder) {
  Board board{{}};
  Recorder recorder(board);
  // What stands in the direction registers before: other bits are kept, but none above the eighth.
  recorder.content = {{0x12140400, 0xFFFFFF09}, {0x12142400, 0x81}, {0x12145400, 0xFF}, {0x12146400, 0x10A}};
  OnBoard(board, [] { LumoGpioInit(); });
  // Pin functions, pads, clock, directions; then power, PROGRAM_B, suspend, enable, buzzer, LED and the link's lines
  // high.
  const Write expected[] = {
      {0x12040000, 1},     {0x12040010, 0},     {0x12040014, 0},     {0x1204008C, 0},     {0x12040090, 0},
      {0x12040094, 0},     {0x12040098, 0},     {0x1204009C, 0},     {0x120400A0, 0},     {0x120400C8, 0},
      {0x120400CC, 0},     {0x120400D0, 0},     {0x120400D8, 0},     {0x120400DC, 0},     {0x120400E0, 0},
      {0x120400E4, 0},     {0x12040800, 0x100}, {0x12040814, 0x130}, {0x1204087C, 0x100}, {0x12040880, 0x100},
      {0x12040888, 0x110}, {0x12040890, 0x110}, {0x12040898, 0x110}, {0x1204089C, 0x110}, {0x120408A0, 0x110},
      {0x120408DC, 0x130}, {0x120408E0, 0x130}, {0x120408E8, 0x130}, {0x120408EC, 0x130}, {0x120408F0, 0x130},
      {0x120408F4, 0x130}, {0x12010040, 4},     {0x12142400, 0x82},  {0x12145400, 0x7F},  {0x12146400, 0x0D},
      {0x12140400, 0xFE},  {0x12140010, 0xFF},  {0x12146004, 0xFF},  {0x12146010, 0xFF},  {0x12142008, 0xFF},
      {0x12140008, 0xFF},  {0x12140040, 0xFF},  {0x12140080, 0xFF},  {0x12140100, 0xFF},  {0x12140200, 0xFF}};
  EXPECT_THAT(recorder.writes, ElementsAreArray(expected));
}

TEST(PinSignals, MuteKeepsTheBuzzerFromSoundingAndNothingElse) {
  Board board{{}};
  Recorder recorder(board);
  OnBoard(board, [&] {
    LumoGpioSetBuzzerOff(0, 1);
    EXPECT_THAT(recorder.writes, IsEmpty());
    LumoGpioSetBuzzerOff(1, 1);
    LumoGpioSetBuzzerOff(0, 0);
    EXPECT_THAT(recorder.writes, ElementsAre(Pair(0x12140008u, 0xFFu), Pair(0x12140008u, 0u)));
  });
}
