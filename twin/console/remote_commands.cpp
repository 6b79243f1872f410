// Commands for the wireless remote, and the screen on which it shows the camera's lines.
#include <array>

#include "twin/console/console.h"
#include "twin/devices/serial_port/remote_frame.h"

namespace twin {

namespace {

std::string Bytes(const std::string& hex) {
  std::string bytes;
  for (size_t at = 0; at < hex.size(); at += 2) {
    size_t end = 0;
    const std::string pair = hex.substr(at, 2);
    int value = 0;
    try {
      value = std::stoi(pair, &end, 16);
    } catch (const std::exception&) {
      end = 0;
    }
    if (end != 2) throw CommandError("remote raw wants pairs of hexadecimal digits, not \"" + hex + '"');
    bytes += static_cast<char>(value);
  }
  return bytes;
}

void Remote(Console& console, const Words& arguments) {
  const std::string& word = arguments[0];
  SerialPort& serial = console.board.serial;
  if (word == "raw" && arguments.size() == 2) return serial.Send(Bytes(arguments[1]));
  if (word == "terminal" && arguments.size() == 1) {
    console.out << serial.OpenTerminal() << '\n';
    return;
  }
  if (word != "I" && word != "H" && word != "T") throw CommandError("usage: remote I|H|T [ADDRESS], remote raw HEX");
  const std::string address = arguments.size() == 2 ? arguments[1] : "0";
  if (address.size() != 1 || address[0] < '0' || address[0] > '9') throw CommandError("an address is a digit");
  // As a remote that was set by the same watch as the camera.
  serial.Send(RemoteFrame(word[0], address[0], console.board.clockChip.Date()));
}

constexpr std::array<Command, 1> kCommands = {{
    {"remote", "I|H|T [ADDRESS] | raw HEX | terminal",
     "the remote asks for status, a shot by hand, on a tripod; sends bytes; or is a terminal of yours", 1, 2, Remote},
}};

}  // namespace

std::span<const Command> RemoteCommands() { return kCommands; }

}  // namespace twin
