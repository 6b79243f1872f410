// The whole board: every model, wired, and the application that runs on it. One board at a time in a process.
//
//   Board board{BoardOptions{}};
//   board.Boot();
//   board.button.Press(100ms);
//   board.RunUntilShotEnds();
#pragma once

#include <csignal>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "twin/attitude.h"
#include "twin/devices/clock_chip/clock_chip.h"
#include "twin/devices/co_processor/co_processor.h"
#include "twin/devices/fpga/fpga_array.h"
#include "twin/devices/gpio/gpio.h"
#include "twin/devices/gpio/pin_registers.h"
#include "twin/devices/gpio/pin_wiring.h"
#include "twin/devices/gps_compass/gps_compass.h"
#include "twin/devices/media/media_pipeline.h"
#include "twin/devices/motion_sensor/motion_sensor.h"
#include "twin/devices/network/access_point.h"
#include "twin/devices/network/interfaces.h"
#include "twin/devices/network/network.h"
#include "twin/devices/panel/panel.h"
#include "twin/devices/serial_port/serial_port.h"
#include "twin/devices/usb_disk/usb_disk.h"
#include "twin/devices/usb_ports/usb_drivers.h"
#include "twin/devices/usb_ports/usb_ports.h"
#include "twin/faults/faults.h"
#include "twin/kernel/kernel.h"
#include "twin/light/picture_source.h"
#include "twin/register_space.h"
#include "twin/seam/descriptors.h"
#include "twin/seam/heap.h"
#include "twin/seam/paths.h"
#include "twin/seam/stdio.h"
#include "twin/seam/tiff_files.h"

extern "C" int lumora_main();  // the application's main, by the name that the list of doors gives it

namespace twin {

enum class Pictures { Marked, Rendered };

struct BoardOptions {
  std::filesystem::path root = {};  // the board's file systems; empty: a fresh directory, removed with the board
  std::filesystem::path disk = {};  // the USB disk's files; empty: `root`/mnt/udisk
  Pictures pictures = Pictures::Marked;
  std::filesystem::path scene = {};  // equirectangular JPEG for Rendered; empty: the procedural world
  double light = 1.0;                // factor on the world's light, both picture kinds
  uint64_t seed = 1;
  Pace pace = Pace::Free;
  uint64_t diskKBs = 62'500'000;     // capacity
  bool coProcessor = true;           // false: the device form without one
  std::vector<UsbAdapter> usb = {};  // plugged in from the beginning, besides the disk
};

class Board {
 public:
  explicit Board(BoardOptions options);
  ~Board();
  static Board& Current();  // the one that exists

  // --- a person and nature ---
  // Runs the boot script, which starts the application; also after a power-off. A test may have something else started
  // in its place, to call the application's functions one by one.
  void PowerOn(std::function<int()> application = lumora_main);
  void PowerOff();  // the power goes at this instant; what was not written is lost
  bool Powered() const { return powered_; }
  // PowerOn, then run until the board has sounded its two pulses of readiness and is idle, or the application has
  // ended. False if neither came within a minute.
  bool Boot();
  // SIGINT or SIGTERM from the device's shell.
  void SendSignal(int number);

  void Run(Duration length) { kernel.Run(length); }
  bool RunUntil(const std::function<bool()>& done, Duration limit) { return kernel.RunUntil(done, limit); }
  // Until the trigger's line shows that a shot has begun, then until it shows that the shot is over.
  // False if either takes longer than `limit`.
  bool RunUntilShotEnds(Duration limit = 10min);
  Time Now() const { return kernel.Now(); }
  Duration Uptime() const { return kernel.Now() - poweredAt_; }

  // --- the application as seen from outside ---
  bool Exited() const { return exited_; }
  int ExitStatus() const { return exitStatus_; }
  const std::string& Log() const { return log_; }  // debug stream and console output since the board was built
  size_t LogCount(const std::string& text) const;  // how often `text` stands in it
  void OnLogLine(std::function<void(Time, const std::string&)> listener) { logListener_ = std::move(listener); }
  // Called for each thread that the application starts.
  struct StartedThread {
    const Fiber* fiber;
    void* (*body)(void*);
    void* argument;
  };
  void OnThread(std::function<void(const StartedThread&)> listener) { threadListener_ = std::move(listener); }
  // What no model knew: registers, commands, paths outside the board. Must be empty at the end of a test.
  std::vector<std::string> Complaints() const;

  // --- for doors and models ---
  void ApplicationExits(int status);  // from a fiber: ends the application, not the host
  void WriteLog(const char* data, size_t size);
  void Complain(std::string what);
  Duration SystemTime() const { return kernel.Now() + systemOffset_; }  // since 1970, as the board believes
  void SetSystemTime(Duration sinceEpoch) { systemOffset_ = sinceEpoch - kernel.Now(); }
  bool SyncDisk();                                                       // takes its time; false if it fails
  int StartThread(pthread_t* id, void* (*body)(void*), void* argument);  // results of pthread_create
  int JoinThread(pthread_t id);
  sighandler_t SetSignalHandler(int number, sighandler_t handler);
  void RaiseSignal(int number);  // by what the calling thread does; the default ends the application

  struct ProcessChance {
    uint64_t seed = 1, drawn = 0;  // a fresh process's
  } processChance;

  const BoardOptions options;
  Kernel kernel;
  Faults faults;
  RegisterSpace registers;
  std::unique_ptr<PictureSource> pictures;
  Paths paths;
  Heap heap;
  Descriptors descriptors;
  GpioBanks gpio;
  PinRegisters pinRegisters;
  PinWiring pinWiring;
  CoProcessor coProcessor;
  Panel panel;  // LED 0, buzzer, as a person perceives them
  Button button;
  ClockChip clockChip;
  UsbDisk disk;
  Stdio stdio;
  TiffFiles tiffFiles;
  FpgaArray array;
  Attitude attitude;  // how the camera is held
  MotionSensor motionSensor;
  GpsCompass gpsCompass;
  MediaPipeline media;
  NetworkInterfaces interfaces;
  Network network;
  SerialPort serial;  // of the wireless remote; under /dev while its adapter is there
  UsbPorts usb;
  UsbDrivers drivers;
  AccessPoint accessPoint;
  FaultPoint popenFault{faults, "shell.popen", "starting a command to read from: fail"};

 private:
  void Wire();
  void StartUp(const std::function<int()>& application);
  void CleanUp();

  bool powered_ = false;
  bool losingPower_ = false;
  bool exited_ = false;
  int exitStatus_ = 0;
  Time poweredAt_{0};
  Duration systemOffset_{0};
  struct Thread {
    Fiber* fiber;
    std::unique_ptr<WaitQueue> ended;
  };
  std::map<pthread_t, Thread> threads_;
  pthread_t lastThread_ = 0;
  std::map<int, sighandler_t> signalHandlers_;
  std::string log_;
  size_t delivered_ = 0;  // of log_, to the listener
  std::function<void(Time, const std::string&)> logListener_;
  std::function<void(const StartedThread&)> threadListener_;
  std::vector<std::string> complaints_;
};

}  // namespace twin
