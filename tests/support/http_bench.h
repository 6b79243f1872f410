// The two HTTP threads on a board of their own, with a stand-in for the control thread: requests go in by the network,
// fields of the shared record and files on the disk come out.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <vector>

#include "common/control_signals.h"
#include "tests/support/http.h"
#include "twin/board.h"

class HttpBench : public testing::Test {
 protected:
  HttpBench();

  // Powers the board on with an interface that is up, and returns when both ports can be reached.
  void Start();
  HttpAnswer Get(const std::string& target, uint16_t port = kControl) { return ::Get(board, target, port); }
  std::filesystem::path Disk(const std::string& name) const { return board.disk.Directory() / name; }
  size_t Logged(const std::string& text) const { return board.LogCount(text); }

  // What the control thread found when it looked into the mailbox.
  struct Command {
    unsigned int remoteCapCmd;
    int manualExpsUs, manualIso, longitude, latitude;
    BYTE timeLapse, needExitTimeLapse, saveRaw, gyroCorrect, saveSingle;
  };
  std::vector<Command> commands;
  bool takesCommands = true;
  int calibration = -1;             // the answer to a compass request; negative: none
  twin::Duration temperature = {};  // until a reading is done; 0: never

  twin::Board board{{}};
  std::unique_ptr<ControlSignals> ctrl = std::make_unique<ControlSignals>();

 private:
  void ControlThread();
};
