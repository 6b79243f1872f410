#include "common/fpga_ctrl/device/stc_link.h"

#include "common/fpga_ctrl/array/gpio.h"
#include "common/fpga_ctrl/device/clock.h"
#include "common/fpga_ctrl/device/stc_delay.h"

namespace {

// Command byte. The two bits of the power-off always go together.
constexpr BYTE kLedBlue = 0x80;
constexpr BYTE kLedGreen = 0x40;
constexpr BYTE kLedRed = 0x20;
constexpr BYTE kPowerOff = 0x12;

// Reply byte.
constexpr BYTE kReplyReleased = 0x80;
constexpr BYTE kReplyNotCharging = 0x40;
constexpr BYTE kReplySample = 0x3F;

constexpr int kFrameBits = 16;
constexpr int kGapDelays = 20;

constexpr int kRingSize = 64;
constexpr unsigned int kSampleInterval = 1000;  // ms

// Battery curve: 128 times the raw sample against the level in percent.
struct CurvePoint {
  int value;
  int level;
};
constexpr CurvePoint kBatteryCurve[] = {{128, 0},   {1756, 4},  {3802, 20}, {4738, 40},
                                        {5674, 60}, {6670, 80}, {7606, 100}};
constexpr int kCurvePoints = sizeof(kBatteryCurve) / sizeof(kBatteryCurve[0]);

// Below the first point its segment goes on.
constexpr int BatteryLevelOf(int sample) {
  const int v = sample * 128;
  if (v >= kBatteryCurve[kCurvePoints - 1].value) return kBatteryCurve[kCurvePoints - 1].level;
  int upper = 1;
  while (v >= kBatteryCurve[upper].value) upper++;
  const auto [v0, l0] = kBatteryCurve[upper - 1];
  const auto [v1, l1] = kBatteryCurve[upper];
  return ((v - v0) * l1 + (v1 - v) * l0 + (v1 - v0) / 2) / (v1 - v0);
}

static_assert(BatteryLevelOf(0) == 0 && BatteryLevelOf(9) == 3 && BatteryLevelOf(30) == 21 &&
              BatteryLevelOf(60) == 100);

bool RingIsFull(const ControlSignals* ctrlSigs) { return ctrlSigs->batVoltageValIdx >= kRingSize; }

BYTE LargestSample(const ControlSignals* ctrlSigs) {
  BYTE largest = 0;
  for (const Shared<BYTE>& sample : ctrlSigs->batVoltageVal) {
    const BYTE value = sample;
    if (value > largest) largest = value;
  }
  return largest;
}

// One frame with the storage colour, repeated until it is answered.
BYTE ExchangeColour(const ControlSignals* ctrlSigs) {
  BYTE reply = 0;
  while (reply == 0) {
    reply = LumoStcSpiReadWrite(ctrlSigs->ledCtrl0B, ctrlSigs->ledCtrl0G, ctrlSigs->ledCtrl0R, 0);
  }
  return reply;
}

}  // namespace

BYTE LumoStcSpiReadWrite(BYTE ledCtrl0B, BYTE ledCtrl0G, BYTE ledCtrl0R, BYTE needShutdown) {
  BYTE command = 0;
  if (ledCtrl0B != 0) command |= kLedBlue;
  if (ledCtrl0G != 0) command |= kLedGreen;
  if (ledCtrl0R != 0) command |= kLedRed;
  if (needShutdown != 0) command |= kPowerOff;

  uint16_t sendVal = static_cast<uint16_t>(command << 8 | static_cast<BYTE>(~command));
  uint16_t recvVal = 0;
  auto shiftOut = [&sendVal] {
    LumoGpioSetSpiMosi((sendVal & 0x8000) != 0);
    sendVal = static_cast<uint16_t>(sendVal << 1);
  };

  LumoGpioSetSpiSs(0);
  shiftOut();
  LumoStcSpiDelay();
  for (int bit = 0; bit < kFrameBits; bit++) {
    LumoGpioSetSpiSclk(0);
    LumoStcSpiDelay();
    LumoGpioSetSpiSclk(1);
    // Data in is taken at the rising edge itself; data out moves only behind it.
    recvVal = static_cast<uint16_t>(recvVal << 1 | (LumoGpioGetSpiMiso() != 0 ? 1 : 0));
    shiftOut();
    LumoStcSpiDelay();
  }
  LumoGpioSetSpiSs(1);
  LumoGpioSetSpiMosi(1);
  for (int i = 0; i < kGapDelays; i++) LumoStcSpiDelay();

  const BYTE high = static_cast<BYTE>(recvVal >> 8);
  const BYTE low = static_cast<BYTE>(recvVal);
  return high == static_cast<BYTE>(~low) ? high : 0;
}

void LumoStcShowColour(ControlSignals* ctrlSigs) {
  if (ctrlSigs->stcSpiMode == 0) {
    LumoGpioSetSpiSclk(ctrlSigs->ledCtrl0B);
    LumoGpioSetSpiSs(ctrlSigs->ledCtrl0G);
    LumoGpioSetSpiMosi(ctrlSigs->ledCtrl0R);
    return;
  }
  ExchangeColour(ctrlSigs);
}

BYTE LumoStcGetBtnOut(ControlSignals* ctrlSigs) {
  if (ctrlSigs->stcSpiMode == 0) return LumoGpioGetSpiMiso();

  const BYTE reply = ExchangeColour(ctrlSigs);

  const int count = ctrlSigs->batVoltageValIdx;
  if (count < kRingSize || LumoGetTime() - ctrlSigs->batVoltageTime > kSampleInterval) {
    ctrlSigs->batVoltageVal[static_cast<size_t>(count % kRingSize)] = reply & kReplySample;
    ctrlSigs->batVoltageValIdx = count + 1;
    ctrlSigs->batVoltageTime = LumoGetTime();
  }
  ctrlSigs->batCharging = (reply & kReplyNotCharging) == 0 ? 1 : 0;
  return (reply & kReplyReleased) != 0 ? kBtnReleased : kBtnPressed;
}

BYTE LumoGetBatteryVoltageVal(ControlSignals* ctrlSigs) { return RingIsFull(ctrlSigs) ? LargestSample(ctrlSigs) : 0; }

int LumoGetBatteryLevel(ControlSignals* ctrlSigs) {
  return RingIsFull(ctrlSigs) ? BatteryLevelOf(LargestSample(ctrlSigs)) : -1;
}

void lumoStcNeedShutdown(ControlSignals* ctrlSigs) {
  LumoGpioSetLedEn0(0);
  if (ctrlSigs->stcSpiMode == 0) {
    LumoGpioSetSpiSclk(0);
    LumoGpioSetSpiSs(0);
    LumoGpioSetSpiMosi(0);
    return;
  }
  while (LumoStcSpiReadWrite(0, 0, 0, 1) == 0) {
  }
}
