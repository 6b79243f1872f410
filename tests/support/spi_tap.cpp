#include "tests/support/spi_tap.h"

#include <linux/spi/spidev.h>

#include <algorithm>
#include <iterator>

SpiTap::SpiTap(twin::Board& board) : board_(board) { board.descriptors.AddNode("/dev/spidev0.0", *this); }

SpiTap::~SpiTap() {
  board_.PowerOff();
  board_.descriptors.RemoveNode("/dev/spidev0.0");
}

std::vector<SpiFrame> SpiTap::Writes(int code) const {
  std::vector<SpiFrame> some;
  std::copy_if(frames.begin(), frames.end(), std::back_inserter(some),
               [code](const SpiFrame& f) { return !f.IsRead() && (code < 0 || f.Code() == code); });
  return some;
}

int SpiTap::Open(int flags) {
  settings.emplace_back(0, static_cast<uint32_t>(flags));
  return -refuse(0);
}

int SpiTap::Ioctl(unsigned long request, void* argument) {
  if (request == 0x40206B00) return Message(argument);
  const int error = refuse(request);
  if (error != 0) return -error;
  if (request == 0x40046B04) {
    settings.emplace_back(request, *static_cast<uint32_t*>(argument));
  } else {
    settings.emplace_back(request, *static_cast<uint8_t*>(argument));
  }
  return 0;
}

int SpiTap::Message(void* argument) {
  const auto& transfer = *static_cast<const spi_ioc_transfer*>(argument);
  board_.kernel.Spend(std::chrono::microseconds(10));
  // A bus of 16-bit words takes them from memory as the processor stores them, and sends the high byte first.
  if (transfer.len != 8 || transfer.cs_change != 1 || transfer.speed_hz != 0 || transfer.bits_per_word != 0) {
    return -EINVAL;
  }
  const auto* words = reinterpret_cast<const uint16_t*>(transfer.tx_buf);
  auto* received = reinterpret_cast<uint16_t*>(transfer.rx_buf);
  SpiFrame frame{{}, board_.Now()};
  for (size_t i = 0; i < 4; i++) {
    frame.bytes[i * 2] = static_cast<uint8_t>(words[i] >> 8);
    frame.bytes[i * 2 + 1] = static_cast<uint8_t>(words[i]);
    received[i] = 0xEE77;  // whatever is on the wire
  }
  frames.push_back(frame);
  if (!frame.IsRead()) return accept(frame) ? 8 : -EIO;
  const int value = answer(frame.Layer(), frame.Code());
  if (value < 0) return -EIO;
  received[1] = static_cast<uint16_t>(0xAA00 | value);
  return 8;
}
