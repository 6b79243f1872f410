// Shots with an encoder that fails at one of its calls: how they end, and that the next one is good.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/whole_shot.h"
#include "twin/board.h"

using namespace std::chrono_literals;
using testing::IsEmpty;

namespace {

struct EncoderFault {
  const char* fault;
  const char* line;  // what the log says; empty: nothing of its own
};

struct Encoders : testing::Test {
  twin::Board board{{}};

  void SetUp() override { ASSERT_TRUE(board.Boot()); }
  void TearDown() override { EXPECT_THAT(board.Complaints(), IsEmpty()); }
  void Shoot() {
    board.button.Press(100ms);
    EXPECT_TRUE(board.RunUntilShotEnds());
    board.Run(1s);
  }
  size_t TemporaryFiles() {
    size_t count = 0;
    for (const auto& file : std::filesystem::directory_iterator(board.disk.Directory() / "DCIM")) {
      count += file.path().string().ends_with("tmp");
    }
    return count;
  }
};

}  // namespace

TEST_F(Encoders, AFailureEndsTheShotInItsWayAndTheNextShotIsGood) {
  const EncoderFault failures[] = {
      {"venc.start fail detail=0", "HI_MPI_VENC_StartRecvPicEx(VencChn0) error\n"},
      {"venc.start fail detail=1", "HI_MPI_VENC_StartRecvPicEx(VencChn1) error\n"},
      {"venc.fd fail detail=0", "HI_MPI_VENC_GetFd(VencChn0) error\n"},
      {"venc.fd fail detail=1", "HI_MPI_VENC_GetFd(VencChn1) error\n"},
      {"venc.query fail detail=0 nth=30", "HI_MPI_VENC_Query(VencChn0) error\n"},
      {"venc.query fail detail=1 nth=30", "HI_MPI_VENC_Query(VencChn1) error\n"},
      {"venc.stream fail detail=0 nth=30", ""},
      {"venc.stream fail detail=1 nth=30", ""},
  };
  size_t good = 0;
  for (const EncoderFault& failure : failures) {
    SCOPED_TRACE(failure.fault);
    board.faults.Clear();
    board.faults.Add(failure.fault);
    const bool says = *failure.line != '\0';
    const size_t saidBefore = says ? board.LogCount(failure.line) : 0;
    Shoot();
    EXPECT_EQ(board.faults.Fired(), 1u);
    if (says) {
      EXPECT_EQ(board.LogCount(failure.line), saidBefore + 1);
    }
    EXPECT_EQ(board.disk.Shots().size(), good);
    EXPECT_EQ(TemporaryFiles(), 0u);

    Shoot();
    ASSERT_EQ(board.disk.Shots().size(), ++good);
    EXPECT_THAT(MisplacedPictures(board.disk.Shots().back()), IsEmpty());
  }
}

// A channel that was not stopped still takes pictures: it refuses to be started for the next shot, whose end stops it.
TEST_F(Encoders, AChannelThatDoesNotStopLeavesTheFileUnfinishedAndCostsTheNextShotToo) {
  for (int channel : {0, 1}) {
    SCOPED_TRACE(channel);
    const std::string name = "(VencChn" + std::to_string(channel) + ") error\n";
    board.faults.Add("venc.stop fail detail=" + std::to_string(channel));
    Shoot();
    EXPECT_EQ(board.LogCount("HI_MPI_VENC_StopRecvPic" + name), 1u);
    EXPECT_EQ(board.disk.Shots().size(), static_cast<size_t>(channel));
    EXPECT_EQ(TemporaryFiles(), static_cast<size_t>(channel + 1));
    board.faults.Clear();
    Shoot();
    EXPECT_EQ(board.LogCount("HI_MPI_VENC_StartRecvPicEx" + name), 1u);
    Shoot();
    ASSERT_EQ(board.disk.Shots().size(), static_cast<size_t>(channel + 1));
    EXPECT_THAT(MisplacedPictures(board.disk.Shots().back()), IsEmpty());
  }
}
