#include "twin/devices/usb_disk/usb_disk.h"

#include <algorithm>
#include <stdexcept>

namespace twin {

namespace fs = std::filesystem;

namespace {

constexpr Duration kCallTime = 10us;      // a file call that moves no data
constexpr Duration kDirectoryTime = 2ms;  // one that changes a directory
constexpr Duration kSyncTime = 20ms;
constexpr uint64_t kKB = 1024;
constexpr std::string_view kShotExtensions[] = {".ori", ".dwo"};

Duration TransferTime(uint64_t bytes, uint64_t bytesPerSecond) {
  return Duration(static_cast<int64_t>(static_cast<double>(bytes) * 1e9 / static_cast<double>(bytesPerSecond)));
}

}  // namespace

UsbDisk::UsbDisk(Kernel& kernel, Faults& faults, fs::path directory, uint64_t capacityKBs)
    : faults_(faults),
      directory_(std::move(directory)),
      capacityKBs_(capacityKBs),
      cache_(kernel, directory_, clusterKBs_ * kKB),
      open_(faults, "disk.open", "opening a file: fail, delay, powercut"),
      read_(faults, "disk.read", "reading: fail, delay, powercut"),
      write_(faults, "disk.write",
             "one write: fail, silence (forgotten), value=N (torn after N bytes), delay, powercut[=N]"),
      rename_(faults, "disk.rename", "renaming: fail, silence, delay, powercut"),
      remove_(faults, "disk.remove", "removing: fail, silence, delay, powercut"),
      makeDirectory_(faults, "disk.mkdir", "making a directory: fail, silence, delay, powercut"),
      list_(faults, "disk.list", "opening a directory: fail, delay, powercut"),
      sync_(faults, "disk.sync", "syncing: fail, delay, powercut"),
      statfs_(faults, "disk.statfs", "asking for the free space: fail, delay, powercut"),
      mount_(faults, "disk.mount", "mounting: fail") {
  fs::create_directories(directory_);
  Count();
}

// --- what becomes of an operation ---

UsbDisk::Verdict UsbDisk::Judge(FaultPoint& point, Needs needs, Duration takes) {
  Verdict verdict{.takes = takes};
  if (!Alive()) {
    verdict.error = EIO;
    return verdict;
  }
  const auto effect = point.Ask();
  if (effect && effect->kind == Effect::Kind::Delay) verdict.takes += effect->delay;
  if (effect && effect->kind == Effect::Kind::Fail) {
    verdict.error = static_cast<int>(effect->value);
  } else if (needs != Needs::Reading && readOnly_) {
    verdict.error = EROFS;
  } else if (needs == Needs::ForgettableWriting && effect && effect->kind == Effect::Kind::Silence) {
    verdict.forgotten = true;
  } else if (needs != Needs::Reading) {
    unsynced_ = true;
  }
  return verdict;
}

UsbDisk::Verdict UsbDisk::BeforeOpen(const std::string& /*path*/, bool writing, bool creates) {
  // A new file costs a directory entry; its first cluster comes with its first byte.
  return Judge(open_, writing ? Needs::Writing : Needs::Reading, creates ? kDirectoryTime : kCallTime);
}

UsbDisk::Verdict UsbDisk::BeforeRead(const std::string& /*path*/, uint64_t size) {
  return Judge(read_, Needs::Reading, kCallTime + TransferTime(size, readBytesPerSecond_));
}

UsbDisk::Verdict UsbDisk::BeforeRename(const std::string& /*from*/, const std::string& /*to*/) {
  return Judge(rename_, Needs::ForgettableWriting, kDirectoryTime);
}

UsbDisk::Verdict UsbDisk::BeforeRemove(const std::string& /*path*/) {
  return Judge(remove_, Needs::ForgettableWriting, kDirectoryTime);
}

UsbDisk::Verdict UsbDisk::BeforeMakeDirectory(const std::string& /*path*/) {
  Verdict verdict = Judge(makeDirectory_, Needs::ForgettableWriting, kDirectoryTime);
  if (verdict.error == 0 && FreeClusters() == 0) verdict.error = ENOSPC;
  return verdict;
}

UsbDisk::Verdict UsbDisk::BeforeList(const std::string& /*path*/) { return Judge(list_, Needs::Reading, kCallTime); }

UsbDisk::Verdict UsbDisk::BeforeSync() { return Judge(sync_, Needs::Reading, SyncTime()); }

Duration UsbDisk::SyncTime() const { return kSyncTime + TransferTime(cache_.WaitingBytes(), writeBytesPerSecond_); }

UsbDisk::Verdict UsbDisk::BeforeStatfs() { return Judge(statfs_, Needs::Reading, kCallTime); }

UsbDisk::WriteVerdict UsbDisk::BeforeWrite(const std::string& path, uint64_t offset, uint64_t size) {
  writes_++;
  WriteVerdict verdict{.takes = kCallTime};
  if (!Alive()) {
    verdict.error = EIO;
    return verdict;
  }
  const auto effect = write_.Ask();
  if (effect && effect->kind == Effect::Kind::Fail) {
    verdict.error = static_cast<int>(effect->value);
    return verdict;
  }
  if (readOnly_) {
    verdict.error = EROFS;
    return verdict;
  }
  const auto found = sizes_.find(path);
  const uint64_t owned = Clusters(found == sizes_.end() ? 0 : found->second);
  const uint64_t room = (owned + FreeClusters()) * clusterKBs_ * kKB;
  if (size > 0 && offset >= room) {
    verdict.error = ENOSPC;
    return verdict;
  }
  unsynced_ = true;
  verdict.reported = std::min(size, room - std::min(offset, room));
  verdict.stored = verdict.reported;
  if (effect) {
    const auto torn = static_cast<uint64_t>(std::max<int64_t>(effect->value, 0));
    switch (effect->kind) {
      case Effect::Kind::Silence: verdict.stored = 0; break;
      case Effect::Kind::Value: verdict.stored = std::min(verdict.stored, torn); break;
      case Effect::Kind::PowerCut:
        verdict.stored = effect->value < 0 ? verdict.stored / 2 : std::min(verdict.stored, torn);
        verdict.powerCut = true;
        break;
      case Effect::Kind::Delay: verdict.takes += effect->delay; break;
      case Effect::Kind::Fail: break;
    }
  }
  verdict.takes += TransferTime(verdict.stored, writeBytesPerSecond_);
  cache_.Writing(path, offset, verdict.stored);
  return verdict;
}

// --- the account of clusters ---

uint64_t UsbDisk::Clusters(uint64_t bytes) const {
  const uint64_t cluster = clusterKBs_ * kKB;
  return (bytes + cluster - 1) / cluster;
}

uint64_t UsbDisk::FreeClusters() const {
  const uint64_t used = usedClusters_ + foreignClusters_;
  return used < TotalClusters() ? TotalClusters() - used : 0;
}

void UsbDisk::Account(const std::string& path, uint64_t bytes) {
  uint64_t& size = sizes_[path];
  usedClusters_ += Clusters(bytes) - Clusters(size);
  size = bytes;
}

void UsbDisk::SizeChanged(const std::string& path, uint64_t bytes) {
  Account(path, bytes);
  cache_.Sized(path, bytes);
}

void UsbDisk::Synced() {
  cache_.Synced();
  unsynced_ = false;
}

void UsbDisk::Renamed(const std::string& from, const std::string& to) {
  if (from == to) return;
  cache_.Renamed(from, to);
  Forget(to);
  const auto found = sizes_.find(from);
  if (found == sizes_.end()) return;
  const uint64_t size = found->second;
  sizes_.erase(found);
  sizes_[to] = size;
  // What lies in a directory moves with it.
  const std::string below = from + '/';
  std::vector<std::string> moving;
  for (const auto& [path, bytes] : sizes_) {
    if (path.starts_with(below)) moving.push_back(path);
  }
  for (const std::string& path : moving) {
    auto node = sizes_.extract(path);
    node.key() = to + path.substr(from.size());
    sizes_.insert(std::move(node));
  }
}

void UsbDisk::Removed(const std::string& path) {
  cache_.Removed(path);
  Forget(path);
}

void UsbDisk::Forget(const std::string& path) {
  const auto found = sizes_.find(path);
  if (found == sizes_.end()) return;
  usedClusters_ -= Clusters(found->second);
  sizes_.erase(found);
}

void UsbDisk::DirectoryMade(const std::string& path) {
  cache_.DirectoryMade(path);
  Account(path, 1);
}

void UsbDisk::Count() {
  sizes_.clear();
  usedClusters_ = 0;
  for (const auto& entry : fs::recursive_directory_iterator(directory_)) {
    const std::string path = entry.path().lexically_relative(directory_).string();
    if (entry.is_directory()) {
      Account(path, 1);
    } else if (entry.is_regular_file()) {
      Account(path, entry.file_size());
    }
  }
}

// --- the volume ---

int UsbDisk::Mount() {
  if (const int error = mount_.AskFailure()) return error;
  if (!plugged_) return ENODEV;
  if (mounted_) return EBUSY;
  mounted_ = true;
  stale_ = false;
  cache_.Begin(clusterKBs_ * kKB);
  return 0;
}

int UsbDisk::Unmount() {
  if (!mounted_) return EINVAL;
  if (Alive()) cache_.Synced();
  mounted_ = false;
  unsynced_ = false;
  stale_ = false;
  return 0;
}

int UsbDisk::Format(uint64_t clusterKBs) {
  if (!plugged_) return ENODEV;
  if (mounted_) return EBUSY;
  if (readOnly_) return EROFS;
  if (clusterKBs == 0) return EINVAL;
  for (const auto& entry : fs::directory_iterator(directory_)) fs::remove_all(entry.path());
  foreignClusters_ = 0;
  clusterKBs_ = clusterKBs;
  Count();
  return 0;
}

// --- world ---

void UsbDisk::Plug() {
  plugged_ = true;
  Count();
}

void UsbDisk::Pull() {
  if (Alive()) Lose();
  plugged_ = false;
  stale_ = mounted_;
}

void UsbDisk::PowerLost() {
  if (Alive()) Lose();
  mounted_ = stale_ = false;
}

void UsbDisk::Lose() {
  lastLoss_ = cache_.Lose(odds_);
  cache_.Begin(clusterKBs_ * kKB);
  unsynced_ = false;
  Count();
}

void UsbDisk::FillTo(uint64_t freeKBs) {
  const uint64_t available = TotalClusters() - std::min(TotalClusters(), usedClusters_);
  foreignClusters_ = available - std::min(available, freeKBs / clusterKBs_);
}

void UsbDisk::SetWriteSpeed(uint64_t bytesPerSecond) {
  if (bytesPerSecond == 0) throw std::invalid_argument("a disk writes at more than 0 bytes per second");
  writeBytesPerSecond_ = bytesPerSecond;
}

void UsbDisk::SetReadSpeed(uint64_t bytesPerSecond) {
  if (bytesPerSecond == 0) throw std::invalid_argument("a disk reads at more than 0 bytes per second");
  readBytesPerSecond_ = bytesPerSecond;
}

std::vector<fs::path> UsbDisk::Shots() const {
  std::vector<fs::path> shots;
  std::error_code none;
  for (const auto& entry : fs::directory_iterator(directory_ / "DCIM", none)) {
    if (std::ranges::count(kShotExtensions, entry.path().extension().string()) > 0) shots.push_back(entry.path());
  }
  std::sort(shots.begin(), shots.end());
  return shots;
}

fs::path UsbDisk::OnlyShot() const {
  auto shots = Shots();
  if (shots.size() != 1) throw std::runtime_error("there are " + std::to_string(shots.size()) + " shots on the disk");
  return shots.front();
}

}  // namespace twin
