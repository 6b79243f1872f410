// Shots with raw frames as a client takes them: which frame each file holds, and every way in which a raw pass can
// fail.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <functional>
#include <map>
#include <set>

#include "tests/support/file_bytes.h"
#include "tests/support/http_board.h"
#include "tests/support/marked_shot.h"
#include "tests/support/tiff_walk.h"
#include "tests/support/transcript_match.h"
#include "tools/lumora-shot/pictures.h"
#include "twin/light/read_mark.h"
#include "twin/light/tone.h"
#include "twin/transcript/transcript.h"

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::SizeIs;

// Every fourth sample of every fourth row of a DNG file's mosaic, as it would be shown: enough for a mark.
shot::Gray ShownMosaic(const fs::path& path) {
  const TiffWalk file(FileBytes(path));
  const TiffDirectory mosaic = file.Raw();
  const std::vector<uint8_t> bytes = file.Strip(mosaic);
  const auto width = static_cast<size_t>(mosaic.at(256).values.at(0)),
             height = static_cast<size_t>(mosaic.at(257).values.at(0));
  shot::Gray picture{static_cast<int>(width / 4), static_cast<int>(height / 4), {}};
  for (size_t row = 0; row < height; row += 4) {
    for (size_t column = 0; column < width; column += 4) {
      const size_t at = (row * width + column) * 2;
      const int sample = bytes.at(at) | bytes.at(at + 1) << 8;
      EXPECT_EQ(sample & 63, 0);
      picture.pixels.push_back(static_cast<uint8_t>(std::lround(255 * twin::Display(sample / 64 / 1009.0))));
    }
  }
  return picture;
}

std::string NameOf(int camera, int exposure) {
  return (camera < 10 ? "RAW_0" : "RAW_") + std::to_string(camera) + "_" + std::to_string(exposure) + ".dng";
}

struct RawShot : HttpBoard {
  // Reads each file as soon as it is written, tells what it is by its mark, and takes it off the host's disk: a whole
  // pass would fill 1.3 or 2.6 GB.
  void ReadFilesAsTheyCome() {
    board.OnLogLine([this](twin::Time when, const std::string& line) {
      if (line.find("SaveRaw:") != std::string::npos) {
        ReadLast();
        const size_t name = line.find("RAW_");
        last = Folder() / line.substr(name);
      }
      if (hears) hears(when, line);
    });
  }
  void ReadLast() {
    if (last.empty()) return;
    const auto found = twin::ReadMark(ShownMosaic(last));
    EXPECT_TRUE(found) << last;
    if (found) {
      const std::string name = NameOf(found->mark.camera, found->mark.bracket);
      EXPECT_EQ(last.filename(), name);
      EXPECT_EQ(found->mark.shot, board.array.Shots());
      EXPECT_TRUE(found->FieldAgrees()) << last << ": " << found->field << " for " << found->mark.gray;
      EXPECT_FALSE(found->turned) << last << " lies as its JPEG does";
      read.insert(name);
    }
    fs::resize_file(last, 0);
    last.clear();
  }
  // The one shot's raw folder.
  fs::path Folder() const { return board.disk.OnlyShot().replace_extension(); }
  std::set<std::string> FilesThere() const {
    std::set<std::string> names;
    for (const auto& file : fs::directory_iterator(Folder())) names.insert(file.path().filename());
    return names;
  }
  // While the fault holds, a raw shot ends with `code`; the shot file is whole, and nothing of the pass stays behind.
  void ExpectFailure(int code, const std::string& text) {
    SCOPED_TRACE(text);
    const size_t before = board.LogCount(text);
    board.panel.ForgetPulses();
    Ok("/do_capture?saveraw=1");
    EXPECT_EQ(Follow(2s), "255,255 0,255 0," + std::to_string(code) + " 17,17");
    EXPECT_EQ(board.LogCount(text), before + 1);
    // Two pulses of the exposure that was good, then eight that no mute silences.
    EXPECT_THAT(board.panel.BuzzerPulses(), SizeIs(1 + 4));
    EXPECT_EQ(board.descriptors.MappingCount(), 0u);
    EXPECT_EQ(board.media.system.BlocksTaken(), 0u);
    EXPECT_EQ(board.media.dump.Route(), 0u);
    VIDEO_FRAME_INFO_S none;
    board.media.dump.SetDepth(17, 1);
    EXPECT_EQ(board.media.dump.GetFrame(17, &none, 0) & 0xFF, static_cast<int>(twin::Refusal::NotConfigured))
        << "the dump stays on";
    ExpectMarkedShot(board.disk.OnlyShot(), 3, board.array.Shots());
    board.faults.Clear();
  }

