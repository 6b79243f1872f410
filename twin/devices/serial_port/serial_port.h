// The USB serial adapter of the wireless remote, and the remote at its other end.
//
// Bus face: /dev/ttyUSB0 while the adapter is plugged in and its modules are loaded. The remote is a device of its own:
// 9600 baud, eight data bits, no parity, one stop bit, and three wires, so nobody answers to RTS. What the port is set
// to otherwise turns bytes to others, both ways (serial_wire.h). Between line and program stands the kernel
// (line_discipline.h). Also as there: reads by VMIN, VTIME and O_NONBLOCK, an input that is ready from the first byte
// on if VTIME is set and from VMIN otherwise, the access that the port was opened for, an open that waits for a carrier
// where CLOCAL is not set, settings that outlive the close, output that CRTSCTS holds for ever.
// Not modelled: O_NOCTTY (the application is no session's leader and gets no terminal), a write that waits for room.
// World face: what the remote sends and has received; a pseudo-terminal for a person's terminal program.
// Faults: "serial.open": Fail. "serial.settings": Fail. "serial.write": Fail; Value n: only n bytes are taken.
// "serial.byte": Value v: a byte arrives as v; Silence: it is lost.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "twin/device_file.h"
#include "twin/devices/serial_port/line_discipline.h"
#include "twin/devices/serial_port/serial_wire.h"
#include "twin/faults/faults.h"

namespace twin {

class SerialPort final : public DeviceFile {
 public:
  SerialPort(Kernel& kernel, Faults& faults);
  ~SerialPort() override;

  // --- bus ---
  int Open(int flags) override;
  void Close() override;
  int SetFlags(int flags) override;
  long Read(void* data, size_t size) override;
  long Write(const void* data, size_t size) override;
  int Ioctl(unsigned long request, void* argument) override;
  bool Readable() const override;
  WaitQueue* ReadableChanged() override { return &changed_; }
  const termios& Settings() const { return kernelSide_.Settings(); }
  // As another program has left the port.
  void LeaveAs(const termios& settings) { Apply(settings); }

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
  void Apply(const termios& settings);
  Framing FramingOf() const;
  void Arrive(uint8_t byte, Reception reception);
  void Show(uint8_t byte);
  void Leave(std::string_view bytes);  // out on the line, or held until it may go

  Kernel& kernel_;
  LineDiscipline kernelSide_;
  SerialWire fromRemote_, toRemote_;
  std::string waiting_;  // output that may not go yet
  int access_ = 0;       // O_RDONLY, O_WRONLY, O_RDWR
  bool nonblocking_ = false;
  WaitQueue changed_;
  std::string received_, line_;
  std::function<void(const std::string&)> lineListener_;
  std::function<void()> pluggedListener_;
  bool gone_ = false;
  int master_ = -1, slave_ = -1;
  std::string terminal_;  // the slave's path
  FaultPoint open_, refuses_, write_, byte_;
};

}  // namespace twin
