#include "twin/flash_files.h"

#include <array>
#include <fstream>
#include <stdexcept>
#include <string_view>

namespace twin {

namespace fs = std::filesystem;

namespace {

// The application adds to this script: a retry behind the mount, and, four bytes behind the first path of its own, the
// installation of a new image. The rule around that path ends just there, so the addition stands on lines of its own.
constexpr std::string_view kBootScript = R"(#!/bin/sh
# Last of the start scripts: the disk, then the camera.

mount -t vfat /dev/sda1 /mnt/udisk

# --- /mnt/local/lumora ---
cd /mnt/local
./lumora &
)";

// What is in the image does not matter here: the board runs the application that this program was built with.
constexpr std::string_view kApplication = "Lumora application image, version 1.0\n";

constexpr std::string_view kAccessPointStart = R"(#!/bin/sh
# The camera's own network, for phones. The Wi-Fi driver is part of the kernel.
sleep 1
hostapd -B hostapd.conf
if [ "$?" != 0 ]; then
  exit 1
fi
sleep 1
ifconfig wlan0 192.168.5.1/24
dhcpd -cf dhcpd.conf wlan0
)";

constexpr std::string_view kAccessPointStop = R"(#!/bin/sh
killall dhcpd
killall hostapd
sleep 1
ifconfig wlan0 down
)";

// Longer than 1,024 bytes, as the application wants it of one that replaces it. The name is not on the first line.
constexpr std::string_view kHostapdConf = R"(# Access point of the camera.
# A file of this name on the USB disk takes the place of this one at the next start; a file wifi.txt there changes the
# name of the network alone.

# The interface, and its driver's kind.
interface=wlan0
driver=nl80211
ctrl_interface=/var/run/hostapd
ctrl_interface_group=0

# The network's name, up to 32 letters, digits, and signs.
ssid=Lumora-Camera
ignore_broadcast_ssid=0

# 2.4 GHz, with the rates of 802.11n. Channel 6 is allowed in all countries.
country_code=US
hw_mode=g
channel=6
ieee80211n=1
wmm_enabled=1
beacon_int=100
dtim_period=2
max_num_sta=8
rts_threshold=2347
fragm_threshold=2346

# WPA2 with a password that all users share.
auth_algs=1
macaddr_acl=0
wpa=2
wpa_key_mgmt=WPA-PSK
rsn_pairwise=CCMP
wpa_passphrase=panorama25
wpa_group_rekey=86400

# A phone that sleeps keeps its place for five minutes.
ap_max_inactivity=300
skip_inactivity_poll=0
disassoc_low_ack=1

# Messages of all modules, from informative ones on.
logger_syslog=-1
logger_syslog_level=2
logger_stdout=-1
logger_stdout_level=2
)";
static_assert(kHostapdConf.size() > 1024);

constexpr std::string_view kDhcpdConf = R"(# Addresses for phones on the camera's own network.
default-lease-time 3600;
max-lease-time 86400;
authoritative;

subnet 192.168.5.0 netmask 255.255.255.0 {
  range 192.168.5.20 192.168.5.120;
  option routers 192.168.5.1;
  option broadcast-address 192.168.5.255;
}
)";
static_assert(kDhcpdConf.size() > 64 && kDhcpdConf.size() < 1024);

struct File {
  const char* path;  // under the board's root
  std::string_view content;
  bool program;
};
constexpr std::array<File, 6> kFiles = {{
    {"etc/init.d/S90user", kBootScript, true},
    {"mnt/local/lumora", kApplication, true},
    {"mnt/local/80211_start.sh", kAccessPointStart, true},
    {"mnt/local/80211_shutdown.sh", kAccessPointStop, true},
    {"mnt/local/hostapd.conf", kHostapdConf, false},
    {"mnt/local/dhcpd.conf", kDhcpdConf, false},
}};

}  // namespace

void InstallFlashFiles(const Paths& paths, const fs::path& calibration) {
  for (const char* name : {"CameraConf_800", "CameraVignet_800"}) {
    fs::copy_file(calibration / name, paths.Local() / name, fs::copy_options::skip_existing);
  }
  for (const File& file : kFiles) {
    const fs::path path = paths.Root() / file.path;
    if (fs::exists(path)) continue;
    std::ofstream stream(path, std::ios::binary);
    stream << file.content;
    if (!stream.flush()) throw std::runtime_error(path.string() + ": cannot be written");
    if (file.program) fs::permissions(path, fs::perms(0755));
  }
}

}  // namespace twin
