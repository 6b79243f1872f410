#include "twin/devices/usb_ports/usb_ports.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

namespace twin {

namespace {

std::string Line(int bus, int number, std::string_view id, std::string_view name) {
  char head[48];
  snprintf(head, sizeof head, "Bus %03d Device %03d: ID ", bus, number);
  return head + std::string(id) + ' ' + std::string(name) + '\n';
}

}  // namespace

UsbPorts::UsbPorts(Faults& faults) : list_(faults, "usb.list", "lsusb: silence (lists nothing)") {}

std::string UsbPorts::List(bool disk) {
  const auto effect = list_.Ask();
  if (effect && effect->kind == Effect::Kind::Silence) return "";
  std::string text = Line(1, 1, "1d6b:0002", "Linux Foundation 2.0 root hub");
  for (const Device& device : devices_) text += Line(1, device.number, device.kind->id, device.kind->name);
  text += Line(2, 1, "1d6b:0003", "Linux Foundation 3.0 root hub");
  if (disk) text += Line(2, 2, "058f:6387", "Alcor Micro Corp. Flash Drive");
  for (const std::string& line : others_) text += line + '\n';
  return text;
}

void UsbPorts::Enumerate() {
  lastNumber_ = 1;
  for (Device& device : devices_) device.number = ++lastNumber_;
}

void UsbPorts::Plug(UsbAdapter adapter) {
  if (Plugged(adapter)) return;
  const auto kind = std::find_if(kUsbAdapters.begin(), kUsbAdapters.end(),
                                 [&](const UsbAdapterKind& k) { return k.adapter == adapter; });
  devices_.push_back({&*kind, ++lastNumber_});
  Tell();
}

void UsbPorts::Unplug(UsbAdapter adapter) {
  if (std::erase_if(devices_, [&](const Device& d) { return d.kind->adapter == adapter; }) > 0) Tell();
}

bool UsbPorts::Plugged(UsbAdapter adapter) const {
  return std::any_of(devices_.begin(), devices_.end(), [&](const Device& d) { return d.kind->adapter == adapter; });
}

void UsbPorts::Tell() {
  for (const auto& listener : listeners_) listener();
}

}  // namespace twin
