#include "tests/support/spi_tap.h"

#include <linux/spi/spidev.h>

#include <vector>

#include "twin/transcript/transcript.h"

using twin::Transcript;

SpiTap::SpiTap(twin::Board& board) : board_(board) { board.descriptors.AddNode("/dev/spidev0.0", *this); }

SpiTap::~SpiTap() {
  board_.PowerOff();
  board_.descriptors.RemoveNode("/dev/spidev0.0");
}

int SpiTap::Open(int flags) {
  if (Transcript::Hears("spi")) Transcript::Note("spi", "open " + std::to_string(flags));
  return -refuse(0);
}

int SpiTap::Ioctl(unsigned long request, void* argument) {
  if (request == SPI_IOC_MESSAGE(1)) return Message(argument);
  const uint32_t value =
      request == SPI_IOC_WR_MAX_SPEED_HZ ? *static_cast<uint32_t*>(argument) : *static_cast<uint8_t*>(argument);
  char text[48];
  snprintf(text, sizeof text, "0x%lX %u", request, value);
  if (Transcript::Hears("spi")) Transcript::Note("spi", text);
  return -refuse(request);
}

int SpiTap::Message(void* argument) {
  const auto& transfer = *static_cast<const spi_ioc_transfer*>(argument);
  board_.kernel.Spend(cost);
  if (transfer.cs_change != 1 || transfer.speed_hz != 0 || transfer.bits_per_word != 0) return -EINVAL;
  // A bus of 16-bit words takes them from memory as the processor stores them, and sends the high byte first.
  const auto* words = reinterpret_cast<const uint16_t*>(transfer.tx_buf);
  auto* received = reinterpret_cast<uint16_t*>(transfer.rx_buf);
  std::vector<uint8_t> out, in(transfer.len, 0xEE);
  for (size_t i = 0; i < transfer.len / 2; i++) {
    out.insert(out.end(), {static_cast<uint8_t>(words[i] >> 8), static_cast<uint8_t>(words[i])});
    received[i] = 0xEE77;  // whatever is on the wire
  }
  const bool isFrame = transfer.len == 8, isRead = isFrame && (out[0] & 2) != 0;
  if (isFrame && !isRead && out[1] == 0xF2) {
    askedLayer = out[0] >> 6;
    askedCamera = out[0] >> 2 & 15;
    askedRegister = out[3] << 8 | out[5];
  }
  const bool accepted = isRead || (isFrame ? accept(out[0] >> 6, out[1], out[3]) : accept(0, 0, 0));
  const int value = isRead ? answer(out[0] >> 6, out[1]) : accepted ? 0 : -1;
  if (isRead && value >= 0) {
    in[3] = static_cast<uint8_t>(value);
    received[1] = static_cast<uint16_t>(0xAA00 | value);
  }
  if (Transcript::Hears("spi")) {
    Transcript::Note("spi", value < 0 ? twin::SpiLine(out, {}) : twin::SpiLine(out, in));
  }
  return value < 0 ? -EIO : static_cast<int>(transfer.len);
}
