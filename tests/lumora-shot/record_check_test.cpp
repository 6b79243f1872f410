// The rules that lumora-shot holds a record's exposures to, against all that the camera can set: no shot that the
// camera takes is called bad.
#include <gtest/gtest.h>

#include "common/fpga_ctrl/capture/exposure.h"
#include "tools/lumora-shot/findings.h"

namespace {

std::string Judgement(int captureMode, int columnSize, const std::array<ExposureSet, kExposureSets>& sets) {
  std::array<int32_t, 64> words{};
  const std::pair<size_t, int> constants[] = {{0, 2},   {1, 1},   {2, 2026}, {3, 1}, {4, 1}, {28, captureMode + 2},
                                              {33, 95}, {34, 80}, {41, 32}};
  for (const auto& [word, value] : constants) words[word] = value;
  for (size_t i = 0; i < sets.size(); ++i) {
    const size_t word = i < 3 ? 10 + 4 * i : 46 + 4 * (i - 3);
    words[word] = sets[i].shutterLines;
    words[word + 1] = sets[i].totalLines;
    words[word + 2] = 2 * columnSize;
    words[word + 3] = sets[i].gain;
  }
  shot::Shot shot;
  shot.record = shot::RecordOf(words);
  shot::Findings findings;
  shot::CheckRecord(shot, findings);
  return shot::Text(findings.Take());
}

TEST(RecordCheck, AcceptsEveryAutomaticExposureOfTheCamera) {
  for (const BYTE captureMode : {0, 2, 4, 6})
    for (const BYTE strobeMode : {0, 1, 2})
      for (const BYTE isoMode : {0, 1})
        for (int base = captureMode < 2 ? 0x80 : captureMode < 4 ? 0x100 : 0x400; base <= 0x8C780; base += 509) {
          const auto brackets = LumoBracketExposures(captureMode, base);
          std::array<ExposureSet, kExposureSets> sets;
          for (size_t i = 0; i < sets.size(); ++i)
            sets[i] = LumoMakeExposureSet(captureMode, static_cast<int>(i),
                                          LumoSplitAutomatic(strobeMode, isoMode, base, brackets[i]));
          ASSERT_EQ(Judgement(captureMode, kDefaultColumnSize, sets), "")
              << int{captureMode} << " " << int{strobeMode} << " " << int{isoMode} << " base " << base;
        }
}

TEST(RecordCheck, AcceptsEveryExposureByHand) {
  for (const BYTE captureMode : {1, 3, 5, 7})
    for (const BYTE strobeMode : {0, 1, 2})
      for (const int iso : {50, 100, 150, 333, 1600})
        for (int us = 1; us < 20000000; us += us / 40 + 1) {
          const ExposureRequest request{
              captureMode, strobeMode, 0, 0, LumoRoundManualExposure(captureMode, strobeMode, us), iso};
          const ManualExposure manual = LumoPrepareManualExposure(request);
          const auto brackets = LumoBracketExposures(captureMode, manual.curExposure);
          std::array<ExposureSet, kExposureSets> sets;
          for (size_t i = 0; i < sets.size(); ++i)
            sets[i] = LumoMakeExposureSet(captureMode, static_cast<int>(i), LumoSplitManual(manual, brackets[i]));
          ASSERT_EQ(Judgement(captureMode, manual.columnSize, sets), "")
              << int{captureMode} << " " << int{strobeMode} << " ISO " << iso << " " << us << " us";
        }
}

}  // namespace
