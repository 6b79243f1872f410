// The USB serial adapter of the wireless remote, and the remote at its other end.
//
// Bus face: /dev/ttyUSB0 while the adapter is plugged in and its modules are loaded. Modelled: terminal settings as
// they are set, a read by VMIN and VTIME, the line's speed (10 bits a byte), an input buffer of 4,095 bytes that drops
// what it has no room for. Not modelled: other framings, modem lines, flow control.
// World face: what the remote sends and has received; a pseudo-terminal for a person's terminal program.
// Faults: "serial.open": Fail. "serial.write": Fail; Value n: only n bytes are taken. "serial.byte": Value v: a byte
// arrives as v; Silence: it is lost.
#pragma once

#include <termios.h>

#include <deque>
#include <functional>
#include <string>
#include <string_view>

#include "twin/device_file.h"
#include "twin/faults/faults.h"

namespace twin {

class SerialPort final : public DeviceFile {
 public:
  SerialPort(Kernel& kernel, Faults& faults);
  ~SerialPort() override;

  // --- bus ---
  int Open(int flags) override;
  void Close() override;
  long Read(void* data, size_t size) override;
  long Write(const void* data, size_t size) override;
  int Ioctl(unsigned long request, void* argument) override;
  bool Readable() const override { return !input_.empty() || gone_; }
  WaitQueue* ReadableChanged() override { return &changed_; }
  const termios& Settings() const { return settings_; }

  // --- world ---
  // The remote sends; the bytes arrive one after the other at the line's speed.
  void Send(std::string_view bytes);
  // All that the remote has received since Forget.
  const std::string& Received() const { return received_; }
  void Forget() { received_.clear(); }
  // Called with each display line of 19 bytes that the remote has received.
  void OnLine(std::function<void(const std::string& line)> listener) { lineListener_ = std::move(listener); }
  // Opens a pseudo-terminal of the host and joins it to the line; the second time it is the same one. Returns its path.
  // Real pace.
  std::string OpenTerminal();
  // Called each time the adapter's device file has appeared.
  void OnPlugged(std::function<void()> listener) { pluggedListener_ = std::move(listener); }

  // --- board ---
  void SetPlugged(bool plugged);  // pulled: reads find the end, writes fail
  void Reset();                   // the board's power is gone

 private:
  Duration ByteTime() const;
  void Arrive(char byte);
  void Leave(std::string bytes);

  Kernel& kernel_;
  termios settings_{};
  std::deque<char> input_;
  WaitQueue changed_;
  std::string received_, line_;
  std::function<void(const std::string&)> lineListener_;
  std::function<void()> pluggedListener_;
  Time inFree_{0}, outFree_{0};  // when the line is free for the next byte
  bool gone_ = false;
  uint64_t epoch_ = 0;  // bytes on their way from before a reset do not arrive
  int master_ = -1, slave_ = -1;
  std::string terminal_;  // the slave's path
  FaultPoint open_, write_, byte_;
};

}  // namespace twin
