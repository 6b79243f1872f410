// The order of a shot on the bus, against layers that answer as the test says.
#include "common/fpga_ctrl/capture/capture_sequencer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/fpga_ctrl/array/gpio.h"
#include "common/fpga_ctrl/array/spi_link.h"
#include "tests/support/on_board.h"
#include "tests/support/spi_tap.h"

using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using namespace std::chrono_literals;

namespace {

using Command = std::array<int, 6>;  // layer, camera, code, H, M, L

Command Taken(const SpiFrame& f) { return {f.Layer(), f.Camera(), f.Code(), f.H(), f.M(), f.L()}; }

// A broadcast write of a sensor register.
Command Sensor(int address, int value) { return {3, 15, 0xF0, address >> 8, address & 0xFF, value}; }
Command Delay(int layer, int camera, int delay) {
  return {layer, camera, 0xE1, delay >> 16, delay >> 8 & 0xFF, delay & 0xFF};
}
Command Plain(int code, int h = 0) { return {3, 0, code, h, 0, 0}; }
Command Queued(int code, int h = 0) { return {3, 15, code, h, 0, 0}; }
template <class... Each>
std::vector<Command> Commands(const Each&... each) {
  return {each...};
}

std::vector<Command> Step(int frameDelay) {
  std::vector<Command> step = {Delay(3, 15, 0), Queued(0xE3), Delay(3, 15, frameDelay), Queued(0xE2)};
  const std::array<int, 7> registers = {0x3500, 0x3501, 0x3502, 0x380E, 0x380F, 0x3508, 0x3509};
  for (int i = 0; i < 7; i++) {
    const int address = registers[static_cast<size_t>(i)];
    step.push_back(Queued(0xB0, i << 3));
    step.push_back({3, 15, 0xF1, address >> 8, address & 0xFF, 0});
  }
  step.push_back(Queued(0xB0, 7 << 3));
  return step;
}

class Sequencer : public testing::Test {
 protected:
  Sequencer() {
    tap.answer = [this](int layer, int code) { return Answer(layer, code); };
    board.gpio.At(0, 2).OnChange([this](bool level) { powerCycles += level ? 0 : 1; });
  }

  // What the layers say. Each read of the measurement counter finds it one on, until `averages` ends.
  virtual int Answer(int layer, int code) {
    switch (code) {
      case 0x40: return 1;
      case 0x41: return fifoAlmostFull;
      case 0x43: return Finished() ? 1 : 0;
      case 0x44: return 1;
      case 0x45:
      case 0x46: return 0x40 + 31;
      case 0x49:
      case 0x4A: return layer == 0 ? rowErrors : 0;
      case 0x4B: return 1 - layer % 2;
      case 0x4C: return layer % 2;
      case 0x4D:
        if (countFails) return -1;
        if (count + 1 < static_cast<int>(averages.size())) count++;
        counterReads++;
        return count;
      case 0x4E: return averages[static_cast<size_t>(count)];
      case 0x50: return exposure >> 16;
      case 0x51: return exposure >> 8 & 0xFF;
      case 0x52: return exposure & 0xFF;
      default: return 0;
    }
  }
  bool Finished() const { return finishAtRead > 0 && counterReads >= finishAtRead; }

  struct Shot {
    int result = -100;
    int totalColumns = -1;
    std::array<int, 6> shutterLines{-1, -1, -1, -1, -1, -1}, totalLines = shutterLines, gain = shutterLines;
    int vertexX = -1, vertexY = -1;
    int finalExposure = -1;
    int8_t warmest = 0;
  };
  Shot Take(BYTE captureMode, BYTE twoHalfIdx = 0, int finalExposure = -1, int manualExpsUs = 10000) {
    Shot shot;
    shot.finalExposure = finalExposure;
    OnBoard(board, [&] {
      auto* ctrlSigs = new ControlSignals{};
      LumoGpioInit();
      powerCycles = 0;
      ASSERT_EQ(LumoSpiInit(), 0);
      tap.frames.clear();
      shot.result = LumoCapture(ctrlSigs, &shot.totalColumns, shot.shutterLines.data(), shot.totalLines.data(),
                                shot.gain.data(), &shot.vertexX, &shot.vertexY, 0, &shot.finalExposure, twoHalfIdx,
                                captureMode, 0, 0, 0, manualExpsUs, 100);
      shot.warmest = ctrlSigs->camTemp[24];
      delete ctrlSigs;
    });
    return shot;
  }
  bool ReadsExposure() const {
    for (const SpiFrame& f : tap.frames) {
      if (f.IsRead() && f.Code() >= 0x50) return true;
    }
    return false;
  }
  // The eight bytes of one set, in the order in which they were written.
  std::vector<int> Set(int number) const {
    std::vector<int> bytes;
    for (const SpiFrame& f : tap.Writes(0x15)) {
      if (f.H() >> 5 != number) continue;
      EXPECT_EQ(f.H() & 0x1F, static_cast<int>(bytes.size()) << 2);
      EXPECT_EQ(f.Layer(), 1);
      bytes.push_back(f.M());
    }
    return bytes;
  }

