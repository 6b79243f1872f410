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

  void Start();  // powers the board on and returns when both ports can be reached
  HttpAnswer Get(const std::string& target, uint16_t port = kControl) { return ::Get(board, target, port); }
  std::filesystem::path Disk(const std::string& name) const { return board.disk.Directory() / name; }

  // Puts what requests may write to 77, or to 0 where that would mean something to them.
  void Prepare();
  // Puts fields to values by their names: "timeLapse=2 usbMode=6". The battery is full once it counts as measured.
  void Set(const std::string& words);
  // The fields that are not as these two left them, "timeLapse=2 needFormat=255"; of the time of the last action only
  // "stamp".
  std::string Written() const;

  std::string found;  // what was written when the control thread found something to do
  bool isAttentive = true;
  BYTE calibration = 0;             // its answer to a compass request
  twin::Duration temperature = {};  // until a reading is done

  twin::Board board{{}};
  std::unique_ptr<ControlSignals> ctrl = std::make_unique<ControlSignals>();
  size_t open;  // descriptors that must be left in the end

 private:
  void ControlThread();
  int64_t before_[40];
};
