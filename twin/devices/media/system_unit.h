// System and buffer pools: what must be up before any other unit, the memory that all share, and the bindings.
// Judged: order, alignment, number of pools, and whether blocks are large enough and enough of them for the units that
// keep some: three for each channel of the input and of the VPSS, which is chosen. Not judged: blocks that are larger
// or more than anybody needs.
#pragma once

#include <optional>
#include <vector>

#include "sdk/hi_mpi_sys.h"
#include "sdk/hi_mpi_vb.h"
#include "twin/devices/media/media_error.h"

namespace twin {

// What a picture of 4:2:0 needs.
constexpr uint64_t BytesOf420(const SIZE_S& size) { return uint64_t{size.u32Width} * size.u32Height * 3 / 2; }

class SystemUnit {
 public:
  // The media units' share of the board's memory, in bytes.
  static constexpr uint64_t kMemory = 256ull << 20;
  static constexpr uint32_t kMemoryBase = 0x90000000;  // its physical address; the pools come first

  HI_S32 SetPools(const VB_CONF_S* conf);
  HI_S32 InitPools();
  HI_S32 ExitPools();
  HI_S32 SetConf(const MPP_SYS_CONF_S* conf);
  HI_S32 Init();
  void Exit();  // the bindings go with it
  bool Ready() const { return ready_; }
  bool PoolsUp() const { return poolsUp_; }

  // One source may lead to several destinations; a destination has one source.
  HI_S32 Bind(const MPP_CHN_S& source, const MPP_CHN_S& destination);
  HI_S32 Unbind(const MPP_CHN_S& source, const MPP_CHN_S& destination);
  bool Bound(const MPP_CHN_S& source, const MPP_CHN_S& destination) const;
  bool BoundFrom(const MPP_CHN_S& source) const;
  bool BoundTo(const MPP_CHN_S& destination) const;

  // The first free block of a pool whose blocks are large enough; none if all are taken.
  struct Block {
    uint32_t address;  // physical
    uint32_t size;     // bytes
    HI_U32 pool;
    bool taken = false;
    const void* unit = nullptr;  // that keeps it
  };
  std::optional<Block> TakeBlock(uint64_t bytes);
  void GiveBlock(uint32_t address);
  size_t BlocksTaken() const;

  // Blocks that a unit keeps for the pictures on their way through it: `count` of them, from the end. False if there
  // are not so many left that are large enough.
  bool Reserve(const void* unit, size_t count, uint64_t bytes);
  void EndReservation(const void* unit);

  // For units that take memory beside the pools. False if there is not so much left.
  bool TakeMemory(uint64_t bytes);
  void GiveBack(uint64_t bytes) { taken_ -= bytes; }

  void Reset() { *this = SystemUnit{}; }

 private:
  struct Binding {
    MPP_CHN_S source, destination;
  };

  std::optional<VB_CONF_S> pools_;
  std::optional<MPP_SYS_CONF_S> conf_;
  bool poolsUp_ = false;
  bool ready_ = false;
  uint64_t poolBytes_ = 0;
  std::vector<Block> blocks_;  // in the order of their addresses, without gaps
  uint64_t taken_ = 0;
  std::vector<Binding> bindings_;
};

}  // namespace twin
