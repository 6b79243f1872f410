// What must leave the application while it brings the array up, uses it and puts it to rest: put together by rule, for
// layers that are ready at once and sensors that answer at once. In the words of twin/transcript/transcript.h.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "tests/support/file_bytes.h"

struct Road {
  std::vector<std::string> lines;

  [[gnu::format(printf, 2, 3)]] void Add(const char* format, ...) {
    char text[256];
    va_list values;
    va_start(values, format);
    vsnprintf(text, sizeof text, format, values);
    va_end(values);
    lines.emplace_back(text);
  }
  void Sleep(int us) { Add("sleep %d", us); }
  void Reg(uint32_t address, uint32_t value) { Add("reg write 0x%08x 0x%x", address, value); }
  void RegIs(uint32_t address, uint32_t value) { Add("reg read 0x%08x = 0x%x", address, value); }
  void Pin(uint32_t address, bool high) { Reg(address, high ? 0xFF : 0); }
  void Log(const char* function, const std::string& text) { Add("log %s \"%s\\n\"", function, text.c_str()); }

  // --- frames ---
  void Write(int layer, int camera, int code, int h = 0, int m = 0, int l = 0) {
    Add("spi %d/%d %02X %02X %02X %02X", layer, camera, code, h, m, l);
  }
  // A value below 0: the transfer fails, and that is told.
  void Read(int layer, int code, int value) {
    if (value >= 0) return Add("spi read %d %02X = %02X", layer, code, value);
    Add("spi read %d %02X failed", layer, code);
    Log("LumoSpiRead",
        "ioctl SPI_IOC_MESSAGE error, layIdx = " + std::to_string(layer) + ", spiCmd = " + std::to_string(code));
  }
  void ReadAll(int code, int value) {
    for (int layer = 0; layer < 3; layer++) Read(layer, code, value);
  }
  void Ready() { ReadAll(0x40, 1); }
  void FifoReset() {
    Write(3, 0, 0x12);
    Write(3, 0, 0x13);
  }
  void Delay(int layer, int camera, int units) {
    Write(layer, camera, 0xE1, units >> 16, units >> 8 & 0xFF, units & 0xFF);
  }
  // A register of all sensors, or of a layer's.
  void Sensor(int address, int value, int layer = 3) { Write(layer, 15, 0xF0, address >> 8, address & 0xFF, value); }
  void SensorIs(int layer, int camera, int address, int value) {
    Write(layer, camera, 0xF2, address >> 8, address & 0xFF);
    Ready();
    Read(layer, camera < 7 ? 0x45 : 0x46, value);
  }

  // --- rest and waking ---
  void ResetPulse() {
    Pin(0x12145200, false);
    Sleep(1000);
    Pin(0x12145200, true);
  }
  void Standby() {
    ResetPulse();
    Sleep(1000);
    Write(3, 0, 0xE6);
    Write(3, 0, 0xE6);
    Sleep(1000);
    Pin(0x12146010, true);
  }
  void Awake() {
    Pin(0x12146010, false);
    ResetPulse();
    Sleep(1000);
    Add("cipher written");
    Write(3, 0, 0xE5);
    Write(3, 0, 0x14, 0, 1, 0);
    Ready();
  }

  // --- configuration, with INIT and DONE always high; `output`: the shared pin is one before ---
  void Init(bool output) {
    Pin(0x12146010, false);
    Sleep(1000);
    Reg(0x12010040, 4);
    RegIs(0x12145400, output ? 0x80 : 0);
    Reg(0x12145400, 0);
    Pin(0x12146004, false);
    for (int i = 0; i < 4; i++) RegIs(0x12145200, 0x80);
    Pin(0x12146004, true);
    RegIs(0x12145200, 0x80);
    Sleep(10);
    Add("spi stream 1048576");
    Add("spi stream 347704");
    RegIs(0x12146008, 2);
    RegIs(0x12145200, 0x80);
    RegIs(0x12145400, 0);
    Reg(0x12145400, 0x80);
    Reg(0x12010040, 0x14);
    Sleep(100'000);
    ResetPulse();
    Sleep(5000);
    Add("cipher written");
    Write(3, 0, 0xE5);
    Sleep(1000);
    Ready();
    for (int layer = 2; layer >= 0; layer--) {
      for (int camera = 0; camera <= (layer == 0 ? 8 : 7); camera++) {
        SensorIs(layer, camera, 0x300B, 0x88);
        SensorIs(layer, camera, 0x300C, 0x65);
      }
    }
    Standby();
  }
  void ReInit(bool output) {
    Pin(0x12140010, false);
    Sleep(200'000);
    Pin(0x12140010, true);
    Sleep(100'000);
    Init(output);
  }

  // --- sensors ---
  void Table(const char* file, int lensType) {
    const std::vector<uint8_t> bytes = FileBytes(std::string(LUMORA_BLOB_DIR "/") + file);
    for (size_t i = 0; i < bytes.size(); i += 4) {
      const int address = bytes[i + 2] << 8 | bytes[i + 1];
      int value = bytes[i];
      const bool ownLens = lensType == 12 || lensType == 13;
      for (const auto& [entry, own] : {std::pair{0x5018, 0x1D}, {0x5019, 0x7B}, {0x501C, 0x14}, {0x501D, 0xE5}}) {
        if (ownLens && address == entry) value = own;
      }
      Sensor(address, value);
    }
  }
  void SetUp(int lensType = 0) {
    Ready();
    const int receivers[] = {0x0219, 0x0402, 0x0503, 0x0601, 0x0901, 0x0A01, 0x14C2,
                             0x154C, 0x362C, 0x172B, 0x182B, 0x190C, 0x1E0A, 0x1F0A};  // register and value
    for (const int word : receivers) Sensor(word >> 8, word & 0xFF);
    Table("reg20_table_a.bin", lensType);
    Table("reg20_table_b.bin", lensType);
    Sensor(0x3820, 0x06, 0);
    Sensor(0x3821, 0x46, 0);
    Ready();
  }
  // A module that has nothing to tell.
  void Position() {
    for (const int byte : {0, 1, 2, 3, 4, 4, 6, 7, 8, 9, 10, 11, 12, 13}) SensorIs(0, 0, 0xFF00 + byte, 0);
    Log("LumoReadGpsCompass",
        "Read GPS: longitude:0, latitude:0, compassValX:0, compassValY:0, compassValZ:0, compassValue:0");
  }
  // Temperatures are 10 degrees and one more from image to image.
  void Temperatures() {
    Ready();
    Sensor(0x4D12, 0);
    Sleep(1000);
    Sensor(0x4D12, 1);
    Sleep(1000);
    for (int image = 0; image < 25; image++) {
      const int layer = image < 9 ? 0 : image < 16 || image == 24 ? 1 : 2;
      const int camera = image < 9 ? image : image == 24 ? 7 : image - (layer == 1 ? 9 : 16);
      SensorIs(layer, camera, 0x4D13, 0x40 + 10 + image);
    }
  }
};
