// What the kernel has taken for the disk and not yet brought there. The host's files always show what the application
// sees; this keeps what the stick itself would still have, and makes the host's files that when the power or the stick
// goes.
//
// Modelled, in sectors of 512 bytes: file data; folders, whose entries of 32 bytes lie in slots of a sector (an entry
// carries name, size and whether the file has a first cluster); the allocation table, 128 clusters a sector. A new
// entry is empty until its file is written back, after a renaming too, as the kernel's FAT has it. Written back: all by
// Synced; a file and then its entry 30 s after its first change, at the kernel's next look every 5 s; folders and table
// likewise; the data of all files when 16 MiB wait. At a loss each sector that waits is there, missing, torn (its first
// part is there) or garbage, by the board's seed.
// Not judged: clusters used a second time, names that straddle two sectors, the table's second copy, garbage that reads
// as names. A file whose chain ends early is short on the host, where a mount would report an error at that place. A
// folder that is renamed is written back at once.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "twin/kernel/kernel.h"

namespace twin {

// What becomes of a sector that waits, as shares of their sum.
struct SectorOdds {
  unsigned kept = 45, missing = 45, torn = 8, garbage = 2;
};

// What a loss has done.
struct DiskLoss {
  uint64_t kept = 0, missing = 0, torn = 0, garbage = 0;  // sectors
  // Files that had been written back and are harmed all the same: they share a sector of folder or table that became
  // garbage.
  std::vector<std::string> bystanders;
};

class WriteCache {
 public:
  // `directory` is the volume on the host. All paths are relative to it.
  WriteCache(Kernel& kernel, std::filesystem::path directory, uint64_t clusterBytes);
  ~WriteCache();
  WriteCache(const WriteCache&) = delete;
  WriteCache& operator=(const WriteCache&) = delete;

  // All that the host has now is on the stick: at a mount, and after a loss.
  void Begin(uint64_t clusterBytes);

  // Before the host's file is changed.
  void Writing(const std::string& path, uint64_t offset, uint64_t size);
  void Replacing(const std::string& path);  // removed, emptied or renamed over: what it was may come back
  // Afterwards.
  void Sized(const std::string& path, uint64_t bytes);  // also a file that has come into being
  void Renamed(const std::string& from, const std::string& to);
  void Removed(const std::string& path);
  void DirectoryMade(const std::string& path);

  void Synced();
  uint64_t WaitingBytes() const { return waitingSectors_ * kSector; }  // of data
  // Makes the host's files what the stick has. Call Begin before the cache is used again.
  DiskLoss Lose(const SectorOdds& odds);

 private:
  static constexpr uint64_t kSector = 512;
  static constexpr unsigned kSlotBytes = 32, kSlotsOfSector = kSector / kSlotBytes;  // of a folder
  static constexpr unsigned kLinkBytes = 4, kLinksOfSector = kSector / kLinkBytes;   // of the table
  enum class Fate : uint8_t { Kept, Missing, Torn, Garbage };
  struct Drawn {
    Fate fate = Fate::Kept;
    unsigned part = 0;  // of a torn sector: so many bytes are there
  };
  struct File {
    bool directory = false;
    std::string path;     // where it is on the host; empty: removed
    int descriptor = -1;  // keeps a removed one's content
    uint64_t size = 0;
    std::vector<uint32_t> clusters;
    size_t linked = 0;                                     // clusters at the chain's begin that the stick's table has
    std::vector<bool> waiting;                             // by sector
    std::map<uint64_t, std::array<char, kSector>> before;  // what the stick has of a sector that waits; none: nothing
    std::optional<Time> dirtySince;
  };
  struct Entry {
    std::string name = {};
    size_t file = 0;
    uint64_t size = 0;
    bool started = false;  // has its first cluster
    unsigned slots = 0;
  };
  using Entries = std::map<unsigned, Entry>;  // by first slot
  struct Folder {
    Entries now, stick;
    std::set<unsigned> waiting;  // sectors
    unsigned firstFree = 0;      // slot; none before it is free
  };
  struct Survivor {
    std::string path;
    uint64_t size = 0;  // as the entry has it
    bool started = false;
    uint64_t length = 0;  // what of it can be read
  };
  using Survivors = std::map<size_t, std::vector<Survivor>>;  // by file

  std::optional<size_t> Known(const std::string& path) const;
  size_t FileAt(const std::string& path);  // known, or on the stick as it lies on the host
  Folder& FolderOf(const std::string& path) { return folders_[std::filesystem::path(path).parent_path().string()]; }
  size_t AddFile(const std::string& path, bool directory);  // known from now on, empty, in no folder yet
  void CloseFiles();
  unsigned AddEntry(const std::string& path, Entry entry);
  void DropEntry(const std::string& path);
  void Touch(Folder& folder, unsigned slot);
  void TouchTable(size_t number, size_t fromCluster);
  void Dirty(size_t number);
  void Hold(File& file);
  void Extend(size_t number, uint64_t bytes);
  void WriteBack(size_t number);  // a file's data, and its size into its entry
  void WriteBackData();           // all files'
  void WriteBackFolders();
  void LetTimePass();

  Drawn Draw(const SectorOdds& odds, DiskLoss& loss, unsigned grain);
  Survivors DrawFolders(const SectorOdds& odds, DiskLoss& loss);
  uint64_t ChainBytes(const File& file, const std::map<uint32_t, Drawn>& table) const;
  bool OnStick(size_t number) const;
  void MakeHostFiles(size_t number, const std::vector<Survivor>& survivors, const SectorOdds& odds, DiskLoss& loss);
  void Damage(const std::filesystem::path& host, const File& file, uint64_t length,
              const std::map<uint64_t, Drawn>& sectors);

  Kernel& kernel_;
  std::filesystem::path directory_;
  uint64_t clusterBytes_;
  std::vector<File> files_;
  std::map<std::string, size_t> byPath_;
  std::map<std::string, Folder> folders_;
  std::set<size_t> dirty_;           // files
  std::set<size_t> changedChains_;   // files whose links wait
  std::set<uint32_t> waitingTable_;  // sectors
  uint32_t nextCluster_ = 2;
  uint64_t waitingSectors_ = 0;
  std::optional<Time> foldersSince_;
  Time clock_{0};  // of the change that is being made; never behind the kernel's last look
};

}  // namespace twin
