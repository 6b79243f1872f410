// The USB disk: one FAT volume whose files are the host files under one directory.
//
// Bus face: the file calls ask before they act, and tell what they did; the files themselves stay on the host. All
// paths here are relative to the volume's root ("DCIM/a.tmp"). World face: plug, pull, full, read-only, slow.
// Modelled: capacity in clusters, mount state, errors of a full, pulled or read-only disk, board time of reads and
// writes, writes that are torn, forgotten or cut off, what is lost of changes that were not synced (write_cache.h).
// A write takes as long as its bytes need to the stick, as where the kernel's cache is full; a sync the time of what
// waits: the longer of both cases each. Judged by the board: a switch-off by command with changes that no sync has
// brought to the disk. Not modelled: limits of the root directory, case folding of names.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <unordered_map>
#include <vector>

#include "twin/devices/usb_disk/write_cache.h"
#include "twin/faults/faults.h"
#include "twin/kernel/kernel.h"

namespace twin {

class UsbDisk {
 public:
  // `directory` is made if it does not exist; what is in it is the disk's content. Plugged, and not mounted.
  UsbDisk(Kernel& kernel, Faults& faults, std::filesystem::path directory, uint64_t capacityKBs);

  // --- bus: what the doors ask ---
  // What becomes of an operation. `error` is an errno value, 0 if it may go on. `forgotten`: report success and do
  // nothing. `takes` is the board time to Spend, whatever the outcome.
  struct Verdict {
    int error = 0;
    bool forgotten = false;
    Duration takes{0};
  };
  // `writing`: anything but reading. `creates`: the file does not exist and would come into being.
  Verdict BeforeOpen(const std::string& path, bool writing, bool creates);
  Verdict BeforeRead(const std::string& path, uint64_t size);
  Verdict BeforeRename(const std::string& from, const std::string& to);
  Verdict BeforeRemove(const std::string& path);  // a file or an empty directory
  Verdict BeforeMakeDirectory(const std::string& path);
  Verdict BeforeList(const std::string& path);  // opendir
  Verdict BeforeSync();                         // Synced when its time has passed
  Verdict BeforeStatfs();

  struct WriteVerdict {
    int error = 0;          // nothing is written, the call fails
    uint64_t stored = 0;    // the first so many bytes reach the disk
    uint64_t reported = 0;  // so many bytes the caller is told; less than asked if the disk became full on the way
    bool powerCut = false;  // after storing: CutPower, which does not return in a fiber
    Duration takes{0};      // board time to Spend, before a power cut too
  };
  WriteVerdict BeforeWrite(const std::string& path, uint64_t offset, uint64_t size);
  // The host's file is about to be removed, emptied or renamed over.
  void Replacing(const std::string& path) { cache_.Replacing(path); }
  void CutPower() { faults_.PowerCut(); }

  // What was done, so that the free space stays right without a look at the host's files.
  void SizeChanged(const std::string& path, uint64_t bytes);  // created, written, truncated
  void Renamed(const std::string& from, const std::string& to);
  void Removed(const std::string& path);
  void DirectoryMade(const std::string& path);
  void Synced();  // all that was changed is on the stick

  // `mount` and `umount` of the device: 0 or an errno value. Unmounting a pulled disk works.
  int Mount();
  int Unmount();  // brings all to the stick
  Duration SyncTime() const;
  bool Mounted() const { return mounted_; }
  // Something was changed since the last sync, unmounting, pull or loss of power: it lies in the device's memory alone.
  bool Unsynced() const { return unsynced_; }
  // `mkdosfs`: everything on the disk is gone. Wants a disk that is plugged and not mounted: 0, ENODEV, EBUSY, EROFS.
  int Format(uint64_t clusterKBs = 32);

  // For statfs, and for a person. Whole clusters.
  uint64_t ClusterKBs() const { return clusterKBs_; }
  uint64_t TotalClusters() const { return capacityKBs_ / clusterKBs_; }
  uint64_t FreeClusters() const;
  uint64_t TotalKBs() const { return TotalClusters() * clusterKBs_; }
  uint64_t FreeKBs() const { return FreeClusters() * clusterKBs_; }

  // --- world ---
  void Plug();  // the same disk again; counts what is on it
  void Pull();  // a mount that stands becomes stale: EIO until it is unmounted; what was not synced is left to chance
  void PowerLost();  // what was not synced is left to chance; nothing is mounted any more
  void SetOdds(const SectorOdds& odds) { odds_ = odds; }
  const DiskLoss& LastLoss() const { return lastLoss_; }
  bool Plugged() const { return plugged_; }
  void SetReadOnly(bool readOnly) { readOnly_ = readOnly; }  // the switch on the stick's side
  bool ReadOnly() const { return readOnly_; }
  // Of a stick that is not plugged in. One with less than stands on it is full.
  void SetCapacity(uint64_t capacityKBs) { capacityKBs_ = capacityKBs; }
  void FillTo(uint64_t freeKBs);  // other people's files leave so much free, rounded down to whole clusters
  void SetWriteSpeed(uint64_t bytesPerSecond);  // above 0; 25 MB/s at first
  void SetReadSpeed(uint64_t bytesPerSecond);   // above 0; 30 MB/s at first
  uint64_t WriteSpeed() const { return writeBytesPerSecond_; }
  uint64_t ReadSpeed() const { return readBytesPerSecond_; }
  const std::filesystem::path& Directory() const { return directory_; }
  // Finished shot files ("*.ori" and "*.dwo" in DCIM), sorted by name.
  std::vector<std::filesystem::path> Shots() const;
  // The one finished shot file; throws std::runtime_error if there is none or more than one.
  std::filesystem::path OnlyShot() const;
  uint64_t Writes() const { return writes_; }  // BeforeWrite calls so far

  // --- faults ---
  // "disk.open", "disk.read", "disk.rename", "disk.remove", "disk.mkdir", "disk.list", "disk.sync", "disk.statfs",
  // "disk.mount": Fail; Silence (rename, remove and mkdir report success and nothing happens); Delay; PowerCut, after
  // the operation. "disk.write": Fail; Silence (the write is forgotten); Value v (torn: v bytes are stored, all are
  // reported); Delay; PowerCut with value v (v bytes are stored, or half of them if v is negative, then the power
  // goes).

 private:
  bool Alive() const { return plugged_ && mounted_ && !stale_; }
  enum class Needs { Reading, Writing, ForgettableWriting };
  Verdict Judge(FaultPoint& point, Needs needs, Duration takes);
  uint64_t Clusters(uint64_t bytes) const;
  void Account(const std::string& path, uint64_t bytes);
  void Forget(const std::string& path);
  void Count();
  void Lose();

  Faults& faults_;
  std::filesystem::path directory_;
  uint64_t capacityKBs_;
  uint64_t clusterKBs_ = 32;
  uint64_t usedClusters_ = 0;                        // by files and directories that are there
  uint64_t foreignClusters_ = 0;                     // by FillTo
  std::unordered_map<std::string, uint64_t> sizes_;  // bytes by path; a directory counts as one cluster
  uint64_t writeBytesPerSecond_ = 25'000'000;
  uint64_t readBytesPerSecond_ = 30'000'000;
  uint64_t writes_ = 0;
  bool plugged_ = true;
  bool mounted_ = false;
  bool stale_ = false;
  bool readOnly_ = false;
  bool unsynced_ = false;
  WriteCache cache_;
  SectorOdds odds_;
  DiskLoss lastLoss_;
  FaultPoint open_, read_, write_, rename_, remove_, makeDirectory_, list_, sync_, statfs_, mount_;
};

}  // namespace twin
