// The access point's program on the board (hostapd): it takes the Wi-Fi interface and answers to phones, or does not.
//
// While it runs, its control socket stands at /var/run/hostapd/wlan0, which is how others know.
// Modelled: what it needs to start. Not modelled: who joins, passwords, channels.
#pragma once

#include <filesystem>
#include <string_view>

#include "twin/devices/network/interfaces.h"
#include "twin/faults/faults.h"

namespace twin {

class AccessPoint {
 public:
  // `controlDirectory`: where /var/run/hostapd lies on the host.
  AccessPoint(Faults& faults, NetworkInterfaces& interfaces, std::filesystem::path controlDirectory);

  // `configuration` must have a line "ssid=" with 1 to 32 bytes, and wlan0 must exist; it is up afterwards. Returns
  // whether it runs.
  bool Start(std::string_view configuration);
  void Stop();  // a program that ends in order takes its socket away

  // --- faults ---
  // "wifi.access-point": Fail (it does not start).

 private:
  NetworkInterfaces& interfaces_;
  std::filesystem::path controlDirectory_;
  FaultPoint start_;
};

}  // namespace twin
