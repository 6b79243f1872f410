// The media pipeline and the snap loop on a board with all its chips, and the test in the control thread's place: every
// kind of shot can be asked for, also those that no button asks for.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "common/control_signals.h"
#include "twin/board.h"

class SnapLoop : public testing::Test {
 protected:
  // light: factor on the light of the world
  explicit SnapLoop(double light = 1.0);

  // Opens the device and starts the media pipeline, which ends in the loop. Returns when the loop waits for a shot.
  void Start();
  // Asks for a shot as the trigger does and waits for its end. False if that takes more than ten minutes of board time.
  bool Shoot();
  // The two values that a shot ended with, as (needCapture, needSave).
  std::pair<int, int> Outcome() const { return {ctrl->needCapture, ctrl->needSave}; }

  // Names of the files in DCIM, sorted.
  std::vector<std::string> Files() const;
  std::filesystem::path Dcim() const { return board.disk.Directory() / "DCIM"; }
  std::filesystem::path OnlyShot() const { return board.disk.OnlyShot(); }
  size_t Logged(const std::string& text) const { return board.LogCount(text); }

  twin::Board board;
  std::unique_ptr<ControlSignals> ctrl = std::make_unique<ControlSignals>();
};
