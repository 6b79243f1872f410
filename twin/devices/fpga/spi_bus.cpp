#include "twin/devices/fpga/spi_bus.h"

#include <linux/spi/spidev.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "twin/transcript/transcript.h"

namespace twin {

namespace {

constexpr Duration kSystemCall = 20us;
constexpr int64_t kConfigurationDetail = 4;
constexpr size_t kFrameBytes = 8;

// Memory order to wire order and back: a word of 16 bits lies with its low byte first and leaves with its high one.
void SwapWords(std::vector<uint8_t>& bytes) {
  for (size_t i = 0; i + 1 < bytes.size(); i += 2) std::swap(bytes[i], bytes[i + 1]);
}

void NoteSetting(unsigned long request, uint32_t value) {
  char text[48];
  std::snprintf(text, sizeof text, "0x%lX 0x%x", request, value);
  Transcript::Note("spi", text);
}

}  // namespace

std::string SpiLine(std::span<const uint8_t> wire, std::span<const uint8_t> answer) {
  char text[64];
  const char* failed = answer.empty() ? " failed" : "";
  if (wire.size() != kFrameBytes) {
    std::snprintf(text, sizeof text, "stream %zu%s", wire.size(), failed);
  } else if ((wire[0] & 2) == 0) {
    std::snprintf(text, sizeof text, "%d/%d %02X %02X %02X %02X%s", wire[0] >> 6, (wire[0] >> 2) & 15, wire[1], wire[3],
                  wire[5], wire[7], failed);
  } else if (answer.empty()) {
    std::snprintf(text, sizeof text, "read %d %02X failed", wire[0] >> 6, wire[1]);
  } else {
    std::snprintf(text, sizeof text, "read %d %02X = %02X", wire[0] >> 6, wire[1], answer[3]);
  }
  return text;
}

int SpiBus::Open(int /*flags*/) {
  if (Transcript::Hears("spi")) Transcript::Note("spi", "open");
  return 0;
}

void SpiBus::PowerOnReset() {
  mode_ = 0;
  bitsPerWord_ = 8;
  speed_ = 1'000'000;
}

int SpiBus::Ioctl(unsigned long request, void* argument) {
  if (kernel_.Dying()) return -EIO;
  const bool heard = Transcript::Hears("spi");
  switch (request) {
    case SPI_IOC_WR_MODE:
      std::memcpy(&mode_, argument, sizeof mode_);
      if (heard) NoteSetting(request, mode_);
      return 0;
    case SPI_IOC_WR_BITS_PER_WORD:
      std::memcpy(&bitsPerWord_, argument, sizeof bitsPerWord_);
      if (heard) NoteSetting(request, bitsPerWord_);
      return bitsPerWord_ == 8 || bitsPerWord_ == 16 ? 0 : -EINVAL;
    case SPI_IOC_WR_MAX_SPEED_HZ:
      std::memcpy(&speed_, argument, sizeof speed_);
      if (heard) NoteSetting(request, speed_);
      return speed_ > 0 ? 0 : -EINVAL;
    case SPI_IOC_MESSAGE(1): return Transfer(argument);
    default: return -ENOTTY;
  }
}

int SpiBus::Transfer(const void* record) {
  spi_ioc_transfer transfer;
  std::memcpy(&transfer, record, sizeof transfer);
  const uint32_t speed = transfer.speed_hz != 0 ? transfer.speed_hz : speed_;
  const int bits = transfer.bits_per_word != 0 ? transfer.bits_per_word : bitsPerWord_;
  if ((bits != 8 && bits != 16) || (bits == 16 && transfer.len % 2 != 0)) return -EINVAL;
  if (transfer.len > kLongestTransfer) return -EMSGSIZE;

  const auto* sent = reinterpret_cast<const uint8_t*>(static_cast<uintptr_t>(transfer.tx_buf));
  auto* received = reinterpret_cast<uint8_t*>(static_cast<uintptr_t>(transfer.rx_buf));
  std::vector<uint8_t> out(transfer.len), in(transfer.len);
  if (sent != nullptr) std::memcpy(out.data(), sent, transfer.len);
  if (bits == 16) SwapWords(out);

  Duration cost = kSystemCall + Duration(transfer.len * 8 * 1'000'000'000ull / speed);
  const int64_t detail = transfer.len == kFrameBytes ? out[0] >> 6 : kConfigurationDetail;
  const auto effect = faults_.message.Ask(detail);
  if (effect && effect->kind == Effect::Kind::Delay) cost += effect->delay;
  kernel_.Spend(cost);
  if (kernel_.Dying()) return -EIO;
  const bool heard = Transcript::Hears("spi");
  if (effect && effect->kind == Effect::Kind::Fail) {
    if (heard) Transcript::Note("spi", SpiLine(out, {}));
    return -static_cast<int>(effect->value);
  }

  transfers_++;
  if (mode_ != 0 || speed > kFastest) {
    complain_("SPI transfer in mode " + std::to_string(mode_) + " at " + std::to_string(speed) + " Hz");
  } else if (transfer.cs_change != 1) {
    complain_("SPI transfer that keeps the layers selected");
  } else if (routed_ && !routed_()) {
    complain_("SPI transfer that its pins do not carry out");
  } else if (!(effect && effect->kind == Effect::Kind::Silence)) {
    exchange_(out, in);
  }
  if (heard) Transcript::Note("spi", SpiLine(out, in));
  if (bits == 16) SwapWords(in);
  if (received != nullptr) std::memcpy(received, in.data(), transfer.len);
  return static_cast<int>(transfer.len);
}

}  // namespace twin
