#include "common/sample_comm_venc/container.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <memory>

namespace {

int32_t WordAt(const RawImageInfo& info, size_t offset) {
  int32_t word;
  std::memcpy(&word, reinterpret_cast<const char*>(&info) + offset, sizeof(word));
  return word;
}

// Every word of the record by its offset in the file; those that are not named must be 0.
TEST(ShotRecord, EachFieldStandsAtItsOffset) {
  auto ctrlSigs = std::make_unique<ControlSignals>();
  ctrlSigs->deviceId = 4;
  ctrlSigs->evCompVal = -7;
  ctrlSigs->isoMode = 3;
  ctrlSigs->captureMode = 5;
  ctrlSigs->delayMode = 8 + 5;
  ctrlSigs->strobeMode = 2;
  ctrlSigs->vertexX = -31000001;
  ctrlSigs->vertexY = 31000002;
  ctrlSigs->longitude = 121473700;
  ctrlSigs->latitude = -31230400;
  ctrlSigs->compassValue = 359;
  ExposureSets exposures{.totalColumns = 3888, .shutterLines = {}, .totalLines = {}, .gain = {}};
  for (int i = 0; i < 6; i++) {
    exposures.shutterLines[i] = 100 + i;
    exposures.totalLines[i] = 2470 + i;
    exposures.gain[i] = 16 + i;
  }
  tm when{};
  strptime("2026-12-31 23:58:59", "%F %T", &when);

  RawImageInfo info;
  std::memset(&info, 0xEE, sizeof(info));
  LumoFillRawImageInfo(&info, ctrlSigs.get(), &exposures, &when, 999'999, 41);

  std::map<size_t, int32_t> expected = {
      {0, 4},    {4, 1},   {8, 2026}, {12, 12},   {16, 31},         {20, 23},        {24, 58},         {28, 59},
      {32, 999}, {36, 41}, {104, -7}, {108, 3},   {112, 7},         {132, 95},       {136, 80},        {144, 1},
      {148, 2},  {152, 5}, {164, 32}, {236, 359}, {168, -31000001}, {172, 31000002}, {176, 121473700}, {180, -31230400},
  };
  for (int i = 0; i < 6; i++) {
    const size_t set = i < 3 ? 40 + 16 * i : 184 + 16 * (i - 3);
    expected[set] = 100 + i;
    expected[set + 4] = 2470 + i;
    expected[set + 8] = 3888;
    expected[set + 12] = 16 + i;
  }
  for (size_t offset = 0; offset < 256; offset += 4) {
    const auto found = expected.find(offset);
    EXPECT_EQ(WordAt(info, offset), found == expected.end() ? 0 : found->second) << "offset " << offset;
  }
}

}  // namespace
