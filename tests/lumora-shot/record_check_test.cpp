// The rules that lumora-shot holds a record's exposures to, against all that the camera can set: no shot that the
// camera takes is called bad.
#include <gtest/gtest.h>

#include "common/fpga_ctrl/capture/exposure.h"
#include "tools/lumora-shot/findings.h"

namespace {

// `split` makes the set of one bracket's exposure.
std::string Judgement(int captureMode, int columnSize, int base, const auto& split) {
  std::array<int32_t, 64> words{};
  const std::pair<size_t, int> constants[] = {{0, 2},   {1, 1},   {2, 2026}, {3, 1}, {4, 1}, {28, captureMode + 2},
                                              {33, 95}, {34, 80}, {41, 32}};
  for (const auto& [word, value] : constants) words[word] = value;
  const auto brackets = LumoBracketExposures(static_cast<BYTE>(captureMode), base);
  for (size_t i = 0; i < kExposureSets; ++i) {
    const auto set = LumoMakeExposureSet(static_cast<BYTE>(captureMode), static_cast<int>(i), split(brackets[i]));
    const size_t word = i < 3 ? 10 + 4 * i : 46 + 4 * (i - 3);
    words[word] = set.shutterLines;
    words[word + 1] = set.totalLines;
    words[word + 2] = 2 * columnSize;
    words[word + 3] = set.gain;
  }
  shot::Shot shot;
  shot.record = shot::RecordOf(words);
  shot::Findings findings;
  shot::CheckRecord(shot, findings);
  return shot::Text(findings.Take());
}

TEST(RecordCheck, AcceptsEveryExposureOfTheCamera) {
  for (const BYTE captureMode : {0, 1, 2, 3, 4, 5, 6, 7})
    for (const BYTE strobeMode : {0, 1, 2}) {
      for (const BYTE isoMode : {0, 1})
        for (int base = captureMode < 2 ? 0x80 : captureMode < 4 ? 0x100 : 0x400; base <= 0x8C780; base += 509) {
          if (captureMode % 2 == 1) break;
          const auto split = [&](auto bracket) { return LumoSplitAutomatic(strobeMode, isoMode, base, bracket); };
          ASSERT_EQ(Judgement(captureMode, kDefaultColumnSize, base, split), "")
              << int{captureMode} << " " << int{strobeMode} << " " << int{isoMode} << " base " << base;
        }
      for (const int iso : {50, 100, 150, 333, 1600})
        for (int us = 1; us < 20000000; us += us / 40 + 1) {
          if (captureMode % 2 == 0) break;
          const ManualExposure manual = LumoPrepareManualExposure(
              {captureMode, strobeMode, 0, 0, LumoRoundManualExposure(captureMode, strobeMode, us), iso});
          const auto split = [&](auto bracket) { return LumoSplitManual(manual, bracket); };
          ASSERT_EQ(Judgement(captureMode, manual.columnSize, manual.curExposure, split), "")
              << int{captureMode} << " " << int{strobeMode} << " ISO " << iso << " " << us << " us";
        }
    }
}

}  // namespace
