// A probe on the array's SPI bus, with a test's own answers: what stands at /dev/spidev0.0 while it lives. It goes
// with the board's power off.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

#include "twin/board.h"

// One frame as its bytes leave, and taken apart.
struct SpiFrame {
  std::array<uint8_t, 8> bytes;
  twin::Time at{0};

  int Layer() const { return bytes[0] >> 6; }
  int Camera() const { return bytes[0] >> 2 & 15; }
  bool IsRead() const { return (bytes[0] & 2) != 0; }
  int Code() const { return bytes[1]; }
  int H() const { return bytes[3]; }
  int M() const { return bytes[5]; }
  int L() const { return bytes[7]; }
};

class SpiTap final : public twin::DeviceFile {
 public:
  explicit SpiTap(twin::Board& board);
  ~SpiTap() override;

  // The byte that a read of a layer's register gets; negative: the transfer fails. Called for each read.
  std::function<int(int layer, int code)> answer = [](int, int) { return 0; };
  // Called for each write; false: the transfer fails.
  std::function<bool(const SpiFrame&)> accept = [](const SpiFrame&) { return true; };
  // Opening and settings: an errno to fail with, by request (0 stands for the open).
  std::function<int(unsigned long request)> refuse = [](unsigned long) { return 0; };

  std::vector<SpiFrame> frames;                              // all, reads too
  std::vector<std::pair<unsigned long, uint32_t>> settings;  // request and value
  std::vector<SpiFrame> Writes(int code = -1) const;         // of that code; below 0: of any

  int Open(int flags) override;
  int Ioctl(unsigned long request, void* argument) override;

 private:
  int Message(void* argument);

  twin::Board& board_;
};
