#include "twin/board.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "twin/flash_files.h"
#include "twin/kernel/thread_orders.h"
#include "twin/light/marked_pictures.h"
#include "twin/light/rendered_pictures.h"
#include "twin/seam/process_image.h"
#include "twin/seam/shell_script.h"

extern "C" {
extern FILE* twin_stdout;
extern FILE* twin_stderr;
}

namespace twin {

namespace fs = std::filesystem;

namespace {

Board* current = nullptr;

constexpr Duration kBootTime = 2600ms;                      // boot loader and kernel, up to the boot script
constexpr const char* kControlSockets = "var/run/hostapd";  // under the board's root
constexpr const char* kBootScript = "/etc/init.d/S90user";
constexpr int kNoSuchCommand = 127;  // a shell's exit code

std::unique_ptr<PictureSource> MakePictures(const BoardOptions& options) {
  if (options.pictures == Pictures::Marked) return MakeMarkedPictures(options.light, options.seed);
  const fs::path blobs = LUMORA_BLOB_DIR;
  return MakeRenderedPictures(options.scene, blobs / "CameraConf_800", blobs / "CameraVignet_800", options.light,
                              options.seed);
}

// Pictures count from the right, the front and the zenith, where the attitude has north, west and up.
Stance StanceOf(const Attitude& attitude) {
  const auto seen = [&](const Vector3& axis) -> Vec3 {
    const Vector3 at = attitude.ToWorld() * axis;
    return {static_cast<float>(-at[1]), static_cast<float>(at[0]), static_cast<float>(at[2])};
  };
  return {.right = seen({0, -1, 0}), .front = seen({1, 0, 0}), .up = seen({0, 0, 1})};
}

}  // namespace

// --- wiring ---

Board::Board(BoardOptions wanted)
    : options(std::move(wanted)),
      kernel(options.seed, options.pace),
      faults(kernel),
      pictures(MakePictures(options)),
      paths(options.root, options.disk),
      heap(faults),
      gpio(faults),
      pinWiring(gpio, pinRegisters),
      coProcessor(kernel, faults, gpio, options.coProcessor),
      panel(kernel, gpio, coProcessor),
      button(kernel, coProcessor),
      clockChip(kernel, faults),
      disk(kernel, faults, paths.Disk(), options.diskKBs),
      stdio(
          kernel, paths, disk, [this](const char* data, size_t size) { WriteLog(data, size); },
          [this] { return SystemTime(); }),
      tiffFiles(
          kernel, paths, disk, [this](const char* data, size_t size) { WriteLog(data, size); },
          [this] { return SystemTime(); }),
      array(kernel, faults, *pictures, gpio),
      motionSensor(kernel, faults, attitude, gpio.At(6, 4), gpio.At(6, 3), options.seed),
      gpsCompass(faults, attitude),
      media(kernel, faults, *pictures, descriptors),
      network(kernel, faults, interfaces, descriptors),
      serial(kernel, faults),
      usb(faults),
      drivers(kernel, faults, usb, interfaces),
      accessPoint(faults, interfaces, paths.Root() / kControlSockets) {
  if (current != nullptr) throw std::logic_error("one board at a time");
  current = this;
  Wire();
  InstallFlashFiles(paths, LUMORA_BLOB_DIR);
  clockChip.KeepIn(paths.Root() / "clock_chip");
  for (const UsbAdapter adapter : options.usb) usb.Plug(adapter);
}

Board::~Board() {
  disk.Synced();  // nobody has pulled anything: the simulation ends
  PowerOff();
  kernel.KillFibers();  // those of who used the units without switching the board on
  current = nullptr;
}

Board& Board::Current() {
  if (current == nullptr) throw std::logic_error("the application was called without a board");
  return *current;
}

// What hangs where. A new device is one folder and one line here.
void Board::Wire() {
  attitude.AfterChange([this] { pictures->SetStance(StanceOf(attitude)); });
  registers.Claim(GpioBanks::kBase, GpioBanks::kBankStride * GpioBanks::kBanks, gpio);
  pinRegisters.ConnectTo(registers);
  registers.Claim(FpgaArray::kClockRegister, 4, array);
  registers.Claim(FrameTiming::kBase, FrameTiming::kSize, media.timing);
  descriptors.AddNode("/dev/hi_rtc", clockChip);
  descriptors.AddNode("/dev/spidev0.0", array.Spi());
  array.SetVideoInput(media);
  array.SetComplaints([this](std::string what) { Complain(std::move(what)); });
  array.SetModule(gpsCompass);
  usb.OnChange([this] { gpsCompass.SetPlugged(usb.Plugged(UsbAdapter::Serial)); });  // one plug holds both
  gpsCompass.SetComplaints([this](std::string what) { Complain(std::move(what)); });
  media.SetComplaints([this](std::string what) { Complain(std::move(what)); });
  coProcessor.SetComplaints([this](std::string what) { Complain(std::move(what)); });
  motionSensor.SetComplaints([this](std::string what) { Complain(std::move(what)); });
  array.SetSpiRouted([this] { return pinWiring.SpiLedOut(); });
  gpio.SetComplaints([this](std::string what) { Complain(std::move(what)); });

  drivers.OnSerialPort([this](bool there) {
    there ? descriptors.AddNode("/dev/ttyUSB0", serial) : descriptors.RemoveNode("/dev/ttyUSB0");
    serial.SetPlugged(there);
  });

  paths.SetDiskMounted([this] { return disk.Mounted(); });
  coProcessor.SetPowerOff([this] {
    media.ProcessEnds();  // as the program asked for
    if (disk.Unsynced()) Complain("switched off with changes that were not synced to the disk");
    PowerOff();
  });
  faults.SetPowerCut([this] { PowerOff(); });
}

// --- power ---

void Board::PowerOn(std::function<int()> application) {
  if (powered_) return;
  ResetProcessImage();
  twin_stdout = twin_stderr = stdio.StandardOutput();
  powered_ = true;
  exited_ = false;
  exitStatus_ = 0;
  processChance = {};
  poweredAt_ = kernel.Now();
  SetSystemTime(Duration{0});
  for (const auto& entry : fs::directory_iterator(paths.Root() / "var/run")) fs::remove_all(entry);  // lies in memory
  drivers.PowerOn();
  kernel.Spawn("boot", [this, application = std::move(application)] { StartUp(application); });
}

// From the boot loader to the application in the place that the boot script has for it.
void Board::StartUp(const std::function<int()>& application) {
  kernel.Spend(kBootTime);
  bool started = false;
  RunBootScript(*this, kBootScript, [&](bool background) {
    started = true;
    const auto run = [this, application] { ApplicationExits(application()); };
    background ? void(kernel.Spawn("main", run)) : run();
  });
  if (!started) ApplicationExits(kNoSuchCommand);
}

void Board::PowerOff() {
  if (!powered_) return;
  powered_ = false;
  losingPower_ = true;
  // In a fiber the kill does not return; then the rest is done as the next event, when all stacks are unwound.
  if (kernel.InFiber()) kernel.At(kernel.Now(), [this] { CleanUp(); });
  const bool here = !kernel.InFiber();
  kernel.KillFibers();
  if (here) CleanUp();
}

void Board::CleanUp() {
  if (!losingPower_) return;
  losingPower_ = false;
  stdio.Drop();
  tiffFiles.Drop();
  descriptors.CloseAll();
  heap.FreeAll();
  threads_.clear();
  signalHandlers_.clear();
  disk.PowerLost();
  gpio.Reset();
  pinRegisters.Reset();
  coProcessor.Reset();
  panel.Reset();
  array.PowerOnReset();
  motionSensor.PowerOnReset();
  media.Reset();
  drivers.PowerOff();
  interfaces.RemoveAll();
  serial.Reset();
}

bool Board::Boot() {
  panel.ForgetPulses();
  PowerOn();
  const bool up = RunUntil([this] { return exited_ || panel.BuzzerPulses().size() >= 2; }, 1min);
  if (up && !exited_) Run(500ms);
  return up;
}

bool Board::RunUntilShotEnds(Duration limit) {
  return RunUntil([this] { return panel.ShotRunning() || exited_; }, limit) &&
         RunUntil([this] { return !panel.ShotRunning() || exited_; }, limit);
}

// --- the application's process ---

void Board::ApplicationExits(int status) {
  exited_ = true;
  exitStatus_ = status;
  media.ProcessEnds();
  kernel.KillFibers();  // all threads of the process; the power stays on
}

bool Board::SyncDisk() {
  const UsbDisk::Verdict verdict = disk.BeforeSync();
  kernel.Spend(verdict.takes);
  if (verdict.error == 0) disk.Synced();
  return verdict.error == 0;
}

int Board::StartThread(pthread_t* id, void* (*body)(void*), void* argument) {
  const pthread_t number = ++lastThread_;
  *id = number;
  Thread& thread = threads_[number];
  thread.ended = std::make_unique<WaitQueue>(kernel);
  WaitQueue* ended = thread.ended.get();
  thread.fiber = kernel.Spawn("thread " + std::to_string(number), [body, argument, ended] {
    body(argument);
    Release(ended);
    ended->Notify();
  });
  if (threadListener_) threadListener_({thread.fiber, body, argument});
  return 0;
}

int Board::JoinThread(pthread_t id) {
  const auto found = threads_.find(id);
  if (found == threads_.end()) return ESRCH;
  while (!kernel.Finished(found->second.fiber) && !kernel.Dying()) found->second.ended->Wait(1ms);
  Acquire(found->second.ended.get());
  if (!kernel.Dying()) threads_.erase(found);
  return 0;
}

sighandler_t Board::SetSignalHandler(int number, sighandler_t handler) {
  sighandler_t& entry = signalHandlers_[number];
  return std::exchange(entry, handler);
}

void Board::SendSignal(int number) {
  if (powered_ && !exited_) kernel.Spawn("signal", [this, number] { RaiseSignal(number); });
}

void Board::RaiseSignal(int number) {
  const auto found = signalHandlers_.find(number);
  const sighandler_t handler = found == signalHandlers_.end() ? SIG_DFL : found->second;
  if (handler == SIG_IGN) return;
  if (handler == SIG_DFL) ApplicationExits(128 + number);
  handler(number);
}

// --- what it says ---

void Board::WriteLog(const char* data, size_t size) {
  log_.append(data, size);
  for (size_t end; (end = log_.find('\n', delivered_)) != std::string::npos; delivered_ = end + 1) {
    if (logListener_) logListener_(kernel.Now(), log_.substr(delivered_, end - delivered_));
  }
}

size_t Board::LogCount(const std::string& text) const {
  if (text.empty()) throw std::invalid_argument("nothing stands everywhere in the log");
  size_t count = 0;
  for (size_t at = log_.find(text); at != std::string::npos; at = log_.find(text, at + text.size())) count++;
  return count;
}

void Board::Complain(std::string what) { complaints_.push_back(std::move(what)); }

std::vector<std::string> Board::Complaints() const {
  std::vector<std::string> all = complaints_;
  all.insert(all.end(), registers.Unclaimed().begin(), registers.Unclaimed().end());
  return all;
}

}  // namespace twin
