#include "common/angle_reader/soft_i2c.h"

#include "common/angle_reader/i2c_delay.h"
#include "common/fpga_ctrl/array/registers.h"

static constexpr unsigned int kDirection = 0x12146400;  // bank 6; a set bit is an output
static constexpr unsigned int kData = 0x12146000;       // the address bits above select the pins
static constexpr BYTE kDeviceWrite = 0xD0;
static constexpr BYTE kDeviceRead = 0xD1;

static constexpr unsigned int DataRegister(BYTE mode) { return kData + (static_cast<unsigned int>(mode) << 2); }
static_assert(DataRegister(kI2cScl) == 0x12146040 && DataRegister(kI2cSda) == 0x12146020);
static_assert(DataRegister(kI2cBoth) == 0x12146060);

static void Delay(int count) {
  for (int i = 0; i < count; i++) LumoI2cDelay();
}

static void Drive(BYTE mode, unsigned int value) {
  unsigned int direction = 0;
  himm(0, kDirection, &direction);
  direction |= mode;
  himm(1, kDirection, &direction);
  himm(1, DataRegister(mode), &value);
}

void LumoI2cLow(BYTE mode) { Drive(mode, 0); }
void LumoI2cHigh(BYTE mode) { Drive(mode, 0xFF); }

// The device's turn to drive the data line.
static void ReleaseData() {
  unsigned int direction = 0;
  himm(0, kDirection, &direction);
  direction &= ~static_cast<unsigned int>(kI2cSda);
  himm(1, kDirection, &direction);
}

BYTE LumoI2cReadBit() {
  unsigned int value = 0;
  himm(0, DataRegister(kI2cSda), &value);
  return value != 0 ? 1 : 0;
}

void LumoI2cStartBit() {
  Delay(1);
  LumoI2cHigh(kI2cBoth);
  Delay(1);
  LumoI2cLow(kI2cSda);
  Delay(2);
  LumoI2cLow(kI2cScl);
  Delay(1);
}

void LumoI2cStopBit() {
  Delay(1);
  LumoI2cLow(kI2cSda);
  Delay(2);
  LumoI2cHigh(kI2cScl);
  Delay(2);
  LumoI2cHigh(kI2cSda);
  Delay(1);
}

// One bit out, with the clock that carries it.
static void ClockBitOut(bool bit) {
  if (bit) {
    LumoI2cHigh(kI2cSda);
  } else {
    LumoI2cLow(kI2cSda);
  }
  Delay(1);
  LumoI2cHigh(kI2cScl);
  Delay(2);
  LumoI2cLow(kI2cScl);
  Delay(1);
}

// One bit in: LumoI2cReadBit, with the clock around it.
static BYTE ClockBitIn() {
  ReleaseData();
  Delay(1);
  LumoI2cHigh(kI2cScl);
  Delay(1);
  const BYTE bit = LumoI2cReadBit();
  Delay(1);
  LumoI2cLow(kI2cScl);
  Delay(1);
  return bit;
}

void LumoI2cWriteByte(BYTE data) {
  for (int bit = 7; bit >= 0; bit--) ClockBitOut((data >> bit & 1) != 0);
}

BYTE LumoI2cReadByte() {
  BYTE data = 0;
  for (int bit = 0; bit < 8; bit++) data = static_cast<BYTE>(data << 1 | ClockBitIn());
  return data;
}

BYTE LumoI2cReadAck() { return ClockBitIn() == 0 ? 1 : 0; }

void LumoI2cWriteAck(BYTE finish) { ClockBitOut(finish != 0); }

// Ends a transfer that the device did not acknowledge.
static int GiveUp(int result) {
  LumoI2cStopBit();
  return result;
}

static bool WriteAndReadAck(BYTE data) {
  LumoI2cWriteByte(data);
  return LumoI2cReadAck() != 0;
}

int LumoI2cRead(BYTE regAddr, BYTE dataLen, BYTE* data) {
  LumoI2cStartBit();
  if (!WriteAndReadAck(kDeviceWrite)) return GiveUp(-1);
  if (!WriteAndReadAck(regAddr)) return GiveUp(-2);
  LumoI2cStopBit();
  LumoI2cStartBit();
  if (!WriteAndReadAck(kDeviceRead)) return GiveUp(-3);
  for (int i = 0; i < dataLen; i++) {
    data[i] = LumoI2cReadByte();
    LumoI2cWriteAck(i + 1 == dataLen ? 1 : 0);
  }
  LumoI2cStopBit();
  return 0;
}

int LumoI2cWrite(BYTE regAddr, BYTE dataLen, const BYTE* data) {
  LumoI2cStartBit();
  if (!WriteAndReadAck(kDeviceWrite)) return GiveUp(-1);
  if (!WriteAndReadAck(regAddr)) return GiveUp(-2);
  for (int i = 0; i < dataLen; i++) {
    if (!WriteAndReadAck(data[i])) return GiveUp(-3);
  }
  LumoI2cStopBit();
  return 0;
}
