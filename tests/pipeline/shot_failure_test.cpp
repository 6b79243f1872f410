// Every way in which a shot can fail once it has been asked for: the code that it leaves, the file that it leaves, and
// that the next shot is a good one.
#include <gmock/gmock.h>

#include "tests/support/marked_shot.h"
#include "tests/support/snap_loop.h"
#include "tools/lumora-shot/verify.h"

namespace {

using namespace std::chrono_literals;
using testing::IsEmpty;
using testing::Pair;

struct Failure {
  const char* fault;
  int needCapture, needSave;
  const char* text;
  int leftFiles = 0;  // under the temporary name
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
    const auto& delivered = board.media.Delivered();
    ASSERT_FALSE(delivered.empty());
    ExpectMarkedShot(OnlyShot(), 3, delivered.back().frame.shot);
  }
};

TEST_P(FailingShot, LeavesItsCodeAndTheNextIsGood) {
  Start();
  board.faults.Add(GetParam().fault);
  ASSERT_TRUE(Shoot());
  EXPECT_GE(board.faults.Fired(), 1u);
  EXPECT_THAT(Outcome(), Pair(GetParam().needCapture, GetParam().needSave));
  EXPECT_GE(Logged(GetParam().text), 1u);
  EXPECT_EQ(static_cast<int>(Files().size()), GetParam().leftFiles);
  for (const std::string& name : Files()) EXPECT_THAT(name, testing::EndsWith(".tmp"));
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
    {"heap.malloc fail detail=3183624", 0, 9, "malloc error\n", 1},
};
INSTANTIATE_TEST_SUITE_P(Ways, FailingShot, testing::ValuesIn(failures));

// A setting file may name a camera that does not exist; an entry behind the index must not be looked at.
TEST_F(FailingShot, AThumbnailOfNoCameraEndsTheShot) {
  Start();
  for (const int camera : {25, 60, 255}) {
    ctrl->thumbCamIdx = static_cast<BYTE>(camera);
    ASSERT_TRUE(Shoot());
    EXPECT_THAT(Outcome(), Pair(0, 10));
    EXPECT_EQ(Files().size(), 1u);
    EXPECT_EQ(board.stdio.OpenOnDisk(), 0u);  // the failed shot is closed
    for (const std::string& name : Files()) std::filesystem::remove(Dcim() / name);
  }
  ctrl->thumbCamIdx = 12;
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
  board.faults.Add("frame.double silence detail=25");
  board.faults.Add("venc.stream delay=100ms detail=1 nth=17");
  board.faults.Add("venc.query fail detail=1 nth=18");
  ASSERT_TRUE(Shoot());
  EXPECT_EQ(board.faults.Fired(), 3u);
  EXPECT_THAT(Outcome(), Pair(0, 10));
  ExpectGoodShot();
}

// A failed shot does not close its stream, and each next one opens its own: nothing grows but the open files.
TEST_F(FailingShot, AnAbortedShotLeavesItsStreamBehind) {
  Start();
  board.faults.Add("venc.query fail detail=0 nth=30 times=1");
  ASSERT_TRUE(Shoot());
  EXPECT_THAT(Outcome(), Pair(0, 10));
  EXPECT_THAT(Files(), IsEmpty());
  EXPECT_EQ(board.stdio.OpenOnDisk(), 1u);
  ExpectGoodShot();
  EXPECT_EQ(board.stdio.OpenOnDisk(), 1u);
}

}  // namespace
