#include "twin/seam/commands.h"

#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string_view>
#include <vector>

#include "twin/board.h"
#include "twin/seam/shell_script.h"

extern "C" {  // doors: a command reaches files as the application does
int twin_access(const char* path, int mode);
int twin_rename(const char* from, const char* to);
int twin_remove(const char* path);
}

namespace twin {

namespace {

using Words = std::vector<std::string>;  // the command's arguments

struct Call {
  Board& board;
  const Words& words;
  std::string& output;

  int Fail(const std::string& text, int code = 1) {
    output += text + '\n';
    return code;
  }
};
using ExitCode = std::optional<int>;  // none: the board does not know these arguments

struct Command {
  std::string_view name;
  Duration takes;  // its own start included
  ExitCode (*run)(Call&);
};

// --- the disk ---

ExitCode Sync(Call& call) {
  if (!call.words.empty()) return {};
  return call.board.SyncDisk() ? 0 : 1;
}

ExitCode Unmount(Call& call) {
  if (call.words != Words{"/mnt/udisk"}) return {};
  const bool busy = call.board.stdio.OpenOnDisk() + call.board.tiffFiles.OpenOnDisk() > 0;
  if (!busy) call.board.kernel.Spend(call.board.disk.SyncTime());
  const int error = busy ? EBUSY : call.board.disk.Unmount();
  return error == 0 ? 0 : call.Fail("umount: can't unmount /mnt/udisk: " + std::string(strerror(error)), 32);
}

ExitCode Mount(Call& call) {
  if (call.words != Words{"-t", "vfat", "/dev/sda1", "/mnt/udisk"}) return {};
  const int error = call.board.disk.Mount();
  if (error == 0) return 0;
  return call.Fail("mount: mounting /dev/sda1 on /mnt/udisk failed: " + std::string(strerror(error)), 32);
}

ExitCode MakeDosFileSystem(Call& call) {
  if (call.words != Words{"-F", "32", "/dev/sda1"}) return {};
  const int error = call.board.disk.Format();
  return error == 0 ? 0 : call.Fail("mkdosfs: /dev/sda1: " + std::string(strerror(error)));
}

// --- files ---

bool Read(Board& board, const std::string& path, std::string& text) {
  FILE* file = board.stdio.Open(path, "rb");
  if (file == nullptr) return false;
  Stream* stream = board.stdio.Find(file);
  std::array<char, 4096> block;
  while (const size_t size = stream->Read(block.data(), block.size())) text.append(block.data(), size);
  const bool whole = !stream->failed;
  board.stdio.Close(file);
  return whole;
}

// Block by block, so that a power cut leaves a part.
bool Copy(Board& board, const std::string& from, const std::string& to) {
  FILE* source = board.stdio.Open(from, "rb");
  if (source == nullptr) return false;
  FILE* target = board.stdio.Open(to, "wb");
  bool whole = target != nullptr;
  std::array<char, 4096> block;
  while (whole) {
    const size_t size = board.stdio.Find(source)->Read(block.data(), block.size());
    if (size == 0) break;
    whole = board.stdio.Find(target)->Write(block.data(), size) == size;
  }
  whole = whole && !board.stdio.Find(source)->failed;
  board.stdio.Close(source);
  if (target != nullptr) whole = board.stdio.Close(target) == 0 && whole;
  return whole;
}

ExitCode Move(Call& call) {
  if (call.words.size() != 2) return {};
  const std::string &from = call.words[0], &to = call.words[1];
  if (twin_rename(from.c_str(), to.c_str()) == 0) return 0;
  if (errno == EXDEV && Copy(call.board, from, to) && twin_remove(from.c_str()) == 0) return 0;
  return call.Fail("mv: can't rename '" + from + "': " + strerror(errno));
}

ExitCode ChangeMode(Call& call) {
  if (call.words.size() != 2 || call.words[0].find_first_not_of("01234567") != std::string::npos) return {};
  const BoardPath where = call.board.paths.Resolve(call.words[1]);
  const auto mode = static_cast<mode_t>(std::stoul(call.words[0], nullptr, 8));
  // The disk's file system keeps no modes.
  if (where.onDisk ? twin_access(call.words[1].c_str(), 0) == 0 : ::chmod(where.host.c_str(), mode | 0600) == 0)
    return 0;
  return call.Fail("chmod: " + call.words[1] + ": " + strerror(errno));
}

ExitCode Echo(Call& call) {
  for (const std::string& word : call.words) call.output += (&word == call.words.data() ? "" : " ") + word;
  call.output += '\n';
  return 0;
}

// --- time, adapters and the network ---

ExitCode Sleep(Call& call) {
  if (call.words.size() != 1 || call.words[0].find_first_not_of("0123456789") != std::string::npos) return {};
  call.board.kernel.Spend(std::chrono::seconds(std::stol(call.words[0])));
  return 0;
}

ExitCode ListUsb(Call& call) {
  if (!call.words.empty()) return {};
  call.output += call.board.usb.List(call.board.disk.Plugged());
  return 0;
}

ExitCode InsertModule(Call& call) {
  if (call.words.size() != 1) return {};
  const std::string& file = call.words[0];
  std::string image;
  const int error = Read(call.board, file, image) ? call.board.drivers.Insert(image) : ENOENT;
  switch (error) {
    case 0: return 0;
    case ENOEXEC: return call.Fail("insmod: can't insert '" + file + "': invalid module format");
    default: return call.Fail("insmod: can't insert '" + file + "': " + strerror(error));
  }
}

ExitCode RemoveModule(Call& call) {
  if (call.words.size() != 1) return {};
  std::string name = std::filesystem::path(call.words[0]).filename().string();
  if (name.ends_with(".ko")) name.resize(name.size() - 3);
  const int error = call.board.drivers.Remove(name);
  return error == 0 ? 0 : call.Fail("rmmod: can't unload module '" + name + "': " + strerror(error));
}

ExitCode ConfigureInterface(Call& call) {
  if (call.words.size() != 2) return {};
  const std::string &interface = call.words[0], &what = call.words[1];
  const bool down = what == "down";
  if (!down && what != "up" && what.find_first_not_of("0123456789./") != std::string::npos) return {};
  if (!call.board.interfaces.Exists(interface)) return call.Fail("ifconfig: " + interface + ": No such device");
  call.board.interfaces.SetUp(interface, !down);
  return 0;
}

ExitCode StartAccessPoint(Call& call) {
  if (call.words.size() != 2 || call.words[0] != "-B") return {};
  std::string configuration;
  if (Read(call.board, call.words[1], configuration) && call.board.accessPoint.Start(configuration)) return 0;
  return call.Fail("hostapd: wlan0: could not set up the access point");
}

// Addresses are given out by nobody: who connects in the simulation needs none.
ExitCode StartAddressServer(Call& call) {
  if (call.words.size() != 3 || call.words[0] != "-cf") return {};
  std::string configuration;
  if (Read(call.board, call.words[1], configuration) && call.board.interfaces.Up(call.words[2])) return 0;
  return call.Fail("dhcpd: not listening on " + call.words[2]);
}

ExitCode KillByName(Call& call) {
  if (call.words == Words{"hostapd"}) {
    call.board.accessPoint.Stop();
  } else if (call.words != Words{"dhcpd"}) {
    return {};
  }
  return 0;
}

constexpr std::array<Command, 16> kCommands = {{
    {"sync", 150ms, Sync},
    {"umount", 60ms, Unmount},
    {"mount", 300ms, Mount},
    {"mkdosfs", 1500ms, MakeDosFileSystem},
    {"mv", 10ms, Move},
    {"chmod", 10ms, ChangeMode},
    {"echo", 1ms, Echo},
    {"sleep", 5ms, Sleep},
    {"lsusb", 40ms, ListUsb},
    {"insmod", 80ms, InsertModule},
    {"rmmod", 80ms, RemoveModule},
    {"ifconfig", 20ms, ConfigureInterface},
    {"hostapd", 1200ms, StartAccessPoint},
    {"dhcpd", 700ms, StartAddressServer},
    {"killall", 200ms, KillByName},
    {"true", 1ms, [](Call&) { return ExitCode{0}; }},
}};

Words Split(const std::string& line) {
  Words words;
  bool inWord = false;
  char quote = '\0';
  for (const char c : line) {
    const bool blank = quote == '\0' && (c == ' ' || c == '\t');
    if (!blank && !inWord) words.emplace_back();
    inWord = !blank;
    if (blank) continue;
    if (c == quote) {
      quote = '\0';
    } else if (quote == '\0' && (c == '"' || c == '\'')) {
      quote = c;
    } else {
      words.back() += c;
    }
  }
  return words;
}

}  // namespace

int RunCommandLine(Board& board, const std::string& line, std::string& output) {
  Words words = Split(line);
  const std::string name = words.empty() ? "" : words.front();
  if (!words.empty()) words.erase(words.begin());
  if (name.ends_with(".sh") && words.empty()) {
    const ScriptEnd end = RunScript(board, name, output);
    if (end.found) return end.status;
  }
  for (const Command& command : kCommands) {
    if (command.name != name) continue;
    board.kernel.Spend(command.takes);
    Call call{board, words, output};
    if (const ExitCode code = command.run(call)) return *code;
    break;
  }
  board.Complain("unknown command: " + line);
  output += "sh: " + name + ": not found\n";
  return 127;
}

int RunShellCommand(Board& board, const std::string& line) {
  std::string output;
  const int code = RunCommandLine(board, line, output);
  board.WriteLog(output.data(), output.size());
  return code << 8;
}

}  // namespace twin
