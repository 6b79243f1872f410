// Update files: what a user lays in the root of the disk to be taken at the next start. Each is applied once and then
// renamed, and its new name is all that is reported: "_updated", "_error". Main thread, at start, before the device is
// opened.
//
// The copies: a file whose size is outside its limits stays as it is, and is looked at again at every start. If the
// copy on flash cannot be opened, the file is renamed all the same.
#pragma once

#include "common/control_signals.h"

void LumoCopyLogoFile();  // logo.jpg, above 1,024 and below 2,097,152 bytes
void LumoCopyInfoFile();  // info.ini, below 1,024 bytes: an empty one empties the device's
void LumoCopyConfFile();  // hostapd.conf, above 1,024 and below 2,097,152; dhcpd.conf, above 64 and below 1,024

// wb.ini: keys blue, green, red, each 0.8 to 1.25, become the white balance gains in "CameraVignet_800".
void LumoLoadWBFile();

// wifi.txt: the bare name of the access point, 1 to 32 of digits, letters, "-", "_", "."; replaces the `ssid` line of
// the device's hostapd.conf. The file counts as updated as soon as its name is valid.
void LumoSetWifiName();

// thumbnail.txt, 0-24, and wireless_id.txt, 0-9: taken into `thumbCamIdx` and `wirelessId` and saved with the
// settings, so these two follow the loading of the settings. Text that does not begin with a number reads as 0.
void LumoSetThumbCamIdx(ControlSignals* ctrlSigs);
void LumoSetWirelessId(ControlSignals* ctrlSigs);
