// A control thread under test: presses, requests, and what its shots were.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/control_bench.h"

using namespace std::chrono_literals;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using twin::Duration;
using twin::Time;

struct ControlLoop : testing::Test, ControlBench {
  // Presses of 100 ms, 250 ms apart.
  void Press(int times) {
    for (int i = 0; i < times; i++) {
      board.button.Press(100ms);
      board.Run(i == times - 1 ? 100ms : 250ms);
    }
    released = board.Now();
  }
  // Presses, and waits for the shot that comes of it.
  TakenShot ShotAfter(int presses) {
    const size_t before = shots.size();
    Press(presses);
    EXPECT_TRUE(board.RunUntil([&] { return shots.size() > before; }, 1min)) << presses << " presses";
    EXPECT_TRUE(board.RunUntil([&] { return ctrlSigs->needSave == 0; }, 1min));
    board.Run(1s);
    return shots.back();
  }
  // Posts a request and waits for its first shot.
  void Request(unsigned int cmd) {
    const size_t before = shots.size();
    ctrlSigs->remoteCapCmd = cmd;
    EXPECT_TRUE(board.RunUntil([&] { return shots.size() > before; }, 2min));
  }
  void SetUserSettings() {
    ctrlSigs->captureMode = 5;
    ctrlSigs->strobeMode = 2;
    ctrlSigs->evCompVal = -4;
    ctrlSigs->isoMode = 3;
    ctrlSigs->saveRaw = 1;
    ctrlSigs->delayMode = 7;
  }
  bool Quits(Duration limit) {
    return board.RunUntil([&] { return ctrlSigs->needQuit == 1; }, limit);
  }
  std::string SettingFile() const {
    std::ifstream file(board.disk.Directory() / "DCIM" / "setting.ini");
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
  }
  unsigned int BoardTime() const { return static_cast<unsigned int>(board.Uptime() / 1ms); }

  Time released{0};
};

MATCHER_P2(IsWithin, low, high, "") { return arg >= low && arg <= high; }
