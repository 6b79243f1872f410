// The small Linux system around the application: its log file, its disk, the USB adapters and what they need. All on
// the main thread. Results of shell commands are not looked at: what is missing shows in the next step.
#pragma once

#include "common/types.h"

// Points `g_lumoDebug` at standard error, or, if the disk holds a writable file "/mnt/udisk/debug", at that file,
// emptied. Returns 0, or -2 if such a file does not open (the log is then standard error).
int LumoOpenDebugFile();

// Empties the list of addresses that were given out: each start begins with none.
void LumoResetDhcpcdLeases();

// The adapters that lsusb lists, as bits of `usbMode`.
BYTE GetUsbMode();

// Each pair brings an adapter up and down; seconds.
void LumoWifiOpen();
void LumoWifiClose();
void LumoEthOpen();
void LumoEthClose();
void LumoUsbSerialOpen();
void LumoUsbSerialClose();

// Flushes the log, writes all buffers of the system to the disk and unmounts it. Takes more than 1.1 s.
void LumoSystemSync();
