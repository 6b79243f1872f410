// What the kernel does with the bytes of a serial port on their way to and from a program, by the port's settings
// (termios). Modelled: ISTRIP, the translations of CR and NL, IGNBRK, BRKINT, INPCK, IGNPAR, PARMRK; ICANON with erase,
// kill and end of file; ISIG, whose characters throw away what waits (the application belongs to no terminal, so
// nobody gets the signal); ECHO; IXON and IXANY, IXOFF; OPOST with ONLCR and OCRNL; VMIN. Not modelled: the editing
// keys of IEXTEN, tabs and case mapping, delays.
#pragma once

#include <termios.h>

#include <deque>
#include <string>
#include <string_view>

#include "twin/devices/serial_port/serial_wire.h"

namespace twin {

class LineDiscipline {
 public:
  LineDiscipline() { Reset(); }

  // As the driver of an adapter leaves a port that nobody has set: 9600 8N1, lines and echo for a person.
  void Reset();
  void Set(const termios& settings);
  const termios& Settings() const { return settings_; }
  bool Raw() const { return !Has(settings_.c_lflag, ICANON); }

  // A byte from the line. Returns what goes back out at once: echo, flow control.
  std::string Take(uint8_t byte, Reception reception);
  // What goes out for what a program writes.
  std::string Processed(std::string_view text) const;
  bool OutputHeld() const { return held_; }

  // Bytes that a read could have now: all, or of a line of its own if lines are read.
  size_t Waiting() const { return Raw() ? input_.size() : lines_.empty() ? 0 : lines_.front(); }
  bool Any() const { return Raw() ? !input_.empty() : !lines_.empty(); }
  std::string Give(size_t most);
  void Flush();

 private:
  static bool Has(tcflag_t flags, tcflag_t flag) { return (flags & flag) != 0; }
  bool Is(uint8_t byte, int key) const { return settings_.c_cc[key] != _POSIX_VDISABLE && byte == settings_.c_cc[key]; }
  bool TakesSignal(uint8_t byte);
  void Put(uint8_t byte);
  void EndLine();
  std::string TakeIntoLine(uint8_t byte);
  std::string Echo(uint8_t byte) const;
  std::string FlowControl();

  termios settings_{};
  std::deque<char> input_;
  std::deque<size_t> lines_;  // lengths of the whole lines at the front of input_
  size_t open_ = 0;           // bytes of the line that is not whole yet
  bool held_ = false;         // the far end has stopped us
  bool stopping_ = false;     // we have stopped the far end
};

}  // namespace twin