  twin::Board board{twin::BoardOptions{}};
  SpiTap tap{board};
  std::vector<int> averages = {0, 28, 28, 28, 28, 28};
  int count = 0, counterReads = 0;
  int finishAtRead = 20;
  int exposure = 2800;
  int fifoAlmostFull = 1;
  bool countFails = false;
  int rowErrors = 0;
  int powerCycles = 0;
};

TEST_F(Sequencer, SettlesOnTwoSamplesTwoApartStrictlyWithinSixFifths) {
  // The fourth measures 48 against 40, just 6/5: not settled. The fifth 47 against 40 is.
  averages = {0, 200, 40, 40, 48, 47, 47};
  exposure = 4700;
  const Shot shot = Take(0);
  EXPECT_EQ(shot.result, 0);
  EXPECT_EQ(shot.totalColumns, 3888);
  EXPECT_EQ(shot.finalExposure, 2800);  // 4700 x 28 / 47
  EXPECT_THAT(shot.shutterLines, ElementsAre(43, 175, 700, 700, 700, 700));
  EXPECT_THAT(shot.totalLines, Each(2470));
  EXPECT_THAT(shot.gain, Each(16));
  EXPECT_EQ(shot.vertexX, 0);
  EXPECT_EQ(shot.vertexY, 0);
  EXPECT_EQ(shot.warmest, 31);

  EXPECT_EQ(tap.Writes(0x15).size(), 48u);
  EXPECT_THAT(Set(1), ElementsAre(0x00, 0x02, 0xBC, 0x09, 0xA6, 0x00, 0x80, 0x00));
  EXPECT_THAT(Set(2), ElementsAre(0x00, 0x0A, 0xF0, 0x09, 0xA6, 0x00, 0x80, 0x00));
  for (const int last : {3, 4, 5, 6}) {
    EXPECT_THAT(Set(last), ElementsAre(0x00, 0x2B, 0xC0, 0x09, 0xA6, 0x00, 0x80, 0xFF));
  }
  EXPECT_THAT(board.Log(), HasSubstr("column:1944\nshutter0:43  total0:2470  gain0:16\nshutter1:175  total1:2470"));
}

TEST_F(Sequencer, WithoutAgreementItSetsOutAtTheThirtySecondMeasurement) {
  averages.assign(1, 0);
  for (int i = 1; i < 40; i++) averages.push_back((i / 2) % 2 == 0 ? 20 : 200);  // any two, two apart, disagree
  finishAtRead = 39;
  exposure = 2000;
  const Shot shot = Take(2);
  EXPECT_EQ(shot.result, 0);
  EXPECT_EQ(shot.finalExposure, 2800);  // the 32nd measures 20
  std::vector<int> limits;
  for (const SpiFrame& f : tap.Writes(0x17)) limits.push_back(f.H());
  EXPECT_THAT(limits, ElementsAre(0xAA, 0x89, 0x88));  // of frame starts, for six exposures
}

TEST_F(Sequencer, SecondHalfTakesTheStoredExposureAndKeepsIt) {
  const Shot shot = Take(0, 2, 2800);
  EXPECT_FALSE(ReadsExposure());
  EXPECT_EQ(shot.finalExposure, 2800);
  EXPECT_THAT(shot.shutterLines, ElementsAre(43, 175, 700, 700, 700, 700));
}

TEST_F(Sequencer, ManualShotNeverLooksAtTheScene) {
  averages = {0, 99};
  const Shot shot = Take(3, 0, 777, 8000000);
  EXPECT_EQ(shot.result, 0);
  EXPECT_FALSE(ReadsExposure());
  EXPECT_EQ(shot.finalExposure, 777);
  EXPECT_EQ(shot.totalColumns, 2 * 59055);
  EXPECT_THAT(shot.shutterLines, ElementsAre(1016, 2032, 4064, 8128, 16256, 32512));
  EXPECT_THAT(shot.totalLines, ElementsAre(2470, 2470, 4070, 8134, 16262, 32518));
  // The layers hear the stretched line length, and every delay is stretched with it.
  EXPECT_EQ(tap.Writes(0x16).at(0).H(), 59055 >> 8);
  std::vector<Command> delays;
  for (const SpiFrame& f : tap.Writes(0xE1)) delays.push_back(Taken(f));
  EXPECT_THAT(std::vector<Command>(delays.begin(), delays.begin() + 4),
              ElementsAre(Delay(0, 15, 7776), Delay(1, 0, 41253), Delay(1, 7, 74730), Delay(2, 15, 74730)));
}

TEST_F(Sequencer, LayersThatFinishWithoutSetsLeaveTheRecordAlone) {
  averages = {0, 28, 28, 28};  // three measurements are not enough
  finishAtRead = 8;
  const Shot shot = Take(0);
  EXPECT_EQ(shot.result, 0);
  EXPECT_THAT(tap.Writes(0x15), testing::IsEmpty());
  EXPECT_THAT(shot.shutterLines, Each(-1));
  EXPECT_EQ(shot.vertexX, -1);
  EXPECT_EQ(shot.finalExposure, -1);
}

TEST_F(Sequencer, FeedsStepsWhileTheFifoHasRoom) {
  averages = {0, 28, 28, 28, 28};
  for (const auto& [full, steps] : std::vector<std::pair<int, size_t>>{{0, 12 + 19}, {1, 12}, {-1, 12}}) {
    fifoAlmostFull = full;
    count = counterReads = 0;
    EXPECT_EQ(Take(0).result, 0);
    EXPECT_EQ(tap.Writes(0xF1).size(), 7 * steps) << full;  // one a pass, none in the last of twenty
  }
}

TEST_F(Sequencer, PreparesInItsFixedOrder) {
  const Shot shot = Take(0);
  ASSERT_EQ(shot.result, 0);
  std::vector<Command> commands;
  for (const SpiFrame& f : tap.Writes()) commands.push_back(Taken(f));
  const size_t tables = 14 + 238 + 101;
  ASSERT_GT(commands.size(), tables + 300);
  EXPECT_THAT(std::vector<Command>(commands.begin(), commands.begin() + 4),
              ElementsAre(Plain(0xE5), Command{3, 0, 0x14, 0, 1, 0}, Plain(0x12), Plain(0x13)));

  const std::vector<Command> setUp(commands.begin() + 4, commands.begin() + 4 + tables);
  EXPECT_EQ(setUp[0], Sensor(0x0002, 0x19));
  EXPECT_EQ(setUp[13], Sensor(0x001F, 0x0A));
  EXPECT_EQ(setUp[14], Sensor(0x0103, 0x01));
  EXPECT_EQ(setUp[15], Sensor(0x0100, 0x00));
  EXPECT_EQ(setUp[14 + 238], Sensor(0x0100, 0x00));
  EXPECT_EQ(setUp.back(), Sensor(0x4000, 0xF3));

  // Orientation and frame limits by layer; starting exposure, brackets, row length and the same in the sensors.
  std::vector<Command> wanted = {{0, 15, 0xF0, 0x38, 0x20, 0x06}, {0, 15, 0xF0, 0x38, 0x21, 0x46},
                                 {0, 15, 0x17, 0x77, 0, 0},       {1, 15, 0x17, 0x56, 0, 0},
                                 {2, 15, 0x17, 0x55, 0, 0},       {3, 0, 0xDD, 0x00, 0x20, 0},
                                 {3, 0, 0xD2, 0, 0, 0},           {3, 0, 0x16, 0x07, 0, 0}};
  const std::pair<int, int> registers[] = {{0x380C, 0x07}, {0x380D, 0x98}, {0x3500, 0x00},
                                           {0x3501, 0x02}, {0x3502, 0x00}, {0x380E, 0x09},
                                           {0x380F, 0xA6}, {0x3508, 0x00}, {0x3509, 0x80}};
  for (const auto& [address, value] : registers) wanted.push_back(Sensor(address, value));
  // The layers start apart, wait for a whole frame, and then the capture begins.
  const Command none = Delay(3, 15, 0);
  const std::vector<Command> start =
      Commands(Delay(0, 15, 256), Delay(1, 0, 1358), Delay(1, 7, 2460), Delay(2, 15, 2460), Queued(0xE2),
               Sensor(0x0100, 0x01), none, Queued(0xE4), none, Queued(0xE3), none, Queued(0xE3), Delay(3, 15, 80),
               Queued(0xE2), Plain(0xD0), Plain(0xD1));
  wanted.insert(wanted.end(), start.begin(), start.end());
  for (int i = 0; i < 12; i++) {
    for (const Command& command : Step(0x17BB)) wanted.push_back(command);
  }
  const auto from = commands.begin() + 4 + tables;
  EXPECT_THAT(std::vector<Command>(from, from + static_cast<long>(wanted.size())), ElementsAreArray(wanted));

  // What follows the shot: reset twice, and the chain open for layer 0.
  EXPECT_THAT(std::vector<Command>(commands.end() - 7, commands.end()),
              ElementsAre(Plain(0xE6), Plain(0xE6), Command{2, 0, 0xD9, 0, 0, 0}, Command{1, 0, 0xDA, 0, 0, 0},
                          Command{1, 0, 0xD9, 0, 0, 0}, Command{0, 0, 0xDA, 0, 0, 0}, Command{0, 0, 0xD8, 0, 0, 0}));
}

TEST_F(Sequencer, ARowErrorCountOfLayerZeroThatCannotBeReadFailsAGoodShot) {
  rowErrors = -1;
  EXPECT_EQ(Take(0).result, -257);
  EXPECT_EQ(powerCycles, 0);
}

// A counter that cannot be read is -1, an index before the samples.
TEST_F(Sequencer, ACounterThatCannotBeReadIsNoMeasurement) {
  countFails = true;
  finishAtRead = 0;
  const twin::Time from = board.Now();
  EXPECT_EQ(Take(1).result, -2);
  EXPECT_GE(board.Now() - from, 3 * 5440ms);  // each attempt ran to its limit
  EXPECT_THAT(tap.Writes(0x15), testing::IsEmpty());
  EXPECT_EQ(powerCycles, 3);
}

// --- read-out ---

TEST_F(Sequencer, LoadsStepAlongTheChain) {
  struct Case {
    BYTE layer, slot;
    std::vector<Command> wanted;
  };
  const std::vector<Case> walk = {
      {0, 48, {{0, 0, 0xD6, 48, 0, 0}}},
      {1, 0, {{0, 0, 0xDB, 0, 0, 0}, {1, 0, 0xD8, 0, 0, 0}, {1, 0, 0xD6, 0, 0, 0}}},
      {1, 42, {{1, 0, 0xD6, 42, 0, 0}}},
      {2, 5, {{1, 0, 0xDB, 0, 0, 0}, {2, 0, 0xD8, 0, 0, 0}, {2, 0, 0xD6, 5, 0, 0}}},
      {1, 6, {{2, 0, 0xD9, 0, 0, 0}, {1, 0, 0xDA, 0, 0, 0}, {1, 0, 0xD6, 6, 0, 0}}},
      {0, 0, {{1, 0, 0xD9, 0, 0, 0}, {0, 0, 0xDA, 0, 0, 0}, {0, 0, 0xD6, 0, 0, 0}}},
      {2, 1, {{2, 0, 0xD6, 1, 0, 0}}},  // no such step: only the load
      {0, 2, {{0, 0, 0xD6, 2, 0, 0}}},
  };
  OnBoard(board, [&] {
    ASSERT_EQ(LumoSpiInit(), 0);
    for (const Case& c : walk) {
      tap.frames.clear();
      LumoLoadNew(c.layer, c.slot);
      std::vector<Command> sent;
      for (const SpiFrame& f : tap.Writes()) sent.push_back(Taken(f));
      EXPECT_THAT(sent, ElementsAreArray(c.wanted)) << int{c.layer} << " " << int{c.slot};
    }
  });
}

TEST_F(Sequencer, ALoadWaitsWhileOneRunsOrTheLinkFails) {
  int polls = 0;
  tap.answer = [&polls](int layer, int code) {
    if (code != 0x48) return 0;
    if (layer == 0) polls++;
    if (polls <= 10) return layer == 2 ? 1 : 0;
    return polls <= 20 && layer == 1 ? -1 : 0;
  };
  OnBoard(board, [] {
    ASSERT_EQ(LumoSpiInit(), 0);
    LumoLoadNew(0, 7);
  });
  EXPECT_EQ(polls, 21);
  EXPECT_GE(tap.Writes(0xD6).at(0).at - tap.frames.front().at, 20ms);
}

}  // namespace
