// The wall clock, both ways between the system and the board's real-time clock.
#include "common/fpga_ctrl/device/clock.h"

#include <gtest/gtest.h>

#include "tests/support/on_board.h"

using namespace std::chrono_literals;
using twin::Board;
using twin::CivilTime;

namespace {

// 2026-11-24 20:34:56 as seconds since 1970, worked out by `date`.
constexpr std::chrono::seconds kMoment{1795552496};
constexpr CivilTime kMomentCivil{.year = 2026, .month = 11, .day = 24, .hour = 20, .minute = 34, .second = 56};

std::chrono::seconds SystemSeconds(const Board& board) {
  return std::chrono::duration_cast<std::chrono::seconds>(board.SystemTime());
}

}  // namespace

TEST(WallClock, ComesFromTheChipUnlessThatFails) {
  Board board{{}};
  OnBoard(board, [&] {
    board.clockChip.SetDate(kMomentCivil);
    LumoGetRtcTime();
    const auto before = SystemSeconds(board);
    EXPECT_EQ(before, kMoment);
    EXPECT_EQ(board.descriptors.OpenCount(), 0u);
    board.faults.Add("rtc.open fail=ENOENT");
    LumoGetRtcTime();
    EXPECT_EQ(board.LogCount("LumoGetRtcTime:"), 1u);
    EXPECT_EQ(board.LogCount("open \"/dev/hi_rtc\" error\n"), 1u);
    board.faults.Add("rtc.read fail=EIO");
    LumoGetRtcTime();
    EXPECT_EQ(board.LogCount("HI_RTC_SET_TIME error\n"), 1u);
    EXPECT_LT(SystemSeconds(board) - before, 2s);
  });
}

TEST(WallClock, SetTimeReachesBothAsFarAsTheyWork) {
  Board board{{}};
  OnBoard(board, [&] {
    LumoSetSysTime(2026, 11, 24, 20, 34, 56);
    EXPECT_EQ(SystemSeconds(board), kMoment);
    CivilTime stored = board.clockChip.Date();
    stored.weekday = 0;
    EXPECT_EQ(stored, kMomentCivil);
    EXPECT_EQ(board.descriptors.OpenCount(), 0u);

    // A broken clock chip does not take the time from this run.
    board.faults.Add("rtc.write fail=EIO");
    LumoSetSysTime(2027, 1, 1, 0, 0, 0);
    EXPECT_EQ(SystemSeconds(board), 1798761600s);
    board.faults.Add("rtc.open fail=EIO");
    LumoSetSysTime(2028, 1, 1, 0, 0, 0);
    EXPECT_EQ(SystemSeconds(board), 1830297600s);
    EXPECT_EQ(board.LogCount("LumoSetSysTime:"), 2u);
  });
}
