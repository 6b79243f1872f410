// What the board costs its host: an idle board's speed, the host time of a shot and of the raw pass behind it, the
// memory of a rendered one, and of a byte on the motion sensor's bus; and what a reading of the tilt costs the board.
//   twin_bench [--benchmark_filter=REGEX]
// Each measurement runs in a process of its own, so that its memory is its own too.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <regex>
#include <stdexcept>
#include <string>

#include "common/angle_reader/angle.h"
#include "common/log.h"
#include "twin/board.h"

extern "C" FILE* twin_stderr;

namespace {

using namespace std::chrono_literals;
using HostClock = std::chrono::steady_clock;

constexpr int kRepetitions = 5;  // of the short ones; the median counts
constexpr auto kIdle = 5min;     // board time

double ProcessorSeconds() {
  rusage usage;
  getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

struct HostTime {
  double real = 0, cpu = 0;  // seconds; cpu over all threads
};

template <class Work>
HostTime Measure(Work work) {
  const auto start = HostClock::now();
  const double cpu = ProcessorSeconds();
  work();
  return {std::chrono::duration<double>(HostClock::now() - start).count(), ProcessorSeconds() - cpu};
}

HostTime Median(std::array<HostTime, kRepetitions>& times) {
  std::sort(times.begin(), times.end(), [](const HostTime& a, const HostTime& b) { return a.real < b.real; });
  return times[kRepetitions / 2];
}

void BootOrThrow(twin::Board& board) {
  if (!board.Boot() || board.Exited()) throw std::runtime_error("the board did not come up");
}

void ShootOrThrow(twin::Board& board) {
  board.button.Press(100ms);
  if (!board.RunUntilShotEnds()) throw std::runtime_error("the shot did not end");
  if (board.disk.Shots().empty()) throw std::runtime_error("there is no shot on the disk");
}

// --- measurements: each fills in what it found ---

struct Found {
  HostTime start;  // board built and booted
  HostTime work;
  long peakKBs = 0;                  // of the whole process
  double ready = 0, overflowed = 0;  // board seconds of a tilt reading, with a packet waiting and after a long pause
  double pass = 0;                   // board seconds of a raw pass
  double bytes = 0;                  // on the motion sensor's bus
};

Found IdleBoard() {
  Found found;
  twin::Board board{twin::BoardOptions{}};
  found.start = Measure([&] { BootOrThrow(board); });
  std::array<HostTime, kRepetitions> times;
  for (HostTime& time : times) time = Measure([&] { board.Run(kIdle); });
  found.work = Median(times);
  return found;
}

Found MarkedShot() {
  Found found;
  std::array<HostTime, kRepetitions> starts, shots;
  for (size_t i = 0; i < kRepetitions; i++) {
    std::unique_ptr<twin::Board> board;
    starts[i] = Measure([&] {
      board = std::make_unique<twin::Board>(twin::BoardOptions{});
      BootOrThrow(*board);
    });
    shots[i] = Measure([&] { ShootOrThrow(*board); });
  }
  found.start = Median(starts);
  found.work = Median(shots);
  return found;
}

Found RenderedShot() {
  Found found;
  std::unique_ptr<twin::Board> board;
  twin::BoardOptions options;
  options.pictures = twin::Pictures::Rendered;
  found.start = Measure([&] {
    board = std::make_unique<twin::Board>(options);
    BootOrThrow(*board);
  });
  found.work = Measure([&] { ShootOrThrow(*board); });
  return found;
}

// The raw pass of a rendered shot that a client asked for: 75 frames replayed, made, cleaned and written as DNG files.
// Each file is taken off the host's disk when the next begins, or they would fill 1.3 GB.
Found RawPass() {
  Found found;
  twin::BoardOptions options;
  options.pictures = twin::Pictures::Rendered;
  options.usb = {twin::UsbAdapter::Ethernet};
  twin::Board board{options};
  found.start = Measure([&] {
    BootOrThrow(board);
    board.RunUntil([&] { return board.network.Listening(8080); }, 10s);
  });
  bool begun = false;
  int files = 0;
  std::filesystem::path last;
  board.OnLogLine([&](twin::Time, const std::string& line) {
    begun = begun || line.find(": DumpRaw layIdx:0, subIdx:0") != std::string::npos;
    const size_t name = line.find("RAW_");
    if (line.find(": SaveRaw:") == std::string::npos || name == std::string::npos) return;
    std::filesystem::remove(last);
    last = board.disk.OnlyShot().replace_extension() / line.substr(name);
    files++;
  });
  const auto client = board.network.Connect(8080);
  if (client == nullptr) throw std::runtime_error("nobody listens");
  client->Send("GET /do_capture?saveraw=1 HTTP/1.0\r\n\r\n");
  if (!board.RunUntil([&] { return begun; }, 5min)) throw std::runtime_error("the raw pass did not begin");
  const twin::Time began = board.Now();
  found.work = Measure([&] { board.RunUntil([&] { return !board.panel.ShotRunning(); }, 10min); });
  if (files != 75) throw std::runtime_error("the raw pass did not end well");
  found.pass = std::chrono::duration<double>(board.Now() - began).count();
  return found;
}

Found TiltReading() {
  constexpr int kReadings = 500;
  Found found;
  twin::Board board{twin::BoardOptions{}};
  board.PowerOn([&] {
    g_lumoDebug = twin_stderr;
    int x = 0, y = 0;
    const auto read = [&](twin::Duration pause) {
      board.kernel.Spend(pause);
      const twin::Time begin = board.Now();
      if (LumoReadAngle(&x, &y) < 0) throw std::runtime_error("there was no tilt to read");
      return std::chrono::duration<double>(board.Now() - begin).count() / kReadings;
    };
    if (LumoInitAngle() < 0) throw std::runtime_error("the motion sensor did not start");
    const uint64_t bytes = board.motionSensor.BusBytes();
    found.work = Measure([&] {
      for (int i = 0; i < kReadings; i++) found.ready += read(20ms);
    });
    found.bytes = static_cast<double>(board.motionSensor.BusBytes() - bytes);
    for (int i = 0; i < kReadings; i++) found.overflowed += read(1s);
    return 0;
  });
  if (!board.RunUntil([&] { return board.Exited(); }, 1h)) throw std::runtime_error("the readings did not end");
  return found;
}

// Runs `measurement` in a child. Throws if that fails.
Found InOwnProcess(Found (*measurement)()) {
  int ends[2];
  if (pipe(ends) != 0) throw std::runtime_error("no pipe");
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("no process");
  if (child == 0) {
    try {
      const Found found = measurement();
      _exit(write(ends[1], &found, sizeof found) == sizeof found ? 0 : 1);
    } catch (const std::exception& error) {
      std::fprintf(stderr, "%s\n", error.what());
      _exit(1);
    }
  }
  close(ends[1]);
  Found found;
  const bool read = ::read(ends[0], &found, sizeof found) == sizeof found;
  close(ends[0]);
  int status = 0;
  rusage usage;
  wait4(child, &status, 0, &usage);
  if (!read || status != 0) throw std::runtime_error("the measurement failed");
  found.peakKBs = usage.ru_maxrss;
  return found;
}

const char* Verdict(bool met) { return met ? "" : "  MISSED"; }

// The idle board and the marked shot use one thread, so their processor time is what a free machine would take; the
// rendered shot uses all processors, so only its real time, on a free machine, says how long a person waits.
void TellShot(const char* name, const Found& found, double judged, double aimSeconds) {
  std::printf("%s: %.3f s of host time (cpu %.3f s), aim under %.1f s%s; start before it %.3f s (cpu %.3f s)\n", name,
              found.work.real, found.work.cpu, aimSeconds, Verdict(judged < aimSeconds), found.start.real,
              found.start.cpu);
}

void TellLoad() {
  double load = 0;
  const long processors = sysconf(_SC_NPROCESSORS_ONLN);
  if (getloadavg(&load, 1) == 1 && load > static_cast<double>(processors)) {
    std::printf("This machine was busy (load %.1f on %ld processors): real times count others' work too.\n", load,
                processors);
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::regex wanted(".*");
  constexpr const char* kFilter = "--benchmark_filter=";
  for (int i = 1; i < argc; i++) {
    if (std::strncmp(argv[i], kFilter, std::strlen(kFilter)) != 0) {
      std::fprintf(stderr, "not understood: %s\n", argv[i]);
      return 2;
    }
    wanted = argv[i] + std::strlen(kFilter);
  }
  const auto named = [&](const char* name) { return std::regex_search(name, wanted); };
  try {
    if (named("IdleBoard")) {
      const Found found = InOwnProcess(IdleBoard);
      const double idle = std::chrono::duration<double>(kIdle).count();
      std::printf("IdleBoard: %.0f simulated seconds a host second (cpu %.0f), aim at least 300%s\n",
                  idle / found.work.real, idle / found.work.cpu, Verdict(idle / found.work.cpu >= 300));
    }
    if (named("MarkedShot")) {
      const Found found = InOwnProcess(MarkedShot);
      TellShot("MarkedShot", found, found.work.cpu, 0.5);
    }
    if (named("RenderedShot")) {
      const Found found = InOwnProcess(RenderedShot);
      TellShot("RenderedShot", found, found.work.real, 10);
      const double peak = static_cast<double>(found.peakKBs) / 1000;
      std::printf("RenderedShot: peak memory %.0f MB, aim under 800 MB%s\n", peak, Verdict(peak < 800));
    }
    if (named("RawPass")) {
      const Found found = InOwnProcess(RawPass);
      std::printf("RawPass: 75 frames in %.2f s of host time (cpu %.2f s, %.0f ms a frame), %.1f s on the board\n",
                  found.work.real, found.work.cpu, 1e3 * found.work.cpu / 75, found.pass);
      std::printf("RawPass: peak memory %.0f MB\n", static_cast<double>(found.peakKBs) / 1000);
    }
    if (named("TiltReading")) {
      const Found found = InOwnProcess(TiltReading);
      std::printf("TiltReading: %.2f ms of board time with a packet waiting, %.1f ms after a pause\n",
                  1e3 * found.ready, 1e3 * found.overflowed);
      std::printf("TiltReading: %.2f us of host time a byte on its bus\n", 1e6 * found.work.cpu / found.bytes);
    }
    TellLoad();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 2;
  }
  return 0;
}