  std::function<void(twin::Time, const std::string&)> hears;
  fs::path last;
  std::set<std::string> read;
};

struct WholePass : RawShot, testing::WithParamInterface<int> {};

TEST_P(WholePass, HasAFileForEveryCameraAndExposure) {
  ReadFilesAsTheyCome();
  Ok("/do_capture?saveraw=1&capmode=" + std::to_string(GetParam()));
  const int exposures = GetParam() == 0 ? 3 : 6;
  ASSERT_TRUE(board.RunUntil([&] { return board.LogCount("DumpRaw layIdx:0, subIdx:0") > 0; }, 2min));
  board.Run(500ms);
  const List list = Poll();
  EXPECT_THAT(list.numbers, testing::AllOf(SizeIs(testing::Ge(2u)), Contains(255)));
  EXPECT_THAT(list.names, ElementsAre(board.disk.OnlyShot().stem().string())) << "the file itself is complete";
  EXPECT_EQ(Follow(), "0,255 0,0");
  ReadLast();

  std::set<std::string> expected;
  for (int camera = 0; camera < 25; camera++) {
    for (int exposure = 0; exposure < exposures; exposure++) expected.insert(NameOf(camera, exposure));
  }
  EXPECT_EQ(read, expected);
  EXPECT_EQ(FilesThere(), expected);
  // Every third camera's lanes deliver their pairs exchanged, and each was seen to.
  for (int camera = 0; camera < 25; camera++) {
    const std::string order = NameOf(camera, 0).substr(4, 2) + (camera % 3 == 2 ? ": -1\n" : ": 1\n");
    EXPECT_EQ(board.LogCount("order" + order), 1u) << order;
  }
  ExpectMarkedShot(board.disk.OnlyShot(), exposures, board.array.Shots());
  EXPECT_EQ(board.media.system.BlocksTaken(), 0u);
  EXPECT_EQ(board.descriptors.MappingCount(), 0u);
}
INSTANTIATE_TEST_SUITE_P(Modes, WholePass, testing::Values(0, 2));

// --- failures ---

