// Every way in which a shot can fail once it has been asked for: the code that it leaves, the file that it leaves, and
// that the next shot is a good one.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <turbojpeg.h>

#include "common/sample_comm_venc/capture_end.h"
#include "tests/support/on_board.h"

#include "tests/support/marked_shot.h"
#include "tests/support/snap_loop.h"
#include "twin/transcript/transcript.h"

// The program's own functions stand in front of the library's.
static bool decompressorRefused = false, compressorRefused = false;
extern "C" tjhandle tjInitDecompress() {
  static const auto real = reinterpret_cast<tjhandle (*)()>(dlsym(RTLD_NEXT, "tjInitDecompress"));
  return decompressorRefused ? nullptr : real();
}
extern "C" tjhandle tjInitCompress() {
  static const auto real = reinterpret_cast<tjhandle (*)()>(dlsym(RTLD_NEXT, "tjInitCompress"));
  return compressorRefused ? nullptr : real();
}
// From the JPEG that was made last to the samples that it was made of.
static ptrdiff_t fromJpegToSamples = 0;
extern "C" int tjCompressFromYUV(tjhandle encoder, const unsigned char* samples, int width, int padding, int height,
                                 int subsampling, unsigned char** jpeg, unsigned long* size, int quality, int flags) {
  static const auto real = reinterpret_cast<decltype(&tjCompressFromYUV)>(dlsym(RTLD_NEXT, "tjCompressFromYUV"));
  fromJpegToSamples = samples - *jpeg;
  return real(encoder, samples, width, padding, height, subsampling, jpeg, size, quality, flags);
}

