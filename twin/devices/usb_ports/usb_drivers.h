// The drivers of the USB adapters in the board's Linux: which modules are loaded, and what they make of what is
// plugged.
//
//   Wi-Fi      built into the kernel    interface wlan0
//   Ethernet   r8152, on mii            interface eth0
//   Serial     cp210x, on usbserial     /dev/ttyUSB0
//
// A driver needs a moment to find its adapter, so that what follows an insmod at once still finds nothing.
// Modelled: what a module depends on, modules in use, files that are no module. Not modelled: parameters, versions,
// what is in a module beyond its name.
#pragma once

#include <array>
#include <functional>
#include <set>
#include <string>
#include <string_view>

#include "twin/devices/network/interfaces.h"
#include "twin/devices/usb_ports/usb_ports.h"
#include "twin/kernel/kernel.h"

namespace twin {

class UsbDrivers {
 public:
  UsbDrivers(Kernel& kernel, Faults& faults, UsbPorts& ports, NetworkInterfaces& interfaces);

  // --- bus: insmod and rmmod ---
  // `image` is the module's file. It carries its own name, whatever the file is called. Returns 0; ENOEXEC: no module;
  // EEXIST: loaded already; ENOENT: one that it needs is not loaded.
  int Insert(std::string_view image);
  // 0; ENOENT: not loaded; EWOULDBLOCK: another one needs it.
  int Remove(const std::string& name);
  bool Loaded(const std::string& name) const { return loaded_.contains(name); }

  void PowerOn();   // the kernel starts: no module yet, built-in drivers look for their adapters
  void PowerOff();  // everything is gone

  // `listener` hears when /dev/ttyUSB0 comes and goes. Must not wait.
  void OnSerialPort(std::function<void(bool)> listener) { serialPort_ = std::move(listener); }

  // --- faults ---
  // "module.insert": Fail. "usb.probe", one driver finding one adapter: Silence (it does not), Delay.

 private:
  struct Binding {
    UsbAdapter adapter;
    std::string_view module;     // empty: built in
    std::string_view interface;  // empty: the serial port
    bool bound = false;
    bool probing = false;
    Kernel::EventId probe = 0;
  };
  void Update();
  void Bind(Binding& binding, bool bound);

  Kernel& kernel_;
  UsbPorts& ports_;
  NetworkInterfaces& interfaces_;
  std::array<Binding, 3> bindings_;
  std::set<std::string> loaded_;
  std::function<void(bool)> serialPort_;
  bool powered_ = false;
  FaultPoint insert_, probe_;
};

}  // namespace twin
