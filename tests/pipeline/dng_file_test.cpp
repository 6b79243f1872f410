// DNG files as their readers find them: every tag, the mosaic, the preview, and what a broken disk leaves.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <memory>
#include <random>

#include "common/log.h"
#include "common/sample_comm_venc/dng_writer.h"
#include "tests/support/file_bytes.h"
#include "tests/support/tiff_walk.h"
#include "twin/board.h"

extern "C" FILE* twin_stderr;

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr int kWidth = 3264, kHeight = 2448;
constexpr int kPreviewWidth = kWidth / 4, kPreviewHeight = kHeight / 4;
constexpr int kNoResult = 99;
const std::string kPath = "/mnt/udisk/2026-11-24_06-49-26/RAW_00_1.dng";

struct Dng : testing::Test {
  twin::Board board{twin::BoardOptions{}};
  LumoVencStatus en{};
  int height = kHeight;  // of the mosaic that is saved
  std::vector<uint16_t> mosaic = std::vector<uint16_t>(kWidth * kHeight);
  std::mt19937 random{5};

  Dng() {
    for (uint16_t& sample : mosaic) sample = static_cast<uint16_t>(random());
  }
  uint64_t MosaicBytes() const { return 2ull * kWidth * static_cast<uint64_t>(height); }
  std::filesystem::path File() const { return board.disk.Directory() / "2026-11-24_06-49-26/RAW_00_1.dng"; }
  int Save(int camIdx, int hdrIdx = 1, const std::string& path = kPath) {
    std::filesystem::create_directories(File().parent_path());
    int result = kNoResult;
    board.PowerOff();
    board.PowerOn([&] {
      g_lumoDebug = twin_stderr;
      result = LumoSaveDNG(mosaic.data(), kWidth, height, camIdx, hdrIdx, &en, path.c_str());
      return 0;
    });
    board.RunUntil([&] { return board.Exited() || !board.Powered(); }, std::chrono::minutes(1));
    return result;
  }
};

// --- what a good file holds ---

// The tags of a directory as "tag:type:values", rationals to six decimals.
std::vector<std::string> Lines(const TiffDirectory& directory) {
  std::vector<std::string> lines;
  for (const auto& [tag, entry] : directory) {
    std::string line = std::to_string(tag) + ":" + std::to_string(entry.type) + ":";
    if (entry.type == 2) {
      line += entry.Text();
    } else {
      for (size_t i = 0; i < entry.values.size(); i++) {
        char value[32];
        snprintf(value, sizeof(value), entry.type == 5 || entry.type == 10 ? "%s%.6f" : "%s%.0f", i == 0 ? "" : " ",
                 entry.values[i]);
        line += value;
      }
    }
    lines.push_back(line);
  }
  return lines;
}

TEST_F(Dng, HoldsEveryTag) {
  en.gain[1] = 17;
  en.expsTime[1] = 0.0125F;
  en.isoMode = 1;
  en.evBiasMode = -3;
  ASSERT_EQ(Save(0), 0);
  const TiffWalk file(FileBytes(File()));
  TiffDirectory first = file.First();
  std::vector<uint32_t> matrix;  // the bits of the floats that a reader gets
  for (double value : first.at(50721).values) matrix.push_back(std::bit_cast<uint32_t>(static_cast<float>(value)));
  EXPECT_THAT(matrix, ElementsAre(0x3FD8A969, 0xBF10095F, 0xBDAC673F, 0xBEC50EBB, 0x3F8DDE6A, 0x3EA30814, 0xBD7534B0,
                                  0x3E44666F, 0x3F8650C6));
  // Where the library puts things is its affair; that they are there is tested with the pixels.
  for (int tag : {273, 330, 34665, 50721}) first.at(tag).values = {};
  EXPECT_THAT(Lines(first), ElementsAre("254:4:1", "256:3:816", "257:3:612", "258:3:8 8 8", "259:3:1", "262:3:2",
                                        "271:2:Lumora", "272:2:Lumora", "273:4:", "274:3:1", "277:3:3", "279:4:1498176",
                                        "284:3:1", "305:2:Lumora StitchBench", "306:2:4_06:49:26 RA:_0:_1", "330:13:",
                                        "34665:13:", "50706:1:1 1 0 0", "50707:1:1 0 0 0", "50708:2:Lumora Vista",
                                        "50721:10:", "50728:5:1.000000 1.000000 1.000000", "50778:3:23"));
  TiffDirectory raw = file.Raw();
  raw.at(273).values = {};
  EXPECT_THAT(Lines(raw), ElementsAre("254:4:0", "256:3:3264", "257:3:2448", "258:3:16", "259:3:1", "262:3:32803",
                                      "273:4:", "277:3:1", "279:4:15980544", "284:3:1", "33421:3:2 2",
                                      "33422:1:2 1 1 0", "50717:4:65535", "50730:10:0.000000", "50731:5:0.000000"));
  EXPECT_THAT(Lines(file.Exif()), ElementsAre("33434:5:0.012500", "33437:5:2.200000", "34850:3:2", "34855:3:106",
                                              "36867:2:4_06:49:26 RA:_0:_1", "36868:2:4_06:49:26 RA:_0:_1",
                                              "37380:10:-1.000000", "37385:3:32", "37386:5:3.850000", "41989:3:0"));
  EXPECT_EQ(board.Log(), "") << "the library has something to say about a good file";
}

