// The two HTTP threads on a board of their own, with a stand-in for the control thread: requests go in by the network,
// fields of the shared record and files on the disk come out.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>

#include "common/control_signals.h"
#include "tests/support/http.h"
#include "twin/board.h"

class HttpBench : public testing::Test {
 protected:
  HttpBench();
  void TearDown() override;  // no request may have left anything open

  // Powers the board on with an interface that is up, and returns when both ports can be reached.
  void Start();
  HttpAnswer Get(const std::string& target, uint16_t port = kControl) { return ::Get(board, target, port); }
  std::filesystem::path Disk(const std::string& name) const { return board.disk.Directory() / name; }
  size_t Logged(const std::string& text) const { return board.LogCount(text); }

  // Puts fields to values by their names, "timeLapse=2 usbMode=6"; "battery=50" is the last 64 samples.
  void Set(const std::string& words);
  // What requests may write, before one: 77, or 0 where that would mean something to them.
  void Prepare();
  // The fields that are not as they were at the last Prepare, "timeLapse=2 needFormat=255"; of the time of the last
  // action only "stamp".
  std::string Written() const;

  // What was written when the control thread found something to do.
  std::string found;
  bool isAttentive = true;
  int calibration = 0;              // its answer to a compass request
  twin::Duration temperature = {};  // until a reading is done

  twin::Board board{{}};
  std::unique_ptr<ControlSignals> ctrl = std::make_unique<ControlSignals>();
  size_t open;  // descriptors that must be left in the end

 private:
  void ControlThread();
  std::unique_ptr<ControlSignals> before_ = std::make_unique<ControlSignals>();
};