namespace {

using namespace std::chrono_literals;
using testing::Pair;

struct Failure {
  const char* fault;
  int needCapture, needSave;
  const char* text;
  int leftFiles = 0;           // under the temporary name
  const char* from = nullptr;  // the line of the log after which it breaks
  int captureMode = 0;
};

void PrintTo(const Failure& failure, std::ostream* out) { *out << failure.fault; }

struct FailingShot : SnapLoop, testing::WithParamInterface<Failure> {
  // The array counts its exposures; the next is a good shot of its own number. A channel that did not stop refuses its
  // next start, which stops it.
  void ExpectGoodShot(bool channelRuns = false) {
    board.faults.Clear();
    if (channelRuns) {
      ASSERT_TRUE(Shoot());
      EXPECT_THAT(Outcome().first, testing::AnyOf(2, 3));
    }
    for (const std::string& name : Files()) std::filesystem::remove(Dcim() / name);
    ASSERT_TRUE(Shoot());
    EXPECT_THAT(Outcome(), Pair(0, 0));
    // Marked pictures are so small that twice their JPEG has no room for all that a thumbnail could become.
    EXPECT_EQ(fromJpegToSamples, 1632 * 1224 * 3 / 2) << "not over the half picture";
    const auto& delivered = board.media.Delivered();
    ASSERT_FALSE(delivered.empty());
    ExpectMarkedShot(OnlyShot(), 3, delivered.back().frame.shot);
  }
};

TEST_P(FailingShot, LeavesItsCodeAndTheNextIsGood) {
  ctrl->captureMode = static_cast<BYTE>(GetParam().captureMode);
  Start();
  if (GetParam().from == nullptr) board.faults.Add(GetParam().fault);
  board.OnLogLine([this, armed = GetParam().from == nullptr](twin::Time, const std::string& line) mutable {
    if (armed || line.find(GetParam().from) == std::string::npos) return;
    armed = true;
    board.faults.Add(GetParam().fault);
  });
  ASSERT_TRUE(Shoot());
  ctrl->captureMode = 0;
  EXPECT_GE(board.faults.Fired(), 1u);
  EXPECT_THAT(Outcome(), Pair(GetParam().needCapture, GetParam().needSave));
  EXPECT_GE(Logged(GetParam().text), 1u);
  EXPECT_EQ(static_cast<int>(Files().size()), GetParam().leftFiles);
  for (const std::string& name : Files()) EXPECT_THAT(name, testing::EndsWith(".tmp"));
  // One that is given up between its frames, or whose channels do not stop, leaves its stream open.
  const bool isLeftOpen = GetParam().needSave < 3 || GetParam().needSave >= 10;
  EXPECT_EQ(board.stdio.OpenOnDisk(), isLeftOpen && GetParam().needSave != kShotRunning ? 1u : 0u);
  ExpectGoodShot(std::string(GetParam().fault).starts_with("venc.stop"));
}

constexpr Failure failures[] = {
    {"layer.conf silence detail=1 times=always", 1, kShotRunning, "LumoCapture error\n"},
    {"venc.start fail detail=0", 2, kShotRunning, "HI_MPI_VENC_StartRecvPicEx(VencChn0) error\n"},
    {"venc.start fail detail=1", 3, kShotRunning, "HI_MPI_VENC_StartRecvPicEx(VencChn1) error\n"},
    {"venc.fd value=-1 detail=0", 4, kShotRunning, "HI_MPI_VENC_GetFd(VencChn0) error\n"},
    {"venc.fd value=-1 detail=1", 5, kShotRunning, "HI_MPI_VENC_GetFd(VencChn1) error\n"},
    {"venc.fd value=1024 detail=0", 4, kShotRunning, "HI_MPI_VENC_GetFd(VencChn0) error\n"},  // too high for select
    {"disk.open fail=EROFS", 8, kShotRunning, "fopen oriPath error\n"},

    {"venc.query fail detail=0 nth=30", 0, 10, "HI_MPI_VENC_Query(VencChn0) error\n"},
    {"venc.query fail detail=1 nth=31", 0, 10, "HI_MPI_VENC_Query(VencChn1) error\n"},
    {"venc.query silence detail=1 nth=40", 0, 10, "HI_MPI_VENC_Query(VencChn1) error\n"},  // no pack waits
    {"venc.stream fail detail=0 nth=40", 0, 11, "Recv Frame Ch0 39\n"},
    {"venc.stream fail detail=1 nth=94", 0, 12, "Recv Frame Ch1 93\n"},

    {"venc.stop fail detail=0", 0, 1, "HI_MPI_VENC_StopRecvPic(VencChn0) error\n", 1},
    {"venc.stop fail detail=1", 0, 2, "HI_MPI_VENC_StopRecvPic(VencChn1) error\n", 1},
    {"venc.stop fail times=2", 0, 2, "HI_MPI_VENC_StopRecvPic(VencChn0) error\n", 1},  // the second wins
    {"disk.write fail", 0, 5, "fwrite error\n", 1, "End Cap", 2},  // of three exposures it would stay in the buffer
    {"heap.malloc fail detail=3183624", 0, 9, "malloc error\n", 1},
};
INSTANTIATE_TEST_SUITE_P(Ways, FailingShot, testing::ValuesIn(failures));

// Each of three failed attempts cycles the array's power; after a rest the caller does so once more.
TEST_F(FailingShot, AnArrayThatFailsIsCycledFourTimes) {
  Start();
  board.faults.Add("layer.save silence detail=2 times=always");
  const twin::Transcript transcript{board.kernel, "sleep"};
  ASSERT_TRUE(Shoot());
  EXPECT_THAT(Outcome(), Pair(1, kShotRunning));
  EXPECT_EQ(std::ranges::count(transcript.Texts("main"), "sleep 200000"), 4);
}

// A setting file may name a camera that does not exist; an entry behind the index must not be looked at.
TEST_F(FailingShot, AThumbnailOfNoCameraEndsTheShot) {
  Start();
  for (const int camera : {25, 255}) {
    ctrl->thumbCamIdx = static_cast<BYTE>(camera);
    ASSERT_TRUE(Shoot());
    EXPECT_THAT(Outcome(), Pair(0, 10));
  }
  ctrl->thumbCamIdx = 12;
  ExpectGoodShot();
}

// A place that a stream cannot tell is -1, and cannot be gone to.
TEST(CaptureEnd, TellsWhichPlaceOfTheFileCannotBeReached) {
  twin::Board board{twin::BoardOptions{}};
  board.faults.Add("venc.stop silence times=always");  // there are no channels here
  for (const int code : {4, 6}) {
    LumoVencStatus en{};
    auto ctrlSigs = std::make_unique<ControlSignals>();
    ctrlSigs->needSave = kShotRunning;
    (code == 4 ? en.jpgDataIndexOffset : en.sumJpgSizeOffset) = -1;
    int result = 0;
    OnBoard(board, [&] {
      en.oriFile = board.stdio.Open("/mnt/udisk/shot.tmp", "wb");
      result = LumoVencCaptureEnd(&en, ctrlSigs.get());
    });
    EXPECT_THAT(std::pair(result, static_cast<int>(ctrlSigs->needSave)), Pair(-code, code));
    EXPECT_EQ(en.oriFile, nullptr);
  }
  EXPECT_EQ(board.LogCount("LumoVencCaptureEnd"), 4u);
}

// Without memory the JPEG library gives no decompressor, or no compressor.
TEST_F(FailingShot, WithoutAnythingToMakeAThumbnailTheShotFails) {
  Start();
  for (bool* refused : {&decompressorRefused, &compressorRefused}) {
    *refused = true;
    ASSERT_TRUE(Shoot());
    *refused = false;
    EXPECT_THAT(Outcome(), Pair(0, refused == &decompressorRefused ? 10 : 11));
  }
  EXPECT_EQ(Logged("tjInitDecompress error\n"), 2u);
  EXPECT_EQ(Logged("SaveJPGBuf error\n"), 1u);
  ExpectGoodShot();
}

TEST_F(FailingShot, WithoutMemoryForPacksTheLoopEnds) {
  Start();
  board.faults.Add("heap.malloc fail nth=1 times=1");
  ctrl->needSave = kShotRunning;
  ctrl->needCapture = kShotRunning;
  ASSERT_TRUE(board.RunUntil([this] { return board.Exited(); }, 1min));
  EXPECT_EQ(ctrl->needSave, kShotRunning);
  EXPECT_EQ(Logged("malloc error\n"), 1u);
}

// A shot that ends between its channels, with the full frame taken and the half one not, must not leave the next shot
// half a step ahead: each of its pictures would be filed as its neighbour. The sixteenth frame comes twice and the half
// one is slow to fetch, so that a full frame and the next half frame wait together; then the half channel fails.
TEST_F(FailingShot, NoFrameCountsForTheNextShot) {
  Start();
  for (const auto& [fault, code] :
       {std::pair{"venc.query fail detail=1 nth=18", 10}, {"venc.stream fail detail=1 nth=18", 12}}) {
    board.faults.Add("frame.double silence detail=25");
    board.faults.Add("venc.stream delay=100ms detail=1 nth=17");
    board.faults.Add(fault);
    const size_t loads = Logged("Load Next");
    ASSERT_TRUE(Shoot());
    EXPECT_EQ(board.faults.Fired(), 3u);
    EXPECT_THAT(Outcome(), Pair(0, code));
    EXPECT_EQ(Logged("Load Next") - loads, 16u) << "no frame is asked for when the shot is over";
    ExpectGoodShot();
  }
}

}  // namespace