// A folder that is there is used; each load has its 200 ms before its frame is taken, however little the disk takes; a
// frame that never comes is waited for two seconds, and costs the files that were not reached.
TEST_F(RawShot, GoesThroughItsFramesInOrder) {
  board.disk.SetWriteSpeed(1'000'000'000);
  ReadFilesAsTheyCome();
  std::unique_ptr<twin::Transcript> transcript;
  hears = [&](twin::Time, const std::string& line) {
    if (line.find(": End Cap") == std::string::npos) return;
    for (const auto& file : fs::directory_iterator(board.disk.Directory() / "DCIM")) {
      if (file.path().extension() == ".tmp") fs::create_directory(fs::path(file).replace_extension());
    }
    board.faults.Add("frame.lost silence detail=12 times=always");
    transcript = std::make_unique<twin::Transcript>(board.kernel, "sleep file log");
  };
  Ok("/do_capture?saveraw=1");
  EXPECT_THAT(Follow(2s), EndsWith("0,13 17,17"));
  ReadLast();
  EXPECT_EQ(FilesThere(), (std::set<std::string>{"RAW_00_0.dng", "RAW_01_0.dng"}));

  const std::string rawDir = "/mnt/udisk/DCIM/" + Folder().filename().string() + "/";
  std::vector<std::string> expected = {"file access \"" + rawDir + "\" 2", "sleep 80000"};
  for (int frame = 0; frame < 3; frame++) {
    const std::string before = std::to_string(frame - 1), now = std::to_string(6 * frame);
    if (frame > 0) expected.push_back("log LumoDumpRawList \"SaveRaw:" + rawDir + "RAW_0" + before + "_0.dng\\n\"");
    expected.push_back("sleep 10000");  // so often that 200 ms are over
    expected.push_back("log LumoDumpRawList \"DumpRaw layIdx:0, subIdx:" + now + "\\n\"");
    expected.push_back("sleep 5000");
  }
  for (const char* line : {"log VI_DumpBayer \"HI_MPI_VI_GetFrame err, vi chn 17 \\n\"",
                           "log LumoDumpRaw \"VI_StartBayerData failed!\\n\"", "sleep 100000"})
    expected.push_back(line);
  std::vector<std::string> made;
  twin::Time asked{0}, saved{0};
  for (const auto& line : transcript->Lines()) {
    if (line.thread != "main" || line.text == "sleep 1000") continue;
    if (line.text.starts_with("file") && !line.text.starts_with("file access") && !line.text.starts_with("file mkdir"))
      continue;
    if (line.text == "sleep 10000" && made.back() == line.text) continue;
    made.push_back(line.text);
    if (line.text.find("SaveRaw") != std::string::npos) saved = line.at;
    if (line.text.find("\"DumpRaw") != std::string::npos && saved != 0s) {
      EXPECT_THAT((line.at - saved) / 1ms, testing::AllOf(testing::Ge(199), testing::Le(211)));
    }
    if (line.text == "sleep 5000") asked = line.at;
    if (line.text.find("GetFrame err") != std::string::npos) {
      EXPECT_NEAR((line.at - asked) / 1ms, 2005, 2);
    }
  }
  EXPECT_TRUE(SameRoad(expected, made));
}

TEST_F(RawShot, ADiskThatFillsUpEndsThePassAndSparesTheShot) {
  std::vector<uint8_t> shot;
  ReadFilesAsTheyCome();
  hears = [&](twin::Time, const std::string& line) {
    if (line.find("RAW_07_0") == std::string::npos) return;
    shot = FileBytes(board.disk.OnlyShot());
    board.disk.FillTo(9000);
  };
  ExpectFailure(14, "Write error at scanline");
  EXPECT_EQ(FileBytes(board.disk.OnlyShot()), shot);
  EXPECT_THAT(read, SizeIs(7));
  EXPECT_ANY_THROW(ShownMosaic(last)) << "what is left of the eighth must not read as whole";
}

TEST_F(RawShot, EveryCallThatFailsEndsThePassAndTheNextShotIsGood) {
  const std::pair<const char*, const char*> failures[] = {
      {"disk.mkdir fail=EROFS", ": mkdir error\n"},
      {"sys.get-reg fail", "HI_MPI_SYS_GetReg failed, s32Ret = -1610448887!\n"},
      {"vi.dump fail", "HI_MPI_VI_EnableBayerDump failed(0xa0108009)!\n"},
      {"sys.set-reg fail nth=1", "HI_MPI_SYS_SetReg failed, s32Ret = 0xa0028009!\n"},
      {"vi.depth fail", "HI_MPI_VI_SetFrameDepth err, vi chn 17 \n"},
      {"vi.frame fail nth=1", "HI_MPI_VI_GetFrame err, vi chn 17 \n"},
      {"vi.frame fail nth=2", "get vi chn 17 frame err\n"},
      {"memory.open fail=EACCES", "Open dev/mem error: Permission denied\n"},
      {"memory.map fail=EPERM", "COMM_SYS_Mmap error\n"},
      {"heap.malloc fail detail=15980544", "VI_StartBayerData failed!\n"},
  };
  for (const auto& [fault, text] : failures) {
    board.faults.Add(fault);
    ExpectFailure(text == failures[0].second ? 12 : 13, text);
    EXPECT_FALSE(fs::exists(Folder()) && !fs::is_empty(Folder())) << fault;
    fs::remove_all(Folder());
    fs::remove(board.disk.OnlyShot());
  }
  Ok("/do_capture");
  EXPECT_THAT(Follow(), EndsWith("0,255 0,0"));
  ExpectMarkedShot(board.disk.OnlyShot(), 3, board.array.Shots());
}

}  // namespace
