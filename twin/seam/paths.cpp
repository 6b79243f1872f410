#include "twin/seam/paths.h"

#include <cstdlib>
#include <stdexcept>

namespace twin {

namespace fs = std::filesystem;

namespace {
constexpr const char* kDiskMount = "/mnt/udisk";
constexpr const char* kUnderTheMount =
    "unmounted-udisk";  // what a write to /mnt/udisk reaches while nothing is mounted
}  // namespace

Paths::Paths(fs::path root, fs::path disk) : root_(std::move(root)), disk_(std::move(disk)) {
  if (root_.empty()) {
    std::string pattern = (fs::temp_directory_path() / "lumora-board-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr)
      throw std::runtime_error("no temporary directory for the board: " + pattern);
    root_ = pattern;
    temporary_ = true;
  }
  root_ = fs::absolute(root_);
  disk_ = disk_.empty() ? root_ / "mnt/udisk" : fs::absolute(disk_);
  for (const char* directory : {"mnt/local", "mnt/udisk", "etc/init.d", "var/run", "var/lib/dhcp", kUnderTheMount}) {
    fs::create_directories(root_ / directory);
  }
}

Paths::~Paths() {
  std::error_code ignored;
  if (temporary_) fs::remove_all(root_, ignored);
}

BoardPath Paths::Resolve(const std::string& path) const {
  BoardPath result;
  // lexically_normal of an absolute path drops every ".." that would climb above the root.
  const fs::path absolute = (fs::path("/mnt/local") / path).lexically_normal();
  result.board = absolute.string();
  if (result.board.size() > 1 && result.board.back() == '/') result.board.pop_back();
  const std::string mount = kDiskMount;
  const bool underMount = result.board == mount || result.board.compare(0, mount.size() + 1, mount + "/") == 0;
  if (underMount && (!mounted_ || !mounted_())) {
    result.host = root_ / kUnderTheMount / fs::path(result.board).lexically_relative(mount);
  } else if (underMount) {
    result.onDisk = true;
    result.volume = result.board.substr(std::min(result.board.size(), mount.size() + 1));
    result.host = result.volume.empty() ? disk_ : disk_ / result.volume;
  } else {
    result.host = root_ / fs::path(result.board).relative_path();
  }
  return result;
}

}  // namespace twin
