// What things take and how the array is cut: the numbers that several of its models share.
#pragma once

#include <array>
#include <cstdint>

#include "twin/kernel/kernel.h"

namespace twin {

constexpr int kLayers = 3;
constexpr std::array<int, kLayers> kCamerasOfLayer = {9, 8, 8};
constexpr int kCameras = 25;
constexpr int kMeasuringLayer = 1;  // its sensors' light is measured, and it holds the exposure sets
constexpr int kBrackets = 6;        // most exposures of a shot
constexpr int kSlots = 54;          // frames that a layer's store holds: camera x 6 + bracket
constexpr int kGroupSplit = 7;      // cameras 0 to 6 of a layer hang on one control bus, 7 and 8 on another

// Image number 0 to 24 of a camera by its layer and its place there. Layer 1's last camera is the last image.
constexpr int ImageNumber(int layer, int position) {
  if (layer == 0) return position;
  if (layer == 1) return position == 7 ? 24 : 9 + position;
  return 16 + position;
}

// Whether a camera's samples reach the processor with neighbouring pairs exchanged. It hangs on how its layer takes the
// sensor's lanes: so every third camera does.
constexpr bool PairsExchanged(int camera) { return camera % 3 == 2; }

// A layer's delay counters run at 0.5 MHz.
constexpr Duration kDelayUnit = 2us;

// The sensors' control bus runs at 400 kHz: bytes of nine bits, start and stop.
constexpr Duration kControlWrite = 95us;  // device, register high and low, value
constexpr Duration kControlRead = 120us;  // device, register high and low, device again, value
constexpr Duration kSensorWake = 341us;   // 8192 cycles of 24 MHz from reset to the first control access
constexpr Duration kStreamStart = 2ms;    // from the streaming bit to the first frame: PLL and first reset of the rows
constexpr int kFrameSyncRows = 16;        // how long a frame sync stays high
constexpr int kFrameMargin = 4;           // rows of a frame in which no exposure can lie

constexpr Duration kShortestProgramB = 200ns;  // the parts' own is 500 ns, at accesses slower than the modelled ones
constexpr Duration kShortestReset = 500us;     // of the layers
constexpr Duration kFabricStart = 500us;       // from the end of their reset to the first frame that they take
constexpr Duration kShortestPowerOff = 100ms;  // until the supply's capacitors are empty
constexpr Duration kConversion = 600us;        // of a sensor's temperature, and how long its trigger must rest before

constexpr Duration kHousekeeping = 3ms;   // from PROGRAM_B or power to INIT: the configuration memory is cleared
constexpr Duration kSuspendWake = 100us;  // from SUSPEND low to a running clock
constexpr Duration kSaveTail = 15ms;      // from a frame's last row to its last byte in the layer's memory
constexpr Duration kSendTime = 36ms;      // a stored frame on the lanes to the processor

}  // namespace twin
