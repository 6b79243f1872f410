#include "twin/devices/usb_disk/write_cache.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>

namespace twin {

namespace fs = std::filesystem;

namespace {

constexpr Duration kLook = 5s;
constexpr Duration kOld = 30s;
constexpr uint64_t kMostWaiting = 16 * 1024 * 1024;  // bytes of data
constexpr unsigned kLettersOfSlot = 13;

unsigned SlotsOf(const std::string& name) {
  return 1 + static_cast<unsigned>(name.size() + kLettersOfSlot - 1) / kLettersOfSlot;
}

}  // namespace

WriteCache::WriteCache(Kernel& kernel, fs::path directory, uint64_t clusterBytes)
    : kernel_(kernel), directory_(std::move(directory)), clusterBytes_(clusterBytes) {}

WriteCache::~WriteCache() { CloseFiles(); }

void WriteCache::CloseFiles() {
  for (const File& file : files_) {
    if (file.descriptor >= 0) close(file.descriptor);
  }
}

void WriteCache::Begin(uint64_t clusterBytes) {
  CloseFiles();
  clusterBytes_ = clusterBytes;
  files_.clear();
  byPath_.clear();
  folders_.clear();
  dirty_.clear();
  changedChains_.clear();
  waitingTable_.clear();
  nextCluster_ = 2;
  waitingSectors_ = 0;
  foldersSince_.reset();
  std::vector<std::string> paths;
  std::error_code none;
  for (const auto& entry : fs::recursive_directory_iterator(directory_, none)) {
    paths.push_back(entry.path().lexically_relative(directory_).string());
  }
  std::sort(paths.begin(), paths.end());
  for (const std::string& path : paths) FileAt(path);
}

// --- what is where ---

std::optional<size_t> WriteCache::Known(const std::string& path) const {
  const auto found = byPath_.find(path);
  return found == byPath_.end() ? std::nullopt : std::optional(found->second);
}

size_t WriteCache::FileAt(const std::string& path) {
  if (const auto known = Known(path)) return *known;
  std::error_code error;
  const bool directory = fs::is_directory(directory_ / path, error);
  const uint64_t size = directory ? 0 : fs::file_size(directory_ / path, error);
  const size_t number = AddFile(path, directory);
  File& file = files_[number];
  if (!error) Extend(number, size);
  file.linked = file.clusters.size();
  file.waiting.assign(file.waiting.size(), false);
  const unsigned slot = AddEntry(path, {.file = number, .size = size, .started = true});
  Folder& folder = FolderOf(path);
  folder.stick[slot] = folder.now[slot];
  return number;
}

size_t WriteCache::AddFile(const std::string& path, bool directory) {
  const size_t number = files_.size();
  File& file = files_.emplace_back();
  file.directory = directory;
  file.path = path;
  byPath_[path] = number;
  return number;
}

// Takes the first room that is free. Returns the first slot.
unsigned WriteCache::AddEntry(const std::string& path, Entry entry) {
  Folder& folder = FolderOf(path);
  entry.name = fs::path(path).filename().string();
  entry.slots = std::min(kSlotsOfSector, SlotsOf(entry.name));
  unsigned at = folder.firstFree;
  bool skipped = false;
  for (;;) {
    if (at % kSlotsOfSector + entry.slots > kSlotsOfSector) at += kSlotsOfSector - at % kSlotsOfSector;
    auto next = folder.now.lower_bound(at);
    if (next != folder.now.begin()) {
      const auto previous = std::prev(next);
      if (previous->first + previous->second.slots > at) next = previous;
    }
    if (next == folder.now.end() || next->first >= at + entry.slots) break;
    at = next->first + next->second.slots;
    skipped = true;
  }
  if (!skipped) folder.firstFree = at + entry.slots;
  folder.now[at] = std::move(entry);
  return at;
}

void WriteCache::DropEntry(const std::string& path) {
  Folder& folder = FolderOf(path);
  const std::string name = fs::path(path).filename().string();
  const auto found =
      std::find_if(folder.now.begin(), folder.now.end(), [&](const auto& e) { return e.second.name == name; });
  if (found == folder.now.end()) return;
  Touch(folder, found->first);
  folder.firstFree = std::min(folder.firstFree, found->first);
  folder.now.erase(found);
}

// --- changes ---

void WriteCache::Touch(Folder& folder, unsigned slot) {
  folder.waiting.insert(slot / kSlotsOfSector);
  if (!foldersSince_) foldersSince_ = clock_;
}

void WriteCache::TouchTable(size_t number, size_t fromCluster) {
  const File& file = files_[number];
  for (size_t i = fromCluster; i < file.clusters.size(); i++) waitingTable_.insert(file.clusters[i] / kLinksOfSector);
  changedChains_.insert(number);
  if (!foldersSince_) foldersSince_ = clock_;
}

void WriteCache::Dirty(size_t number) {
  File& file = files_[number];
  if (!file.dirtySince) file.dirtySince = clock_;
  dirty_.insert(number);
}

void WriteCache::Hold(File& file) {
  if (file.descriptor < 0 && !file.path.empty() && !file.directory) {
    file.descriptor = open((directory_ / file.path).c_str(), O_RDONLY | O_CLOEXEC);
  }
}

void WriteCache::Extend(size_t number, uint64_t bytes) {
  File& file = files_[number];
  file.size = bytes;
  while (file.clusters.size() * clusterBytes_ < bytes) file.clusters.push_back(nextCluster_++);
  if (file.waiting.size() * kSector < bytes) file.waiting.resize((bytes + kSector - 1) / kSector);
}

void WriteCache::Writing(const std::string& path, uint64_t offset, uint64_t size) {
  LetTimePass();
  if (size == 0) return;
  const auto known = Known(path);
  if (!known && !fs::exists(directory_ / path)) return;  // nobody's file: a test of the rules alone
  const size_t number = FileAt(path);
  File& file = files_[number];
  const uint64_t last = (offset + size - 1) / kSector;
  if (file.waiting.size() <= last) file.waiting.resize(last + 1);
  for (uint64_t sector = offset / kSector; sector <= last; sector++) {
    if (file.waiting[sector]) continue;
    file.waiting[sector] = true;
    waitingSectors_++;
    if (sector * kSector >= file.size) continue;
    if (file.descriptor < 0) Hold(file);
    auto& old = file.before[sector];
    old.fill(0);
    if (pread(file.descriptor, old.data(), kSector, static_cast<off_t>(sector * kSector)) < 0) old.fill(0);
  }
  Dirty(number);
  if (WaitingBytes() > kMostWaiting) WriteBackData();
}

void WriteCache::Replacing(const std::string& path) {
  LetTimePass();
  if (Known(path) || fs::exists(directory_ / path)) Hold(files_[FileAt(path)]);
}

void WriteCache::Sized(const std::string& path, uint64_t bytes) {
  LetTimePass();
  if (!Known(path)) {
    const size_t number = AddFile(path, false);
    Touch(FolderOf(path), AddEntry(path, {.file = number}));
    Dirty(number);
  }
  const size_t number = *Known(path);
  if (bytes == files_[number].size) return;
  const size_t had = files_[number].clusters.size();
  Extend(number, bytes);
  if (files_[number].clusters.size() > had) TouchTable(number, had == 0 ? 0 : had - 1);
  Dirty(number);
}

void WriteCache::Renamed(const std::string& from, const std::string& to) {
  LetTimePass();
  const auto known = Known(from);
  if (!known || from == to) return;
  if (files_[*known].directory) {
    Synced();
    Begin(clusterBytes_);
    return;
  }
  if (Known(to)) Removed(to);
  files_[*known].path = to;
  byPath_.erase(from);
  byPath_[to] = *known;
  Touch(FolderOf(to), AddEntry(to, {.file = *known}));
  DropEntry(from);
  Dirty(*known);
}

void WriteCache::Removed(const std::string& path) {
  LetTimePass();
  const auto known = Known(path);
  if (!known) return;
  DropEntry(path);
  TouchTable(*known, 0);
  File& file = files_[*known];
  if (file.dirtySince) {  // what it still had to write is never written
    waitingSectors_ -= static_cast<uint64_t>(std::count(file.waiting.begin(), file.waiting.end(), true));
    file.dirtySince.reset();
    dirty_.erase(*known);
  }
  file.path.clear();
  byPath_.erase(path);
}

void WriteCache::DirectoryMade(const std::string& path) {
  LetTimePass();
  if (Known(path)) return;
  const size_t number = AddFile(path, true);
  Touch(FolderOf(path), AddEntry(path, {.file = number, .started = true}));
}

// --- the way to the stick ---

void WriteCache::WriteBack(size_t number) {
  File& file = files_[number];
  waitingSectors_ -= static_cast<uint64_t>(std::count(file.waiting.begin(), file.waiting.end(), true));
  file.waiting.assign(file.waiting.size(), false);
  file.before.clear();
  file.dirtySince.reset();
  dirty_.erase(number);
  Folder& folder = FolderOf(file.path);
  for (auto& [slot, entry] : folder.now) {
    if (entry.file != number || (entry.size == file.size && entry.started == (file.size > 0))) continue;
    entry.size = file.size;
    entry.started = file.size > 0;
    Touch(folder, slot);
  }
}

void WriteCache::WriteBackData() {
  const std::set<size_t> all = dirty_;
  for (const size_t number : all) WriteBack(number);
}

void WriteCache::WriteBackFolders() {
  for (auto& [path, folder] : folders_) {
    for (const unsigned sector : folder.waiting) {
      const unsigned begin = sector * kSlotsOfSector, end = begin + kSlotsOfSector;
      folder.stick.erase(folder.stick.lower_bound(begin), folder.stick.lower_bound(end));
      folder.stick.insert(folder.now.lower_bound(begin), folder.now.lower_bound(end));
    }
    folder.waiting.clear();
  }
  for (const size_t number : changedChains_) {
    File& file = files_[number];
    file.linked = file.clusters.size();
    if (file.path.empty()) {
      if (file.descriptor >= 0) close(file.descriptor);
      file = {};
    }
  }
  changedChains_.clear();
  waitingTable_.clear();
  foldersSince_.reset();
}

void WriteCache::Synced() {
  LetTimePass();
  WriteBackData();
  WriteBackFolders();
}

// The kernel's looks that are past by now.
void WriteCache::LetTimePass() {
  const Time now = kernel_.Now();
  for (Time look = clock_ - clock_ % kLook + kLook; look <= now && (!dirty_.empty() || foldersSince_); look += kLook) {
    clock_ = look;
    const std::set<size_t> all = dirty_;
    for (const size_t number : all) {
      if (*files_[number].dirtySince + kOld <= look) WriteBack(number);
    }
    if (foldersSince_ && *foldersSince_ + kOld <= look) WriteBackFolders();
  }
  clock_ = now;
}

}  // namespace twin
