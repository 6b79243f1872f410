// The motion sensor's I2C bus, driven by hand over two GPIO pins: one master, one device (address 0x68), no clock
// stretching, no retries. Both lines are driven high and low actively; a level is only read while the data pin is an
// input. One user at a time: control thread or snap thread, by turns.
#pragma once

#include "common/types.h"

// Which lines: bits of the pins in their bank.
constexpr BYTE kI2cScl = 0x10;
constexpr BYTE kI2cSda = 0x08;
constexpr BYTE kI2cBoth = kI2cScl | kI2cSda;

void LumoI2cLow(BYTE mode);
void LumoI2cHigh(BYTE mode);
BYTE LumoI2cReadBit();
void LumoI2cStartBit();
void LumoI2cStopBit();
void LumoI2cWriteByte(BYTE data);
BYTE LumoI2cReadByte();
BYTE LumoI2cReadAck();              // 1 acknowledged
void LumoI2cWriteAck(BYTE finish);  // 0 acknowledges, else it was the last byte

// Reads `dataLen` bytes from register `regAddr` on. Returns 0; -1 address, -2 register, -3 address for reading not
// acknowledged.
int LumoI2cRead(BYTE regAddr, BYTE dataLen, BYTE* data);
// Writes them. Returns 0; -1 address, -2 register, -3 a data byte not acknowledged.
int LumoI2cWrite(BYTE regAddr, BYTE dataLen, const BYTE* data);