TEST_F(Dng, TellsTheExposureAndTheProgram) {
  for (int exposure = 0; exposure < 6; exposure++) {
    en.gain[exposure] = 16 + 33 * exposure;
    en.expsTime[exposure] = 1 / (3.0F + static_cast<float>(exposure));
    en.isoMode = exposure % 3;
    en.evBiasMode = exposure - 2;
    ASSERT_EQ(Save(12, exposure), 0);
    const TiffDirectory exif = TiffWalk(FileBytes(File())).Exif();
    EXPECT_NEAR(exif.at(33434).values.at(0), 1 / (3.0 + exposure), 1e-7);
    EXPECT_EQ(exif.at(34855).values.at(0), std::floor((16 + 33 * exposure) * 6.25));
    EXPECT_EQ(exif.at(34850).values.at(0), exposure % 3 == 1 ? 2 : 6);
    EXPECT_NEAR(exif.at(37380).values.at(0), (exposure - 2) / 3.0, 1e-6);
  }
}

TEST_F(Dng, HasADateOfBlanksWhereThePathIsShort) {
  ASSERT_EQ(Save(3, 1, "a.dng"), 0);
  EXPECT_EQ(TiffWalk(FileBytes(board.paths.Local() / "a.dng")).First().at(306).Text(), "    :  :     :  : a");
}

// --- pixels ---

struct Colour {
  int b, g, r;  // 14 bits
};

// Builds a mosaic whose preview will be made of `colours`, from the top left on; the other samples stay noise.
void Paint(std::vector<uint16_t>& mosaic, bool turned, const std::vector<Colour>& colours) {
  for (size_t i = 0; i < colours.size(); i++) {
    const size_t x = i % kPreviewWidth, y = i / kPreviewWidth;
    const size_t row = 4 * (turned ? kPreviewHeight - 1 - y : y);
    const size_t column = turned ? kWidth - 1 - 4 * (kPreviewWidth - 1 - x) : 4 * x;
    const size_t beside = turned ? column - 1 : column + 1;
    mosaic[row * kWidth + column] = static_cast<uint16_t>(4 * colours[i].b);
    mosaic[row * kWidth + beside] = static_cast<uint16_t>(4 * colours[i].g + 3);  // the two differ, their mean is g
    mosaic[(row + 1) * kWidth + column] = static_cast<uint16_t>(4 * colours[i].g);
    mosaic[(row + 1) * kWidth + beside] = static_cast<uint16_t>(4 * colours[i].r);
  }
}

