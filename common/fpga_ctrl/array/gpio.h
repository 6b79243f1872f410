// The processor's pins, by signal. A setter drives its own pin alone, by one store without a read, so two threads
// may drive different pins. 0 in `isHigh` drives low, anything else high. A getter gives 1 for high, 0 for low.
#pragma once

#include "common/types.h"

// Pin functions, pads, clock, directions and rest levels of all signals below; once, before any of them is used.
void LumoGpioInit();

// Co-processor link: select, data out, clock, data in (see stc_link.h). Without a co-processor the three outputs
// light LED 0 green, red and blue, and data in is the button.
void LumoGpioSetSpiSs(BYTE isHigh);
void LumoGpioSetSpiMosi(BYTE isHigh);
void LumoGpioSetSpiSclk(BYTE isHigh);
BYTE LumoGpioGetSpiMiso();

// Low sounds the buzzer, except when `muteMode` is not 0: then a low is not written at all. A high always is.
void LumoGpioSetBuzzerOff(BYTE isHigh, BYTE muteMode);

// High lights LED 0 in the storage colour.
void LumoGpioSetLedEn0(BYTE isHigh);

// Enable line that stays low for the whole of a shot.
void LumoGpioSetAdEn(BYTE isHigh);

// Camera array: its power; configuration start (PROGRAM_B, low starts); suspend, high is the low-power state;
// reset of the layers, low resets. INIT shares the reset's pin and may be read only while that pin is an input,
// see kFpgaSharedPinDirection.
void LumoGpioSetPowerEn(BYTE isHigh);
void LumoGpioSetFpgaProgramB(BYTE isHigh);
void LumoGpioSetFpgaSuspend(BYTE isHigh);
void LumoGpioSetFpgaResetn(BYTE isHigh);
BYTE LumoGpioGetFpgaInitD();
BYTE LumoGpioGetFpgaDone();

// Direction register of the bank with the shared reset and INIT pin, and the pin's bit in it (set: output).
constexpr unsigned int kFpgaSharedPinDirection = 0x12145400;
constexpr BYTE kFpgaSharedPinBit = 0x80;

// Clock control register: 4 while the layers are without configuration, 0x14 from then on.
constexpr unsigned int kClockControl = 0x12010040;
