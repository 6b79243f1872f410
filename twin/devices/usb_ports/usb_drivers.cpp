#include "twin/devices/usb_ports/usb_drivers.h"

#include <algorithm>

namespace twin {

namespace {

constexpr Duration kProbeTime = 350ms;  // reset of the port, descriptors, the adapter's own start

struct Need {
  std::string_view module, needs;
};
constexpr std::array<Need, 2> kNeeds = {{{"r8152", "mii"}, {"cp210x", "usbserial"}}};

constexpr std::string_view kElf =
    "\x7F"
    "ELF";
using std::string_view_literals::operator""sv;
constexpr std::string_view kNameMark = "\0name="sv;  // one of the strings that modinfo shows

// The name that a module gives itself; empty if `image` is none.
std::string NameOf(std::string_view image) {
  if (!image.starts_with(kElf)) return "";
  const size_t mark = image.find(kNameMark);
  if (mark == std::string_view::npos) return "";
  const size_t start = mark + kNameMark.size(), end = image.find('\0', start);
  return end == std::string_view::npos ? "" : std::string(image.substr(start, end - start));
}

}  // namespace

UsbDrivers::UsbDrivers(Kernel& kernel, Faults& faults, UsbPorts& ports, NetworkInterfaces& interfaces)
    : kernel_(kernel),
      ports_(ports),
      interfaces_(interfaces),
      bindings_{{{.adapter = UsbAdapter::Wifi, .module = "", .interface = "wlan0"},
                 {.adapter = UsbAdapter::Ethernet, .module = "r8152", .interface = "eth0"},
                 {.adapter = UsbAdapter::Serial, .module = "cp210x", .interface = ""}}},
      insert_(faults, "module.insert", "loading a kernel module: fail"),
      probe_(faults, "usb.probe", "a driver finding its adapter: silence (it does not), delay") {
  ports_.OnChange([this] { Update(); });
}

int UsbDrivers::Insert(std::string_view image) {
  if (const int error = insert_.AskFailure()) return error;
  const std::string name = NameOf(image);
  if (name.empty()) return ENOEXEC;
  if (Loaded(name)) return EEXIST;
  for (const Need& need : kNeeds) {
    if (need.module == name && !Loaded(std::string(need.needs))) return ENOENT;
  }
  loaded_.insert(name);
  Update();
  return 0;
}

int UsbDrivers::Remove(const std::string& name) {
  if (!Loaded(name)) return ENOENT;
  for (const Need& need : kNeeds) {
    if (need.needs == name && Loaded(std::string(need.module))) return EWOULDBLOCK;
  }
  loaded_.erase(name);
  Update();
  return 0;
}

void UsbDrivers::PowerOn() {
  ports_.Enumerate();
  powered_ = true;
  Update();
}

void UsbDrivers::PowerOff() {
  powered_ = false;
  loaded_.clear();
  Update();
}

// Lets go what has lost its driver or its adapter, and starts looking for what has both.
void UsbDrivers::Update() {
  for (Binding& binding : bindings_) {
    const bool driven = powered_ && (binding.module.empty() || Loaded(std::string(binding.module)));
    if (!driven || !ports_.Plugged(binding.adapter)) {
      if (binding.probing) kernel_.Cancel(binding.probe);
      binding.probing = false;
      if (binding.bound) Bind(binding, false);
      continue;
    }
    if (binding.bound || binding.probing) continue;
    const auto effect = probe_.Ask();
    binding.probing = true;  // also when nothing will come of it: a driver looks once
    if (effect && effect->kind == Effect::Kind::Silence) continue;
    Duration takes = kProbeTime;
    if (effect && effect->kind == Effect::Kind::Delay) takes += effect->delay;
    binding.probe = kernel_.After(takes, [this, &binding] {
      binding.probing = false;
      Bind(binding, true);
    });
  }
}

void UsbDrivers::Bind(Binding& binding, bool bound) {
  binding.bound = bound;
  if (binding.interface.empty()) {
    if (serialPort_) serialPort_(bound);
  } else if (bound) {
    interfaces_.Add(std::string(binding.interface));
  } else {
    interfaces_.Remove(std::string(binding.interface));
  }
}

}  // namespace twin