// Grays pass the matrix as they are, so a ramp of all 14-bit grays shows the curve; the colours behind it are then
// judged by that curve and a matrix in floating point. Both pictures of a camera that stands on its head are turned.
TEST_F(Dng, HoldsTheMosaicAndItsPreviewUpright) {
  const std::vector<std::pair<int, double>> knownCurve = {
      {0, 0},       {1, 0},        {2, 0.0061},   {4, 0.0218},   {8, 0.0519},   {16, 0.1071},   {32, 0.2011},
      {64, 0.3436}, {128, 0.5347}, {256, 0.7456}, {512, 0.9086}, {768, 0.9738}, {1022, 0.9966}, {1023, 0.9969}};
  std::vector<Colour> colours;
  for (int v = 0; v < 16384; v++) colours.push_back({v, v, v});
  while (colours.size() < kPreviewWidth * kPreviewHeight) {
    colours.push_back({int(random() % 16384), int(random() % 16384), int(random() % 16384)});
  }
  for (int camera : {0, 1, 2, 22, 23, 24}) {
    SCOPED_TRACE(camera);
    const bool turned = camera >= 2 && camera <= 22;
    Paint(mosaic, turned, colours);
    ASSERT_EQ(Save(camera), 0);
    const TiffWalk file(FileBytes(File()));
    EXPECT_EQ(file.Raw().at(33422).values,
              (turned ? std::vector<double>{0, 1, 1, 2} : std::vector<double>{2, 1, 1, 0}));
    const std::vector<uint8_t> raw = file.Strip(file.Raw());
    ASSERT_EQ(raw.size(), MosaicBytes());
    for (size_t row = 0; row < kHeight; row++) {
      const uint16_t* const source = &mosaic[kWidth * (turned ? kHeight - 1 - row : row)];
      ASSERT_EQ(std::memcmp(&raw[2 * kWidth * row], source, 2 * kWidth), 0) << row;
    }
    const std::vector<uint8_t> preview = file.Strip(file.First());
    ASSERT_EQ(preview.size(), 3u * kPreviewWidth * kPreviewHeight);
    for (const auto& [index, value] : knownCurve) {
      const int expected = std::min(16383, static_cast<int>(value * 16384 + 0.5)) / 64;
      EXPECT_EQ(preview[3 * 16 * index], expected) << "curve at " << index;
    }
    const auto curve = [&](double v) { return preview[3 * static_cast<size_t>(std::clamp(v, 0.0, 16383.0))]; };
    for (size_t v = 1; v < 16384; v++) ASSERT_GE(preview[3 * v], preview[3 * v - 3]) << v;
    size_t wrong = 0;
    for (size_t i = 0; i < colours.size(); i++) {
      const auto [b, g, r] = colours[i];
      const double blue = std::floor((379.0 * b - 120 * g - 3 * r + 128) / 256);
      const double green = std::floor((-129.0 * b + 438 * g - 53 * r + 128) / 256);
      const double red = std::floor((-41.0 * b - 143 * g + 440 * r + 128) / 256);
      if (preview[3 * i] != curve(red) || preview[3 * i + 1] != curve(green) || preview[3 * i + 2] != curve(blue))
        wrong++;
    }
    EXPECT_EQ(wrong, 0u);
  }
}

// --- what a broken disk leaves ---

// The mosaic, if a reader that follows the directories finds it and an exposure; else nothing.
std::vector<uint8_t> MosaicOf(const std::filesystem::path& path) try {
  const TiffWalk file(FileBytes(path));
  file.Exif();
  return file.Strip(file.Raw());
} catch (const std::exception&) {
  return {};
}

TEST_F(Dng, ReportsAFileThatCannotBeMade) {
  EXPECT_EQ(Save(0, 1, "/mnt/udisk/nowhere/2026-11-24_06-49-26/RAW_00_1.dng"), -1);
  EXPECT_THAT(board.Log(), HasSubstr("RAW_00_1.dng: No such file or directory"));
  EXPECT_EQ(Save(0, 6), -1);
  EXPECT_EQ(Save(0, -1), -1);
  EXPECT_FALSE(std::filesystem::exists(File()));
}

// Every write in turn, of the header, the preview, the mosaic and the directories, fails or is where the power goes.
// The preview's are not reported, nor are the directories'; but what reads as whole has the whole mosaic.
TEST_F(Dng, AWriteThatFailsOrIsTheLastLeavesNoFalseWhole) {
  height = 612;
  for (const std::string fault : {"fail=EIO", "powercut"}) {
    int reported = 0, fired = 0;
    for (;; fired++) {
      SCOPED_TRACE(fault + ", write " + std::to_string(fired + 1));
      std::filesystem::remove(File());
      board.faults.Clear();
      board.faults.Add("disk.write " + fault + " nth=" + std::to_string(fired + 1));
      const int result = Save(5);
      EXPECT_EQ(board.tiffFiles.OpenOnDisk(), 0u);
      if (board.faults.Fired() == 0) break;
      reported += result == -1;
      const std::vector<uint8_t> pixels = MosaicOf(File());
      if (pixels.empty()) continue;
      EXPECT_EQ(result, 0);
      ASSERT_EQ(pixels.size(), MosaicBytes());
      EXPECT_EQ(std::memcmp(&pixels[0], &mosaic[kWidth * (height - 1)], 2 * kWidth), 0);
      EXPECT_EQ(std::memcmp(&pixels[MosaicBytes() - 2 * kWidth], mosaic.data(), 2 * kWidth), 0);
    }
    EXPECT_GE(fired, 30);
    EXPECT_EQ(reported, fault == "powercut" ? 0 : 1 + 4) << "the file's head and each megabyte of the mosaic";
    EXPECT_EQ(MosaicOf(File()).size(), MosaicBytes());
  }
}

}  // namespace
