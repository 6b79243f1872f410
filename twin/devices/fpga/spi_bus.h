// The processor's SPI controller as the kernel's spidev shows it, with the array at the other end.
//
// Bus face: /dev/spidev0.0. Ioctls: mode (0x40016B01), bits a word (0x40016B03), highest speed (0x40046B04), one
// transfer (0x40206B00). A transfer takes its bits at the bus's speed and 20 us of system call. Words are sent highest
// bit first. Modelled: mode 0 and at most 25 MHz reach the array whole, anything else arrives as nothing; transfers of
// up to 1 MiB; a transfer that does not release the select line (cs_change not 1) never ends for the array, and one
// that the pins do not carry out (pin_wiring.h) never begins: both are complained about. Not judged: a bus slower than
// the array's fastest. Not modelled: several transfers a message, dual lanes. Fault face: spi.message.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>

#include "twin/device_file.h"
#include "twin/devices/fpga/array_faults.h"
#include "twin/kernel/kernel.h"

namespace twin {

class SpiBus final : public DeviceFile {
 public:
  static constexpr size_t kLongestTransfer = 0x100000;
  static constexpr uint32_t kFastest = 25'000'000;

  // What is on the bus: gets the bytes in wire order and fills as many in return. Called in a fiber.
  using Exchange = std::function<void(std::span<const uint8_t> out, std::span<uint8_t> in)>;

  SpiBus(Kernel& kernel, ArrayFaults& faults, Exchange exchange, std::function<void(std::string)> complain)
      : kernel_(kernel), faults_(faults), exchange_(std::move(exchange)), complain_(std::move(complain)) {}

  // `routed` tells whether the processor's pins are connected to the controller (default: always).
  void SetRouted(std::function<bool()> routed) { routed_ = std::move(routed); }
  void PowerOnReset();

  int Open(int flags) override;
  int Ioctl(unsigned long request, void* argument) override;

  uint64_t Transfers() const { return transfers_; }

 private:
  int Transfer(const void* record);

  Kernel& kernel_;
  ArrayFaults& faults_;
  Exchange exchange_;
  std::function<void(std::string)> complain_;
  std::function<bool()> routed_;
  uint8_t mode_ = 0;
  uint8_t bitsPerWord_ = 8;
  uint32_t speed_ = 1'000'000;
  uint64_t transfers_ = 0;
};

// The line of a transcript that a transfer makes: `wire` are its bytes in wire order, `answer` what came back, empty if
// the transfer failed. Only after Transcript::Hears("spi") said so.
std::string SpiLine(std::span<const uint8_t> wire, std::span<const uint8_t> answer);

}  // namespace twin
