// The control thread on a board of its own, with a stand-in for the snap thread and for the teardown of main: what a
// person presses and what other threads ask for goes in, pulses, shots and the power come out.
#pragma once

#include <array>
#include <memory>
#include <vector>

#include "common/control_signals.h"
#include "tests/support/spi_tap.h"
#include "twin/board.h"
#include "twin/transcript/transcript.h"

// What leaves the control thread, a line a step: "led 0", "buzzer 1", "shot line 0", "sleep 900000", "poll" for sleeps
// of a millisecond however many, "load 1 53" for a frame asked for again, log lines, commands and files as the
// transcript has them. A field that it has changed, "needSave 254", stands in front of the next step; "actionTime 5" is
// the last activity, so many seconds ago.
struct ControlRoad : std::vector<std::string> {
  void Add(const std::string& step) { push_back(step); }
  void Sleep(int milliseconds) { Add("sleep " + std::to_string(milliseconds * 1000)); }
  void Poll();  // one line, however often
  void Log(const std::string& function, const std::string& text);
  void Status(int needCapture, int needSave);
  void Pulse(int level, bool mute);  // both lines, or LED 0 alone
  void Train(int toggles, bool mute);
  void Join(const ControlRoad& next) { insert(end(), next.begin(), next.end()); }
};

struct ControlBench {
  explicit ControlBench(const twin::BoardOptions& options = {});

  // Powers the board on, lets it be up for `uptime` and starts the control thread; returns when that has signalled
  // that it is up, with the pulses forgotten.
  void Start(twin::Duration uptime = twin::Duration{0});
  // Only the stand-ins, for tests that call the trigger themselves. In a fiber of the board.
  void StartSnapThread();

  // What shots do.
  struct ShotPlan {
    twin::Duration exposes = std::chrono::seconds(2);
    BYTE exposed = 0;  // needCapture after that
    twin::Duration saves = std::chrono::seconds(3);
    BYTE saved = 0;  // needSave after that
  };
  ShotPlan plan;
  twin::Duration teardown = std::chrono::milliseconds(1200);  // from needQuit to its answer

  std::vector<twin::Time> shots;  // when each began

  // From now on the main thread's steps are added to `road`, and the array is a tap that is never ready.
  void Listen();
  // Changes fields as another thread would, which leaves no line.
  void Set(const std::function<void(ControlSignals&)>& change);
  // Lines for the fields that have changed since the last step.
  void TellFields();
  ControlRoad road;

  twin::Board board;
  std::unique_ptr<ControlSignals> ctrlSigs = std::make_unique<ControlSignals>();
  bool ended = false;  // the control thread has returned

 private:
  void SnapThread();
  void Tell(const std::string& step);
  static constexpr size_t kFields = 20;
  std::array<long, kFields> Fields() const;

  std::unique_ptr<twin::Transcript> transcript_;
  std::unique_ptr<SpiTap> array_;
  std::array<long, kFields> told_{};
};

enum class Stop { None, Button, Request };

// A shot as the trigger is asked for it.
struct ShotCase {
  const char* what;
  int delay = 0;  // ms
  int timeLapse = 0, delayMode = 0;
  bool mute = false, remote = false, full = false;
  ControlBench::ShotPlan plan = {};
  Stop stop = Stop::None;
  int stopAt = 0;         // ms
  bool looksFail = true;  // each look at the disk but those for its room leaves a line
};

// What such a shot leaves. Its look at the shots' folder fails and so leaves a line. `saving` is what comes while the
// snap thread saves.
ControlRoad ShotRoad(const ShotCase& c, const std::vector<std::string>& saving = {"poll"});
