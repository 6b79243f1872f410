// Where the board's files lie on the host. Every path of the application resolves under the board's root directory,
// its working directory being /mnt/local; nothing outside is ever touched.
#pragma once

#include <filesystem>
#include <functional>
#include <string>

namespace twin {

struct BoardPath {
  std::string board;           // absolute and normal, as the board sees it: "/mnt/udisk/DCIM/x.tmp"
  std::filesystem::path host;  // where it lies on the host
  bool onDisk = false;         // on the mounted USB disk
  std::string volume;          // then: relative to the disk's root, "DCIM/x.tmp"
};

class Paths {
 public:
  // `root` empty: a fresh directory under the host's temporary one, removed with this object.
  // `disk` empty: the USB disk's files lie in `root`/mnt/udisk.
  // Makes the directories that the device's root file system has.
  explicit Paths(std::filesystem::path root, std::filesystem::path disk = {});
  ~Paths();
  Paths(const Paths&) = delete;
  Paths& operator=(const Paths&) = delete;

  // Whether /mnt/udisk is the disk at the moment, or the bare directory that lies under the mount.
  void SetDiskMounted(std::function<bool()> mounted) { mounted_ = std::move(mounted); }

  BoardPath Resolve(const std::string& path) const;
  const std::filesystem::path& Root() const { return root_; }
  std::filesystem::path Local() const { return root_ / "mnt/local"; }
  std::filesystem::path Disk() const { return disk_; }

 private:
  std::filesystem::path root_, disk_;
  bool temporary_ = false;
  std::function<bool()> mounted_;
};

}  // namespace twin
