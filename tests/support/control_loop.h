// The whole control thread, listened to, and what it leaves of shots, savings and switching off.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "tests/support/control_bench.h"
#include "tests/support/file_bytes.h"

struct ControlLoop : testing::Test, ControlBench {
  // Up, with the motion sensor settled, and listened to. The shots' folder cannot be listed, which leaves a line.
  void StartAndListen() {
    Listen();
    Start();
    board.Run(std::chrono::seconds(3));
    board.faults.Add("disk.list fail times=always");
    Set([](ControlSignals&) {});
    road.clear();
  }
  // The road of `length` after a change by another thread.
  ControlRoad RoadOf(const std::function<void(ControlSignals&)>& change, twin::Duration length) {
    road.clear();
    Set(change);
    board.Run(length);
    return Taken();
  }
  // The road so far; a poll that was under way does not count.
  ControlRoad Taken() {
    if (!road.empty() && road.front() == "poll") road.erase(road.begin());
    return road;
  }
  bool Quits(twin::Duration limit) {
    return board.RunUntil([&] { return ctrlSigs->needQuit == 1; }, limit);
  }
  std::string Settings() const { return FileText(board.disk.Directory() / "DCIM" / "setting.ini"); }
  unsigned int BoardTime() const { return static_cast<unsigned int>(board.Uptime() / std::chrono::milliseconds(1)); }
};

inline ControlRoad GoodShot(int delay, int timeLapse = 0) {
  return ShotRoad({.what = "", .delay = delay, .timeLapse = timeLapse, .looksFail = false});
}

inline void AddSaving(ControlRoad& road, const std::string& text) {
  road.Add("file open \"/mnt/udisk/DCIM/setting.ini\" wb");
  road.Add("file write " + std::to_string(text.size()));
  road.Add("file flush");
  road.Add("file close");
  road.Add("file sync");
  road.Log("LumoSaveSetting", "SaveSettingStr:\n" + text);
}

inline void AddSwitchOff(ControlRoad& road) {
  road.Log("LumoHandleControl", "Quit\n");
  road.Add("needQuit 1");
  road.Sleep(200);
  road.Pulse(0, false);
  road.Sleep(1000);
  road.Pulse(1, false);
  road.Poll();
  road.Add("needQuit 0");
  road.Add("led 0");
}
