#include "twin/devices/media/system_unit.h"

#include <algorithm>

namespace twin {

namespace {

constexpr HI_U32 kMostPools = 128;
constexpr HI_U32 kLeastAlign = 16, kMostAlign = 1024;

HI_S32 PoolError(Refusal reason) { return MediaError(MediaUnit::Pools, reason); }
HI_S32 SystemError(Refusal reason) { return MediaError(MediaUnit::System, reason); }

bool Same(const MPP_CHN_S& a, const MPP_CHN_S& b) {
  return a.enModId == b.enModId && a.s32DevId == b.s32DevId && a.s32ChnId == b.s32ChnId;
}

}  // namespace

HI_S32 SystemUnit::SetPools(const VB_CONF_S* conf) {
  if (conf == nullptr) return PoolError(Refusal::NullPointer);
  if (poolsUp_) return PoolError(Refusal::Busy);
  if (conf->u32MaxPoolCnt == 0 || conf->u32MaxPoolCnt > kMostPools) return PoolError(Refusal::BadParameter);
  const bool sized = std::all_of(std::begin(conf->astCommPool), std::end(conf->astCommPool),
                                 [](const VB_CPOOL_S& pool) { return pool.u32BlkCnt == 0 || pool.u32BlkSize != 0; });
  if (!sized) return PoolError(Refusal::BadParameter);
  pools_ = *conf;
  return HI_SUCCESS;
}

HI_S32 SystemUnit::InitPools() {
  if (poolsUp_) return HI_SUCCESS;
  if (!pools_) return PoolError(Refusal::NotConfigured);
  uint64_t bytes = 0;
  for (const VB_CPOOL_S& pool : pools_->astCommPool) bytes += uint64_t{pool.u32BlkSize} * pool.u32BlkCnt;
  if (!TakeMemory(bytes)) return PoolError(Refusal::NoMemory);
  poolBytes_ = bytes;
  poolsUp_ = true;
  blocks_.clear();
  uint32_t address = kMemoryBase;
  for (HI_U32 pool = 0; pool < VB_MAX_COMM_POOLS; pool++) {
    const VB_CPOOL_S& one = pools_->astCommPool[pool];
    for (HI_U32 i = 0; i < one.u32BlkCnt; i++, address += one.u32BlkSize) {
      blocks_.push_back({address, one.u32BlkSize, pool});
    }
  }
  return HI_SUCCESS;
}

HI_S32 SystemUnit::ExitPools() {
  if (ready_) return PoolError(Refusal::Busy);
  if (poolsUp_) GiveBack(poolBytes_);
  poolBytes_ = 0;
  poolsUp_ = false;
  blocks_.clear();
  pools_.reset();
  return HI_SUCCESS;
}

HI_S32 SystemUnit::SetConf(const MPP_SYS_CONF_S* conf) {
  if (conf == nullptr) return SystemError(Refusal::NullPointer);
  if (ready_) return SystemError(Refusal::NotPermitted);
  const HI_U32 align = conf->u32AlignWidth;
  if (align < kLeastAlign || align > kMostAlign || align % kLeastAlign != 0) return SystemError(Refusal::BadParameter);
  conf_ = *conf;
  return HI_SUCCESS;
}

HI_S32 SystemUnit::Init() {
  if (ready_) return HI_SUCCESS;
  if (!conf_) return SystemError(Refusal::NotConfigured);
  if (!poolsUp_) return SystemError(Refusal::SystemNotReady);
  ready_ = true;
  return HI_SUCCESS;
}

void SystemUnit::Exit() {
  ready_ = false;
  conf_.reset();
  bindings_.clear();
  for (Block& block : blocks_) block.unit = nullptr;
}

HI_S32 SystemUnit::Bind(const MPP_CHN_S& source, const MPP_CHN_S& destination) {
  const bool inputToVpss = source.enModId == HI_ID_VIU && destination.enModId == HI_ID_VPSS;
  const bool vpssToEncoder = source.enModId == HI_ID_VPSS && destination.enModId == HI_ID_VENC;
  if (!inputToVpss && !vpssToEncoder) return SystemError(Refusal::NotSupported);
  const bool taken = std::any_of(bindings_.begin(), bindings_.end(),
                                 [&](const Binding& binding) { return Same(binding.destination, destination); });
  if (taken) return SystemError(Refusal::Exists);
  bindings_.push_back({source, destination});
  return HI_SUCCESS;
}

HI_S32 SystemUnit::Unbind(const MPP_CHN_S& source, const MPP_CHN_S& destination) {
  const size_t gone = std::erase_if(bindings_, [&](const Binding& binding) {
    return Same(binding.source, source) && Same(binding.destination, destination);
  });
  return gone > 0 ? HI_SUCCESS : SystemError(Refusal::DoesNotExist);
}

bool SystemUnit::Bound(const MPP_CHN_S& source, const MPP_CHN_S& destination) const {
  return std::any_of(bindings_.begin(), bindings_.end(), [&](const Binding& binding) {
    return Same(binding.source, source) && Same(binding.destination, destination);
  });
}

bool SystemUnit::BoundFrom(const MPP_CHN_S& source) const {
  return std::any_of(bindings_.begin(), bindings_.end(), [&](const Binding& b) { return Same(b.source, source); });
}
bool SystemUnit::BoundTo(const MPP_CHN_S& destination) const {
  return std::any_of(bindings_.begin(), bindings_.end(),
                     [&](const Binding& b) { return Same(b.destination, destination); });
}

bool SystemUnit::Reserve(const void* unit, size_t count, uint64_t bytes) {
  EndReservation(unit);
  for (auto block = blocks_.rbegin(); block != blocks_.rend() && count > 0; block++) {
    if (block->taken || block->unit != nullptr || block->size < bytes) continue;
    block->unit = unit;
    count--;
  }
  if (count > 0) EndReservation(unit);
  return count == 0;
}

void SystemUnit::EndReservation(const void* unit) {
  for (Block& block : blocks_) block.unit = block.unit == unit ? nullptr : block.unit;
}

std::optional<SystemUnit::Block> SystemUnit::TakeBlock(uint64_t bytes) {
  const auto free = std::find_if(blocks_.begin(), blocks_.end(), [&](const Block& block) {
    return !block.taken && block.unit == nullptr && block.size >= bytes;
  });
  if (free == blocks_.end()) return std::nullopt;
  free->taken = true;
  return *free;
}

void SystemUnit::GiveBlock(uint32_t address) {
  for (Block& block : blocks_) block.taken = block.taken && block.address != address;
}

size_t SystemUnit::BlocksTaken() const {
  return static_cast<size_t>(std::count_if(blocks_.begin(), blocks_.end(), [](const Block& b) { return b.taken; }));
}

bool SystemUnit::TakeMemory(uint64_t bytes) {
  if (taken_ + bytes > kMemory) return false;
  taken_ += bytes;
  return true;
}

}  // namespace twin
