// The camera array alone on a bench: its pins and its bus in the hands of the test, its light a formula.
#pragma once

#include <gtest/gtest.h>
#include <linux/spi/spidev.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "twin/devices/fpga/fpga_array.h"

namespace bench {

using namespace std::chrono_literals;
using twin::Duration;
using twin::StoredFrame;

// Every pixel of every camera has the same light: `signalPerSecond` x exposure, up to full.
class EvenLight final : public twin::PictureSource {
 public:
  double MeanSignal(int, double exposure) override { return std::min(1.0, signalPerSecond * exposure); }
  twin::Jpeg Encode(const StoredFrame&, twin::PictureSize, int) override { return nullptr; }
  void ReadOut(const StoredFrame&, std::span<uint16_t>) override {}
  void Prefetch(const std::vector<StoredFrame>& frames) override { expected = frames; }

  double signalPerSecond = 10;
  std::vector<StoredFrame> expected;
};

class Receiver final : public twin::VideoInput {
 public:
  void FrameArrives(const StoredFrame& frame) override { frames.push_back(frame); }
  std::vector<StoredFrame> frames;
};

constexpr int kAll = 3;     // layer address of all layers
constexpr int kEvery = 15;  // camera address of all cameras
constexpr int kColumns = 1944;

struct ExposureSet {
  int shutter16, lines, coarse, fine;  // shutter in sixteenths of a row; register values of the gain
  bool last;
};

struct ArrayBench : ::testing::Test {
  twin::Kernel kernel{7};
  twin::Faults faults{kernel};
  twin::GpioBanks gpio{faults};
  EvenLight light;
  Receiver receiver;
  twin::FpgaArray array{kernel, faults, light, gpio};
  std::vector<std::string> complaints;
  std::vector<uint8_t> stream = ReadFile(LUMORA_BLOB_DIR "/fpga_bitstream.bin");

  ArrayBench() {
    array.SetVideoInput(receiver);
    array.SetComplaints([this](std::string text) { complaints.push_back(std::move(text)); });
  }

