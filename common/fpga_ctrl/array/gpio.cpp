#include "common/fpga_ctrl/array/gpio.h"

#include "common/fpga_ctrl/array/registers.h"

namespace {

constexpr unsigned int kRead = 0;
constexpr unsigned int kWrite = 1;

// Bank n lies at 0x12140000 + n x 0x1000. An access at offset (mask << 2) reaches the data bits in mask alone.
constexpr unsigned int PinAddress(unsigned int bank, unsigned int pin) {
  return 0x12140000 + bank * 0x1000 + ((1u << pin) << 2);
}
constexpr unsigned int DirectionAddress(unsigned int bank) { return 0x12140000 + bank * 0x1000 + 0x400; }

constexpr unsigned int kSpiMiso = PinAddress(0, 0);
constexpr unsigned int kBuzzerOff = PinAddress(0, 1);
constexpr unsigned int kPowerEn = PinAddress(0, 2);
constexpr unsigned int kLedEn0 = PinAddress(0, 4);
constexpr unsigned int kSpiSs = PinAddress(0, 5);
constexpr unsigned int kSpiMosi = PinAddress(0, 6);
constexpr unsigned int kSpiSclk = PinAddress(0, 7);
constexpr unsigned int kAdEn = PinAddress(2, 1);
constexpr unsigned int kFpgaResetnAndInitD = PinAddress(5, 7);
constexpr unsigned int kFpgaProgramB = PinAddress(6, 0);
constexpr unsigned int kFpgaDone = PinAddress(6, 1);
constexpr unsigned int kFpgaSuspend = PinAddress(6, 2);

static_assert(kSpiMiso == 0x12140004 && kBuzzerOff == 0x12140008 && kSpiSclk == 0x12140200);
static_assert(kAdEn == 0x12142008 && kFpgaResetnAndInitD == 0x12145200 && kFpgaSuspend == 0x12146010);
static_assert(DirectionAddress(5) == kFpgaSharedPinDirection);

struct RegisterValue {
  unsigned int address;
  unsigned int value;
};

// Which function each pin has: 0 is GPIO here, but for the first, whose function 1 is.
constexpr RegisterValue kPinFunctions[] = {
    {0x12040000, 1}, {0x12040010, 0}, {0x12040014, 0}, {0x1204008C, 0}, {0x12040090, 0}, {0x12040094, 0},
    {0x12040098, 0}, {0x1204009C, 0}, {0x120400A0, 0}, {0x120400C8, 0}, {0x120400CC, 0}, {0x120400D0, 0},
    {0x120400D8, 0}, {0x120400DC, 0}, {0x120400E0, 0}, {0x120400E4, 0},
};

// Pulls and drive strengths, by rising address.
constexpr RegisterValue kPads[] = {
    {0x12040800, 0x100}, {0x12040814, 0x130}, {0x1204087C, 0x100}, {0x12040880, 0x100}, {0x12040888, 0x110},
    {0x12040890, 0x110}, {0x12040898, 0x110}, {0x1204089C, 0x110}, {0x120408A0, 0x110}, {0x120408DC, 0x130},
    {0x120408E0, 0x130}, {0x120408E8, 0x130}, {0x120408EC, 0x130}, {0x120408F0, 0x130}, {0x120408F4, 0x130},
};

struct Direction {
  unsigned int bank;
  BYTE inputs;
  BYTE outputs;
};

constexpr Direction kDirections[] = {
    {2, 0x01, 0x02},
    {5, kFpgaSharedPinBit, 0x00},
    {6, 0x02, 0x05},
    {0, 0x01, 0xF6},
};

void WriteRegister(unsigned int address, unsigned int value) { himm(kWrite, address, &value); }

unsigned int ReadRegister(unsigned int address) {
  unsigned int value = 0;
  himm(kRead, address, &value);
  return value;
}

void SetPin(unsigned int address, BYTE isHigh) { WriteRegister(address, isHigh != 0 ? 0xFF : 0); }
BYTE GetPin(unsigned int address) { return ReadRegister(address) != 0 ? 1 : 0; }

}  // namespace

void LumoGpioInit() {
  for (const RegisterValue& row : kPinFunctions) WriteRegister(row.address, row.value);
  for (const RegisterValue& row : kPads) WriteRegister(row.address, row.value);
  WriteRegister(kClockControl, 4);

  for (const Direction& row : kDirections) {
    // A bank has eight pins; what stands above them is not kept.
    const BYTE before = static_cast<BYTE>(ReadRegister(DirectionAddress(row.bank)));
    WriteRegister(DirectionAddress(row.bank), static_cast<BYTE>((before & ~row.inputs) | row.outputs));
  }

  LumoGpioSetPowerEn(1);
  LumoGpioSetFpgaProgramB(1);
  LumoGpioSetFpgaSuspend(1);
  LumoGpioSetAdEn(1);
  LumoGpioSetBuzzerOff(1, 0);
  LumoGpioSetLedEn0(1);
  LumoGpioSetSpiSs(1);
  LumoGpioSetSpiMosi(1);
  LumoGpioSetSpiSclk(1);
}

void LumoGpioSetSpiSs(BYTE isHigh) { SetPin(kSpiSs, isHigh); }
void LumoGpioSetSpiMosi(BYTE isHigh) { SetPin(kSpiMosi, isHigh); }
void LumoGpioSetSpiSclk(BYTE isHigh) { SetPin(kSpiSclk, isHigh); }
BYTE LumoGpioGetSpiMiso() { return GetPin(kSpiMiso); }

void LumoGpioSetBuzzerOff(BYTE isHigh, BYTE muteMode) {
  if (isHigh == 0 && muteMode != 0) return;
  SetPin(kBuzzerOff, isHigh);
}

void LumoGpioSetLedEn0(BYTE isHigh) { SetPin(kLedEn0, isHigh); }
void LumoGpioSetAdEn(BYTE isHigh) { SetPin(kAdEn, isHigh); }

void LumoGpioSetPowerEn(BYTE isHigh) { SetPin(kPowerEn, isHigh); }
void LumoGpioSetFpgaProgramB(BYTE isHigh) { SetPin(kFpgaProgramB, isHigh); }
void LumoGpioSetFpgaSuspend(BYTE isHigh) { SetPin(kFpgaSuspend, isHigh); }
void LumoGpioSetFpgaResetn(BYTE isHigh) { SetPin(kFpgaResetnAndInitD, isHigh); }
BYTE LumoGpioGetFpgaInitD() { return GetPin(kFpgaResetnAndInitD); }
BYTE LumoGpioGetFpgaDone() { return GetPin(kFpgaDone); }
