// The time base of all durations, and the wall clock with the board's real-time clock behind it. No shared state: any
// thread.
#pragma once

// Milliseconds of the monotonic clock, 32 bits: wraps after about 49.7 days, for which no comparison makes allowance.
unsigned int LumoGetTime();

// Sets the system clock from the real-time clock. A clock that fails is logged and leaves the system clock as it was.
void LumoGetRtcTime();

// Sets the system clock and the real-time clock. Full year, month 1-12. A failing real-time clock is logged; the
// system clock is set all the same.
void LumoSetSysTime(int year, int month, int day, int hour, int minute, int second);
