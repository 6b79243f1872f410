// What the user sees and hears: LED 0 and the buzzer. Both lines rest high, LED lit in the storage colour and buzzer
// off; a pulse drives both low. Control thread, and the main thread while the device is being opened.
#pragma once

#include "common/types.h"

// Drives both lines. `muteMode` not 0 keeps the buzzer silent.
void LumoSetPulseLines(BYTE isHigh, BYTE muteMode);

// A train of toggles: for i from 0 on, 100 ms of waiting and then both lines to i modulo 2. So half as many pulses of
// 100 ms.
void LumoPulseTrain(int toggles, BYTE muteMode);