  static std::vector<uint8_t> ReadFile(const char* path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  // Runs `body` as the processor's program.
  void Do(const std::function<void()>& body) {
    const twin::Fiber* fiber = kernel.Spawn("bench", body);
    ASSERT_TRUE(kernel.RunUntil([&] { return kernel.Finished(fiber); }, 5min));
  }
  void Wait(Duration time) { kernel.Spend(time); }

  // --- pins, by the processor's registers ---
  static uint32_t Bank(int bank) { return twin::GpioBanks::kBase + static_cast<uint32_t>(bank) * 0x1000; }
  void Output(int bank, int pin, bool output) {
    const uint32_t direction = gpio.ReadRegister(Bank(bank) + 0x400);
    const uint32_t bit = 1u << pin;
    gpio.WriteRegister(Bank(bank) + 0x400, output ? direction | bit : direction & ~bit);
  }
  void Set(int bank, int pin, bool high) { gpio.WriteRegister(Bank(bank) + (4u << pin), high ? 0xFF : 0); }
  bool Get(int bank, int pin) { return gpio.ReadRegister(Bank(bank) + (4u << pin)) != 0; }
  void PowerEn(bool high) { Output(0, 2, true), Set(0, 2, high); }
  void ProgramB(bool high) { Output(6, 0, true), Set(6, 0, high); }
  void Suspend(bool high) { Output(6, 2, true), Set(6, 2, high); }
  bool Done() { return Get(6, 1); }
  bool Init() { return Get(5, 7); }
  void ResetPulse() {
    Output(5, 7, true);
    Set(5, 7, false);
    Wait(1ms);
    Set(5, 7, true);
    Wait(1ms);
  }
  void Clock(uint32_t value) { array.WriteRegister(twin::FpgaArray::kClockRegister, value); }

  // --- bus ---
  void OpenBus() {
    uint8_t mode = 0, bits = 16;
    uint32_t speed = 25'000'000;
    array.Spi().Ioctl(SPI_IOC_WR_MODE, &mode);
    array.Spi().Ioctl(SPI_IOC_WR_BITS_PER_WORD, &bits);
    array.Spi().Ioctl(SPI_IOC_WR_MAX_SPEED_HZ, &speed);
  }
  int Transfer(const std::vector<uint16_t>& words, std::vector<uint16_t>* received = nullptr) {
    std::vector<uint16_t> in(words.size(), 0xEEEE);
    spi_ioc_transfer transfer{};
    transfer.tx_buf = reinterpret_cast<uintptr_t>(words.data());
    transfer.rx_buf = reinterpret_cast<uintptr_t>(in.data());
    transfer.len = static_cast<uint32_t>(words.size() * 2);
    const int result = array.Spi().Ioctl(SPI_IOC_MESSAGE(1), &transfer);
    if (received != nullptr) *received = in;
    return result;
  }
  static std::vector<uint16_t> Words(int layer, int camera, bool read, int code, int h, int m, int l) {
    const int address = layer << 6 | camera << 2 | (read ? 2 : 0);
    const auto word = [](int high, int low) { return static_cast<uint16_t>(high << 8 | low); };
    return {word(address | 1, code), word(address, h), word(address, m), word(address, l)};
  }
  int Send(int layer, int camera, int code, int h = 0, int m = 0, int l = 0) {
    return Transfer(Words(layer, camera, false, code, h, m, l));
  }
  int Read(int layer, int code) {
    std::vector<uint16_t> in;
    if (Transfer(Words(layer, 0, true, code, 0, 0, 0), &in) < 0) return -1;
    return in[1] & 0xFF;
  }
  bool Everywhere(int code) { return Read(0, code) != 0 && Read(1, code) != 0 && Read(2, code) != 0; }
  bool WaitFor(int code, Duration limit) {
    const twin::Time end = kernel.Now() + limit;
    while (!Everywhere(code)) {
      if (kernel.Now() >= end) return false;
      Wait(1ms);
    }
    return true;
  }
  bool Ready(Duration limit = 500ms) { return WaitFor(0x40, limit); }

  // --- configuration ---
  void SendStream(const std::vector<uint8_t>& bytes) {
    std::vector<uint16_t> words;
    for (size_t i = 0; i < bytes.size(); i += 2) {
      words.push_back(static_cast<uint16_t>(bytes[i] << 8 | (i + 1 < bytes.size() ? bytes[i + 1] : 0)));
    }
    const auto half = words.begin() + static_cast<long>(words.size() / 2);
    Transfer({words.begin(), half});
    Transfer({half, words.end()});
  }
  bool StartConfiguration() {  // up to a high INIT
    Output(5, 7, false);
    ProgramB(false);
    Wait(1us);
    ProgramB(true);
    for (int i = 0; i < 990 && !Init(); i++) Wait(100us);
    return Init();
  }
  void PowerUp() {
    PowerEn(true);
    ProgramB(true);
    Suspend(false);
    Wait(10ms);
    OpenBus();
    Clock(4);
  }
  void BringUp() {
    PowerUp();
    ASSERT_TRUE(StartConfiguration());
    SendStream(stream);
    ASSERT_TRUE(Done());
    Clock(0x14);
    ResetPulse();
  }
  void WakeSensors() {
    Send(kAll, 0, 0xE5);
    Send(kAll, 0, 0x14, 0, 1, 0);
    ASSERT_TRUE(Ready());
  }

  // --- sensors ---
  void Write(int layer, int camera, int address, int value) {
    Send(layer, camera, 0xF0, address >> 8, address & 0xFF, value);
  }
  int ReadSensor(int layer, int camera, int address) {
    Send(layer, camera, 0xF2, address >> 8, address & 0xFF, 0);
    if (!Ready()) return -1;
    return Read(layer, camera < 7 ? 0x45 : 0x46);
  }
  void Delay(int layer, int camera, uint32_t units) {
    Send(layer, camera, 0xE1, static_cast<int>(units >> 16 & 0xFF), static_cast<int>(units >> 8 & 0xFF),
         static_cast<int>(units & 0xFF));
  }
  void WaitSync(bool rising, uint32_t limit = 0) {
    Delay(kAll, kEvery, limit);
    Send(kAll, kEvery, rising ? 0xE3 : 0xE4);
  }

  // --- a capture ---
  void QueueStep() {
    static constexpr std::array<int, 7> registers = {0x3500, 0x3501, 0x3502, 0x380E, 0x380F, 0x3508, 0x3509};
    WaitSync(true);
    Delay(kAll, kEvery, 6000);
    Send(kAll, kEvery, 0xE2);
    for (int i = 0; i < 7; i++) {
      const int address = registers[static_cast<size_t>(i)];
      Send(kAll, kEvery, 0xB0, i << 3);
      Send(kAll, kEvery, 0xF1, address >> 8, address & 0xFF);
    }
    Send(kAll, kEvery, 0xB0, 7 << 3);
  }
  struct CaptureOptions {
    int columns = kColumns;
    int toldColumns = kColumns;  // to the layers
    int frameStarts = 0xAA;
    bool bracketed = true;
    bool start = true;
  };
  // From a freshly reset fabric to measuring, with twelve steps queued.
  void StartCapture(const CaptureOptions& options) {
    WakeSensors();
    for (int layer = 0; layer < 3; layer++) Send(layer, kEvery, 0x17, options.frameStarts);
    Send(kAll, 0, 0xDD, 0, 0x20);
    Send(kAll, 0, options.bracketed ? 0xD2 : 0xD3);
    Send(kAll, 0, 0x16, options.toldColumns >> 8);
    const std::pair<int, int> rows[] = {{0x0103, 1},
                                        {0x380C, options.columns >> 8},
                                        {0x380D, options.columns & 0xFF},
                                        {0x3500, 0},
                                        {0x3501, 2},
                                        {0x3502, 0},
                                        {0x380E, 0x09},
                                        {0x380F, 0xA6},
                                        {0x3508, 0},
                                        {0x3509, 0x80},
                                        {0x3820, 0},
                                        {0x3821, 0x40}};
    for (const auto& [address, value] : rows) Write(kAll, kEvery, address, value);
    Write(0, kEvery, 0x3820, 0x06);
    Write(0, kEvery, 0x3821, 0x46);
    Delay(0, kEvery, 256);
    Delay(1, 0, 1358);
    Delay(1, 7, 2460);
    Delay(2, kEvery, 2460);
    Send(kAll, kEvery, 0xE2);
    Write(kAll, kEvery, 0x0100, 1);
    WaitSync(false);
    WaitSync(true);
    WaitSync(true);
    Send(kAll, 0, 0xD0);
    if (options.start) Send(kAll, 0, 0xD1);
    for (int i = 0; i < 12; i++) QueueStep();
  }
  void WriteSet(int number, const ExposureSet& set) {
    const int shutter = set.shutter16, last = set.last ? 0xFF : 0;
    const int bytes[8] = {shutter >> 16,    shutter >> 8 & 0xFF, shutter & 0xFF, set.lines >> 8,
                          set.lines & 0xFF, set.coarse,          set.fine,       last};
    for (int i = 0; i < 8; i++) Send(1, 0, 0x15, number << 5 | i << 2, bytes[i]);
  }
  // Keeps the FIFO fed until `done`; false after `limit`.
  bool Feed(Duration limit, const std::function<bool()>& done) {
    const twin::Time end = kernel.Now() + limit;
    while (!done()) {
      if (kernel.Now() >= end) return false;
      if (Read(0, 0x41) == 0 && Read(1, 0x41) == 0 && Read(2, 0x41) == 0) QueueStep();
    }
    return true;
  }
  void FlushFifo() {
    Send(kAll, 0, 0x12);
    Send(kAll, 0, 0x13);
  }
  int MeasuredExposure() { return Read(1, 0x50) << 16 | Read(1, 0x51) << 8 | Read(1, 0x52); }
  // The sets 1, 2, ... through a whole capture. False if it was not saved.
  bool Shoot(const std::vector<ExposureSet>& sets, const CaptureOptions& options, Duration confLimit = 4s,
             Duration saveLimit = 5s) {
    StartCapture(options);
    if (!Feed(2s, [this] { return Read(1, 0x4D) > 0; })) return false;
    for (size_t i = 0; i < sets.size(); i++) WriteSet(static_cast<int>(i) + 1, sets[i]);
    if (!Feed(confLimit, [this] { return Everywhere(0x43); })) return false;
    FlushFifo();
    return WaitFor(0x44, saveLimit);
  }
  void ConnectLayer0() {
    Send(2, 0, 0xD9);
    Send(1, 0, 0xDA);
    Send(1, 0, 0xD9);
    Send(0, 0, 0xDA);
    Send(0, 0, 0xD8);
  }
  void Load(int layer, int slot) {
    Send(layer, 0, 0xD6, slot);
    while (Read(layer, 0x48) != 0) Wait(1ms);
  }
};

inline const std::vector<ExposureSet> threeSets = {
    {32 * 16, 2470, 0, 0x80, false}, {128 * 16, 2470, 1, 0x90, false}, {512 * 16, 2470, 3, 0xF8, true}};

}  // namespace bench
