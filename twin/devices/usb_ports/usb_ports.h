// The board's USB ports and what is plugged into them.
//
// Bus face: the list that lsusb prints, and who is told of a change (the drivers). World face: plug and unplug.
// Modelled: two root hubs, device numbers that count up with each plugging, as Linux counts them. Not modelled: hubs in
// between, current, speed. The disk has a model of its own; here it is only a line of the list.
#pragma once

#include <array>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "twin/faults/faults.h"

namespace twin {

enum class UsbAdapter { Wifi, Ethernet, Serial };

struct UsbAdapterKind {
  UsbAdapter adapter;
  std::string_view word;  // as a person names it: "wifi"
  std::string_view id;    // vendor and product: "0bda:b720"
  std::string_view name;
};
constexpr std::array<UsbAdapterKind, 3> kUsbAdapters = {{
    {UsbAdapter::Wifi, "wifi", "0bda:b720", "Realtek Semiconductor Corp. 802.11n WLAN Adapter"},
    {UsbAdapter::Ethernet, "ethernet", "0bda:8152", "Realtek Semiconductor Corp. RTL8152 Fast Ethernet Adapter"},
    {UsbAdapter::Serial, "serial", "10c4:ea60", "Silicon Labs CP210x UART Bridge"},
}};

class UsbPorts {
 public:
  explicit UsbPorts(Faults& faults);

  // --- bus ---
  // What lsusb prints, a line a device. `disk`: the disk is plugged.
  std::string List(bool disk);
  // `listener` hears of every plug and unplug. For the life of this object; must not wait.
  void OnChange(std::function<void()> listener) { listeners_.push_back(std::move(listener)); }
  void Enumerate();  // at power-on: numbers the devices anew, in the order in which they were plugged

  // --- world ---
  // One adapter of a kind at most: plugging a second one, or unplugging none, changes nothing.
  void Plug(UsbAdapter adapter);
  void Unplug(UsbAdapter adapter);
  bool Plugged(UsbAdapter adapter) const;
  // Some other device, by the whole line that lsusb prints for it, behind all others.
  void PlugOther(std::string line) { others_.push_back(std::move(line)); }

  // --- faults ---
  // "usb.list": Silence (lsusb lists nothing).

 private:
  struct Device {
    const UsbAdapterKind* kind;
    int number;
  };
  void Tell();

  std::vector<Device> devices_;
  std::vector<std::string> others_;
  int lastNumber_ = 1;  // the root hub
  std::vector<std::function<void()>> listeners_;
  FaultPoint list_;
};

}  // namespace twin
