// What the stick has when the power or the stick itself goes: chance decides on each sector that still waited.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>

#include "twin/devices/usb_disk/write_cache.h"

namespace twin {

namespace fs = std::filesystem;

// A sector is torn at a multiple of `grain` bytes.
WriteCache::Drawn WriteCache::Draw(const SectorOdds& odds, DiskLoss& loss, unsigned grain) {
  uint64_t at = (kernel_.Random() >> 16) % (odds.kept + odds.missing + odds.torn + odds.garbage);
  if (at < odds.kept) {
    loss.kept++;
    return {Fate::Kept, 0};
  }
  if ((at -= odds.kept) < odds.missing) {
    loss.missing++;
    return {Fate::Missing, 0};
  }
  if (at - odds.missing < odds.torn) {
    loss.torn++;
    const uint64_t parts = kSector / grain - 1;
    return {Fate::Torn, grain * (1 + static_cast<unsigned>((kernel_.Random() >> 16) % parts))};
  }
  loss.garbage++;
  return {Fate::Garbage, 0};
}

WriteCache::Survivors WriteCache::DrawFolders(const SectorOdds& odds, DiskLoss& loss) {
  Survivors survivors;
  for (const auto& [path, folder] : folders_) {
    const auto survive = [&survivors, here = fs::path(path)](const Entry& entry) {
      survivors[entry.file].push_back(
          {.path = (here / entry.name).string(), .size = entry.size, .started = entry.started});
    };
    std::map<unsigned, Drawn> fates;
    for (const unsigned sector : folder.waiting) fates[sector] = Draw(odds, loss, kSlotBytes);
    // From this slot of its sector on, an entry is as it was before.
    const auto boundary = [&fates](unsigned slot) -> std::optional<unsigned> {
      const auto drawn = fates.find(slot / kSlotsOfSector);
      if (drawn == fates.end() || drawn->second.fate == Fate::Kept) return kSlotsOfSector;
      if (drawn->second.fate == Fate::Missing) return 0;
      if (drawn->second.fate == Fate::Torn) return drawn->second.part / kSlotBytes;
      return std::nullopt;
    };
    for (const auto& [slot, entry] : folder.now) {
      const auto end = boundary(slot);
      if (end && slot % kSlotsOfSector + entry.slots <= *end) survive(entry);
    }
    for (const auto& [slot, entry] : folder.stick) {
      const auto end = boundary(slot);
      if (end && slot % kSlotsOfSector >= *end) survive(entry);
    }
  }
  return survivors;
}

// So much of the file can be reached from its first cluster.
uint64_t WriteCache::ChainBytes(const File& file, const std::map<uint32_t, Drawn>& table) const {
  uint64_t bytes = 0;
  for (size_t i = 0; i < file.clusters.size(); i++) {
    bytes += clusterBytes_;
    const uint32_t cluster = file.clusters[i];
    const bool now = !file.path.empty(),
               onStick = i + 1 < file.linked || (i + 1 == file.linked && i + 1 == file.clusters.size());
    const auto drawn = table.find(cluster / kLinksOfSector);
    bool linked = now;
    if (drawn != table.end()) {
      switch (drawn->second.fate) {
        case Fate::Kept: linked = now; break;
        case Fate::Missing: linked = onStick; break;
        case Fate::Torn: linked = cluster % kLinksOfSector < drawn->second.part / kLinkBytes ? now : onStick; break;
        case Fate::Garbage: linked = false; break;
      }
    }
    if (!linked) break;
  }
  return bytes;
}

// Nothing of the file waits.
bool WriteCache::OnStick(size_t number) const {
  const File& file = files_[number];
  if (file.path.empty() || file.directory || file.dirtySince || file.linked != file.clusters.size()) return false;
  const auto folder = folders_.find(fs::path(file.path).parent_path().string());
  if (folder == folders_.end()) return false;
  const std::string name = fs::path(file.path).filename().string();
  return std::ranges::any_of(folder->second.stick, [&](const auto& slot) {
    const Entry& entry = slot.second;
    return entry.file == number && entry.name == name && entry.size == file.size;
  });
}

void WriteCache::Damage(const fs::path& host, const File& file, uint64_t length,
                        const std::map<uint64_t, Drawn>& sectors) {
  const int descriptor = open(host.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  if (descriptor < 0) return;
  if (ftruncate(descriptor, static_cast<off_t>(length)) != 0) length = 0;
  for (const auto& [sector, drawn] : sectors) {
    const uint64_t at = sector * kSector;
    if (at >= length || drawn.fate == Fate::Kept) continue;
    std::array<char, kSector> bytes{};
    const auto before = file.before.find(sector);
    if (drawn.fate == Fate::Garbage) {
      for (char& byte : bytes) byte = static_cast<char>(kernel_.Random() >> 16);
    } else if (before != file.before.end()) {
      bytes = before->second;
    }
    const size_t skipped = drawn.part, end = std::min(kSector, length - at);
    if (skipped >= end) continue;
    if (pwrite(descriptor, bytes.data() + skipped, end - skipped, static_cast<off_t>(at + skipped)) < 0) break;
  }
  close(descriptor);
}

// The host's file lies aside under the file's number, if it had a name.
void WriteCache::MakeHostFiles(size_t number, const std::vector<Survivor>& survivors, const SectorOdds& odds,
                               DiskLoss& loss) {
  const File& file = files_[number];
  std::map<uint64_t, Drawn> sectors;
  for (uint64_t sector = 0; sector < file.waiting.size(); sector++) {
    if (file.waiting[sector]) sectors[sector] = Draw(odds, loss, 1);
  }
  std::error_code none;
  for (const Survivor& survivor : survivors) {
    const fs::path host = directory_ / survivor.path;
    if (!fs::is_directory(host.parent_path(), none)) continue;
    fs::copy_file("/proc/self/fd/" + std::to_string(file.descriptor), host, fs::copy_options::overwrite_existing, none);
    Damage(host, file, survivor.length, sectors);
  }
}

DiskLoss WriteCache::Lose(const SectorOdds& odds) {
  LetTimePass();
  DiskLoss loss;
  std::map<uint32_t, Drawn> table;
  for (const uint32_t sector : waitingTable_) table[sector] = Draw(odds, loss, kLinkBytes);
  Survivors survivors = DrawFolders(odds, loss);

  std::error_code none;
  std::vector<size_t> changed;
  for (size_t number = 0; number < files_.size(); number++) {
    File& file = files_[number];
    std::vector<Survivor>& left = survivors[number];
    if (file.directory) {
      if (left.empty() && !file.path.empty()) fs::remove_all(directory_ / file.path, none);
      for (const Survivor& survivor : left) fs::create_directories(directory_ / survivor.path, none);
      continue;
    }
    for (Survivor& survivor : left) {
      survivor.length = survivor.started ? std::min(survivor.size, ChainBytes(file, table)) : 0;
    }
    const bool same = left.size() == 1 && left[0].path == file.path && left[0].length == file.size;
    const bool waits = std::find(file.waiting.begin(), file.waiting.end(), true) != file.waiting.end();
    if (same && !waits) continue;
    if (!same && OnStick(number)) loss.bystanders.push_back(file.path);
    Hold(file);
    changed.push_back(number);
  }
  for (const size_t number : changed) {
    if (!files_[number].path.empty()) fs::remove(directory_ / files_[number].path, none);
  }
  for (const size_t number : changed) {
    if (files_[number].descriptor >= 0) MakeHostFiles(number, survivors[number], odds, loss);
  }
  return loss;
}

}  // namespace twin
