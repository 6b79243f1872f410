// Power, button and LED: the link to the small co-processor that keeps battery, charger, power switch, button and the
// colour of LED 0, over four GPIO lines driven by hand.
//
// Two forms of the device. With the co-processor (`stcSpiMode` 1) the lines carry frames; without (0) the same lines
// are wired straight to the LED's three colours and to the button.
//
// Frames: the main thread during LumoDeviceOpen, from then on the control thread alone. A frame must not be cut into
// by another user of the lines. A co-processor that stops answering validly holds the caller for ever: no retry here
// has a limit.
#pragma once

#include "common/control_signals.h"

// Button levels.
constexpr BYTE kBtnPressed = 0;
constexpr BYTE kBtnReleased = 1;

// Sends one frame and takes one: 16 bits each way at once, a byte and its complement.
//   ledCtrl0B, ledCtrl0G, ledCtrl0R  non-zero lights that colour of LED 0
//   needShutdown                     non-zero cuts the power
// Returns the reply (bit 7 button released, bit 6 not charging, bits 5-0 battery sample), or 0 if its complement was
// wrong. A true reply of 0 cannot be told from that.
BYTE LumoStcSpiReadWrite(BYTE ledCtrl0B, BYTE ledCtrl0G, BYTE ledCtrl0R, BYTE needShutdown);

// Puts the storage colour of `ledCtrl0B`, `ledCtrl0G` and `ledCtrl0R` on LED 0.
void LumoStcShowColour(ControlSignals* ctrlSigs);

// Button level. With a co-processor this also repeats the colour, takes `batCharging`, and
// takes a battery sample: at each call for the first 64, then one a second.
BYTE LumoStcGetBtnOut(ControlSignals* ctrlSigs);

// Largest of the last 64 samples, 0-63; 0 before there are 64. Any thread.
BYTE LumoGetBatteryVoltageVal(ControlSignals* ctrlSigs);

// Battery in percent, 0-100, from the same sample; -1 before there are 64. Any thread.
int LumoGetBatteryLevel(ControlSignals* ctrlSigs);

// Switches off: LED 0 dark, then the power-off frame until it is answered; without a co-processor its three output
// lines low.
void lumoStcNeedShutdown(ControlSignals* ctrlSigs);
