// A client that polls all the time and one that downloads slowly, while a series of shots runs.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/file_bytes.h"
#include "tests/support/http_board.h"
#include "tools/lumora-shot/verify.h"

namespace {

using namespace std::chrono_literals;

struct HttpLoad : HttpBoard {};

TEST_F(HttpLoad, TenThousandPollsDuringASeriesAndASlowDownload) {
  Ok("/do_capture");
  Follow();
  const std::string name = Poll().names.at(0);
  const auto first = FileBytes(board.disk.OnlyShot());
  size_t started = 0;
  board.OnLogLine([&](twin::Time, const std::string& line) {
    if (line.find(": StartCapture") != std::string::npos) started++;
  });
  Ok("/do_capture?timelapse=1");
  const size_t blocks = board.heap.Blocks(), bytes = board.heap.Bytes(), descriptors = board.descriptors.OpenCount();

  std::shared_ptr<twin::Client> slow;
  size_t downloads = 0, names = 1;
  for (int poll = 0; poll < 10'000; poll++) {
    if (slow == nullptr || slow->Ended()) {
      if (slow != nullptr) {
        const HttpAnswer answer = AnswerOf(*slow);
        ASSERT_EQ(answer.body.size(), first.size());
        const support::Bytes got(answer.body.begin(), answer.body.end());
        support::WriteFile(folder / "slow.ori", got);
        ASSERT_FALSE(shot::HasFault(shot::Verify(folder / "slow.ori", shot::Depth::Structure)));
        downloads++;
      }
      slow = board.network.Connect(kBulk);
      slow->ReadSlowly(64 * 1024);
      slow->Send(GetText("/get_file?filename=" + name));
    }
    const List list = Poll();
    ASSERT_EQ(list.numbers.size(), 3u);
    for (const int number : {list.NeedCapture(), list.NeedSave()}) {
      ASSERT_TRUE(number == 0 || number == 254 || number == 255) << number;
    }
    ASSERT_EQ(list.numbers[2], 75);
    ASSERT_GE(list.names.size(), names) << "a shot was lost";
    ASSERT_LE(list.names.size(), started + 1);
    names = list.names.size();
    ASSERT_TRUE(std::ranges::is_sorted(list.names));
    board.Run(50ms);
  }
  Ok("/exit_timelapse");
  Follow(5s);
  slow->Close();
  board.Run(1s);

  EXPECT_GE(started, 15u);
  EXPECT_GE(downloads, 2u);
  EXPECT_EQ(Poll().names.size(), started + 1);
  for (const auto& shot : board.disk.Shots()) EXPECT_FALSE(shot::HasFault(shot::Verify(shot, shot::Depth::Structure)));
  EXPECT_EQ(board.heap.Blocks(), blocks);
  EXPECT_EQ(board.heap.Bytes(), bytes);
  EXPECT_EQ(board.descriptors.OpenCount(), descriptors);
  EXPECT_EQ(board.stdio.OpenOnDisk(), 0u);
}

// Whatever happens at one moment happens in any order, and any call may let others go first.
TEST_F(HttpLoad, InAnyOrder) {
  board.kernel.Explore();
  std::string last;
  for (int round = 0; round < 4; round++) {
    Ok("/do_capture?capmode=" + std::to_string(round));
    const auto download = last.empty() ? nullptr : board.network.Connect(kBulk);
    if (download != nullptr) download->Send(GetText("/get_file?filename=" + last));
    EXPECT_EQ(Follow(), "255,255 0,255 0,0");
    const List list = Poll();
    ASSERT_EQ(list.names.size(), last.empty() ? 1u : 2u);
    if (download != nullptr) {
      ASSERT_TRUE(download->Ended());
      const HttpAnswer answer = AnswerOf(*download);
      EXPECT_EQ(answer.ContentLength(), static_cast<int64_t>(answer.body.size()));
      Ok("/del_file?filename=" + last);
    }
    last = list.names.back();
    const auto findings = shot::Verify(Fetch(last), shot::Depth::Structure);
    EXPECT_FALSE(shot::HasFault(findings)) << shot::Text(findings);
    board.Run(50ms);
    EXPECT_EQ(Poll().names, std::vector{last});
  }
}

}  // namespace
