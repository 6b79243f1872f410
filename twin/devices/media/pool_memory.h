// The memory of the media units, as /dev/mem shows it. A mapping is the memory itself and not a copy, and gone it is
// gone: who still reads there crashes.
//
// Bus face: /dev/mem: open, mmap, munmap. Fault face: "memory.open", "memory.map": fail.
// Not modelled: registers and other memory behind /dev/mem, which are not there to be mapped; what reading it costs.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <span>

#include "twin/device_file.h"
#include "twin/faults/faults.h"

namespace twin {

class PoolMemory final : public DeviceFile {
 public:
  explicit PoolMemory(Faults& faults);
  ~PoolMemory() override;
  PoolMemory(const PoolMemory&) = delete;
  PoolMemory& operator=(const PoolMemory&) = delete;

  // --- bus ---
  int Open(int flags) override;
  int Map(size_t size, uint64_t offset, void** where) override;
  void Unmap(void* where, size_t size) override;

  // --- for the media units ---
  using Fill = std::function<void(std::span<uint16_t>)>;
  // From now on the memory at the physical address holds what `fill` makes of it. That is done when somebody maps a
  // part of it, since most of what is written there nobody looks at.
  void Put(uint32_t address, size_t samples, Fill fill);
  void Forget();  // the power is gone, and the mappings before it

 private:
  struct Pending {
    size_t samples;
    Fill fill;
  };
  uint8_t* Memory();
  void Make(uint64_t begin, uint64_t end);

  int file_ = -1;                        // the host's, in memory alone
  uint8_t* memory_ = nullptr;            // all of it, for our side
  std::map<uint64_t, Pending> pending_;  // by offset
  FaultPoint open_, map_;
};

}  // namespace twin
