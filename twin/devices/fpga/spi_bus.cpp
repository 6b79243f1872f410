#include "twin/devices/fpga/spi_bus.h"

#include <linux/spi/spidev.h>

#include <cerrno>
#include <cstring>

namespace twin {

namespace {

constexpr Duration kSystemCall = 20us;
constexpr int64_t kConfigurationDetail = 4;
constexpr size_t kFrameBytes = 8;

// Memory order to wire order and back: a word of 16 bits lies with its low byte first and leaves with its high one.
void SwapWords(std::vector<uint8_t>& bytes) {
  for (size_t i = 0; i + 1 < bytes.size(); i += 2) std::swap(bytes[i], bytes[i + 1]);
}

}  // namespace

void SpiBus::PowerOnReset() {
  mode_ = 0;
  bitsPerWord_ = 8;
  speed_ = 1'000'000;
}

int SpiBus::Ioctl(unsigned long request, void* argument) {
  if (kernel_.Dying()) return -EIO;
  switch (request) {
    case SPI_IOC_WR_MODE: std::memcpy(&mode_, argument, sizeof mode_); return 0;
    case SPI_IOC_WR_BITS_PER_WORD:
      std::memcpy(&bitsPerWord_, argument, sizeof bitsPerWord_);
      return bitsPerWord_ == 8 || bitsPerWord_ == 16 ? 0 : -EINVAL;
    case SPI_IOC_WR_MAX_SPEED_HZ: std::memcpy(&speed_, argument, sizeof speed_); return speed_ > 0 ? 0 : -EINVAL;
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
  if (effect && effect->kind == Effect::Kind::Fail) return -static_cast<int>(effect->value);

  transfers_++;
  if (mode_ != 0 || speed > kFastest) {
    complain_("SPI transfer in mode " + std::to_string(mode_) + " at " + std::to_string(speed) + " Hz");
  } else if ((!routed_ || routed_()) && !(effect && effect->kind == Effect::Kind::Silence)) {
    exchange_(out, in);
  }
  if (bits == 16) SwapWords(in);
  if (received != nullptr) std::memcpy(received, in.data(), transfer.len);
  return static_cast<int>(transfer.len);
}

}  // namespace twin
