// Doors for files by name: what the application does to the board's file systems without a stream.
#include <dirent.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "twin/board.h"
#include "twin/transcript/transcript.h"

namespace {

namespace fs = std::filesystem;
using twin::Board;
using twin::BoardPath;
using twin::UsbDisk;
using namespace std::chrono_literals;

constexpr twin::Duration kFlashLookUp = 100us;
constexpr long kVfatMagic = 0x4D44;

// Lets the disk's verdict take its time and effect. True if the call may go on; else errno is set, or the call is to
// report success for nothing.
bool Allowed(const UsbDisk::Verdict& verdict, int& result) {
  Board::Current().kernel.Spend(verdict.takes);
  result = 0;
  if (verdict.error != 0) {
    errno = verdict.error;
    result = -1;
  }
  return verdict.error == 0 && !verdict.forgotten;
}

// Passes a call's result on.
int Noted(const std::string& call, int result) {
  if (twin::Transcript::Hears("file")) twin::Transcript::Note("file", call + (result == 0 ? "" : " failed"));
  return result;
}

int Access(const char* path, int mode) {
  Board& board = Board::Current();
  const BoardPath where = board.paths.Resolve(path);
  if (where.onDisk) {
    int result = 0;
    // Asking for write permission is asking whether the volume could be written: a read-only one says no.
    if (!Allowed(board.disk.BeforeOpen(where.volume, (mode & W_OK) != 0, false), result)) return result;
  } else {
    board.kernel.Spend(kFlashLookUp);
  }
  return ::access(where.host.c_str(), mode);
}

int MakeDirectory(const char* path, mode_t mode) {
  Board& board = Board::Current();
  const BoardPath where = board.paths.Resolve(path);
  int result = 0;
  if (where.onDisk && !Allowed(board.disk.BeforeMakeDirectory(where.volume), result)) return result;
  if (!where.onDisk) board.kernel.Spend(kFlashLookUp);
  result = ::mkdir(where.host.c_str(), mode);
  if (result == 0 && where.onDisk) board.disk.DirectoryMade(where.volume);
  return result;
}

int Rename(const char* from, const char* to) {
  Board& board = Board::Current();
  const BoardPath source = board.paths.Resolve(from), target = board.paths.Resolve(to);
  if (source.onDisk != target.onDisk) {
    errno = EXDEV;
    return -1;
  }
  int result = 0;
  if (source.onDisk && !Allowed(board.disk.BeforeRename(source.volume, target.volume), result)) return result;
  if (!source.onDisk) board.kernel.Spend(kFlashLookUp);
  if (source.onDisk) board.disk.Replacing(target.volume);
  result = ::rename(source.host.c_str(), target.host.c_str());
  if (result == 0 && source.onDisk) board.disk.Renamed(source.volume, target.volume);
  return result;
}

int Remove(const char* path, bool directories) {
  Board& board = Board::Current();
  const BoardPath where = board.paths.Resolve(path);
  int result = 0;
  if (where.onDisk && !Allowed(board.disk.BeforeRemove(where.volume), result)) return result;
  if (!where.onDisk) board.kernel.Spend(kFlashLookUp);
  if (where.onDisk) board.disk.Replacing(where.volume);
  result = directories ? ::remove(where.host.c_str()) : ::unlink(where.host.c_str());
  if (result == 0 && where.onDisk) board.disk.Removed(where.volume);
  return result;
}

// A directory being read. The device's FAT gives names in the order of their slots, which is mostly the order in
// which they were made; ours gives them sorted, so that two runs agree.
struct Listing {
  std::vector<std::string> names;
  size_t next = 0;
  dirent entry{};
};

}  // namespace

extern "C" {

int twin_access(const char* path, int mode) {
  return Noted("access " + twin::Quoted(path) + " " + std::to_string(mode), Access(path, mode));
}

int twin_mkdir(const char* path, mode_t mode) {
  char octal[16];
  snprintf(octal, sizeof octal, "%o", mode);
  return Noted("mkdir " + twin::Quoted(path) + " " + octal, MakeDirectory(path, mode));
}

int twin_rename(const char* from, const char* to) {
  return Noted("rename " + twin::Quoted(from) + " " + twin::Quoted(to), Rename(from, to));
}

int twin_remove(const char* path) { return Noted("remove " + twin::Quoted(path), Remove(path, true)); }
int twin_unlink(const char* path) { return Noted("remove " + twin::Quoted(path), Remove(path, false)); }

int twin_stat(const char* path, struct stat* status) {
  Board& board = Board::Current();
  const BoardPath where = board.paths.Resolve(path);
  int result = 0;
  if (where.onDisk && !Allowed(board.disk.BeforeOpen(where.volume, false, false), result)) return result;
  if (!where.onDisk) board.kernel.Spend(kFlashLookUp);
  return ::stat(where.host.c_str(), status);
}

int twin_statfs(const char* path, struct statfs* status) {
  Board& board = Board::Current();
  const BoardPath where = board.paths.Resolve(path);
  *status = {};
  if (where.onDisk) {
    int result = 0;
    if (!Allowed(board.disk.BeforeStatfs(), result)) return result;
    status->f_type = kVfatMagic;
    status->f_bsize = static_cast<decltype(status->f_bsize)>(board.disk.ClusterKBs() * 1024);
    status->f_blocks = board.disk.TotalClusters();
    status->f_bfree = status->f_bavail = board.disk.FreeClusters();
  } else {  // the flash: 64 MB, a third of it free
    status->f_bsize = 4096;
    status->f_blocks = 16384;
    status->f_bfree = status->f_bavail = 5461;
  }
  return 0;
}

void twin_sync() { Noted("sync", Board::Current().SyncDisk() ? 0 : -1); }

DIR* twin_opendir(const char* path) {
  Board& board = Board::Current();
  const BoardPath where = board.paths.Resolve(path);
  int result = 0;
  if (where.onDisk && !Allowed(board.disk.BeforeList(where.volume), result)) return nullptr;
  if (!where.onDisk) board.kernel.Spend(kFlashLookUp);
  std::error_code error;
  auto listing = std::make_unique<Listing>();
  for (const auto& entry : fs::directory_iterator(where.host, error)) {
    listing->names.push_back(entry.path().filename().string());
  }
  if (error) {
    errno = error.value();
    return nullptr;
  }
  std::sort(listing->names.begin(), listing->names.end());
  return reinterpret_cast<DIR*>(listing.release());
}

dirent* twin_readdir(DIR* directory) {
  auto* listing = reinterpret_cast<Listing*>(directory);
  if (listing->next == listing->names.size()) return nullptr;
  const std::string& name = listing->names[listing->next++];
  listing->entry.d_ino = listing->next;
  name.copy(listing->entry.d_name, sizeof(listing->entry.d_name) - 1);
  listing->entry.d_name[std::min(name.size(), sizeof(listing->entry.d_name) - 1)] = '\0';
  return &listing->entry;
}

int twin_closedir(DIR* directory) {
  delete reinterpret_cast<Listing*>(directory);
  return 0;
}

}  // extern "C"
