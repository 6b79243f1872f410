// A probe on the array's SPI bus, with a test's own answers: what stands at /dev/spidev0.0 while it lives. It is heard
// in transcripts as the array is, and goes with the board's power off.
#pragma once

#include <functional>

#include "twin/board.h"

class SpiTap final : public twin::DeviceFile {
 public:
  explicit SpiTap(twin::Board& board);
  ~SpiTap() override;

  // The byte that a read of a layer's register gets; negative: the transfer fails. Called for each read.
  std::function<int(int layer, int code)> answer = [](int, int) { return 0; };
  // Called for each other transfer with its layer, code and first byte (0: no frame); false: it fails.
  std::function<bool(int layer, int code, int h)> accept = [](int, int, int) { return true; };
  // Opening and settings: an errno to fail with, by request (0 stands for the open).
  std::function<int(unsigned long request)> refuse = [](unsigned long) { return 0; };
  twin::Duration cost = std::chrono::microseconds(10);  // of a transfer
  // What the latest sensor register read asked for.
  int askedLayer = 0, askedCamera = 0, askedRegister = 0;

  int Open(int flags) override;
  int Ioctl(unsigned long request, void* argument) override;

 private:
  int Message(void* argument);

  twin::Board& board_;
};
