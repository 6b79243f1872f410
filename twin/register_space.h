// Physical registers of the processor, by address. Devices claim ranges; an access that nobody claims is reported, and
// so is one beside a register: the bus has words at multiples of four and ends a program that asks for another.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace twin {

class RegisterDevice {
 public:
  virtual ~RegisterDevice() = default;
  virtual uint32_t ReadRegister(uint32_t address) = 0;
  virtual void WriteRegister(uint32_t address, uint32_t value) = 0;
};

class RegisterSpace {
 public:
  // `device` answers [base, base + size). A claim that covers earlier ones takes their place; others must not overlap.
  void Claim(uint32_t base, uint32_t size, RegisterDevice& device);

  uint32_t Read(uint32_t address);
  void Write(uint32_t address, uint32_t value);

  // "read 0x12345678", one line an access that no device claimed. A test that ends with one has failed.
  const std::vector<std::string>& Unclaimed() const { return unclaimed_; }

 private:
  struct Range {
    uint32_t base, size;
    RegisterDevice* device;
  };
  RegisterDevice* Find(uint32_t address);

  std::vector<Range> ranges_;
  size_t last_ = 0;
  std::vector<std::string> unclaimed_;
};

}  // namespace twin
