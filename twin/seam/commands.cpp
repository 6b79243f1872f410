#include "twin/seam/commands.h"

#include <array>
#include <cerrno>
#include <string_view>

#include "twin/board.h"

namespace twin {

namespace {

struct Command {
  std::string_view line;
  Duration takes;
  int (*run)(Board&);  // exit code
};

int Sync(Board& board) { return board.disk.BeforeSync().error == 0 ? 0 : 1; }

int Unmount(Board& board) {
  if (board.stdio.OpenOnDisk() > 0) return 32;  // target is busy
  return board.disk.Unmount() == 0 ? 0 : 32;
}

int Mount(Board& board) { return board.disk.Mount() == 0 ? 0 : 32; }
int Format(Board& board) { return board.disk.Format() == 0 ? 0 : 1; }

constexpr std::array<Command, 4> commands = {{
    {"sync", 150ms, Sync},
    {"umount /mnt/udisk", 60ms, Unmount},
    {"mount -t vfat /dev/sda1 /mnt/udisk", 300ms, Mount},
    {"mkdosfs -F 32 /dev/sda1", 1500ms, Format},
}};

}  // namespace

int RunShellCommand(Board& board, const std::string& command) {
  for (const Command& known : commands) {
    if (known.line != command) continue;
    board.kernel.Spend(known.takes);
    return known.run(board) << 8;
  }
  board.Complain("unknown command: " + command);
  return 127 << 8;
}

std::optional<std::string> ShellCommandOutput(Board& board, const std::string& command) {
  if (command == "lsusb") {
    board.kernel.Spend(60ms);
    return "Bus 001 Device 001: ID 1d6b:0002 Linux Foundation 2.0 root hub\n";
  }
  board.Complain("unknown command: " + command);
  return std::nullopt;
}

}  // namespace twin
