// Looks at the shot that a board has just taken, as somebody would who knows what was before its cameras: the file as
// any reader finds it, and what it tells against what the board itself saw.
//
// Judged: what the application's own log objects to; one new file in the folder, under a finished name that tells the
// record's time; the file's structure and every picture's data, as `lumora-shot verify` does; the record's date against
// the clock chip, its exposures against those that the sensors had, its tilt against how the camera is held; the
// brightness that an automatic shot is after; each picture's camera, exposure, orientation and brightness; the
// thumbnail; what a person saw and heard (see signals.h), and that the shot line was low once; and that the board rests
// afterwards: array asleep, encoders stopped, no file left open.
//
// A marked picture says by itself which frame it is. A rendered one is judged by its brightness and by whether its two
// sizes show the same; two frames of one camera and exposure, or of two cameras that see equal light, are one to it.
// Nobody looks at noise and sharpness. Where somebody changed the camera's settings, what they decide is taken as it
// is.
#pragma once

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "twin/board.h"

namespace twin {

class ShotJudge {
 public:
  // Before the button is pressed. The board outlives the judge.
  explicit ShotJudge(Board& board);

  // What is wrong with the one shot since then, a sentence each, at most a few; empty: nothing. The shot must be over.
  std::vector<std::string> WhatIsWrong() const;

  // The finished shot since then; empty if there is none.
  std::filesystem::path Shot() const;

 private:
  std::set<std::filesystem::path> Files() const;

  Board& board_;
  const std::set<std::filesystem::path> before_;
  const size_t delivered_;
  const size_t blinks_, sounds_, shotLines_;
};

}  // namespace twin
