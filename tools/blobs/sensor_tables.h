// Stand-ins for the sensors' two set-up tables, as the program embeds them: words of address << 8 | value,
// little-endian, written to every sensor in table order.
//
// The rows that the system's logic rests on (clocks, window, sizes, line and frame length, exposure defaults,
// orientation, white balance) hold their true values. All other rows only have the right place: their registers come
// from the blocks that the real mode tables cover, in the blocks' order, with arbitrary values. A device builder puts
// the sensor maker's tables here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace blobs {

constexpr size_t sensorTableASize = 238;  // words: mode, clocks, timing, window, output
constexpr size_t sensorTableBSize = 101;  // words: defect and lens correction, white balance, exposure defaults

std::vector<uint32_t> MakeSensorTableA();
std::vector<uint32_t> MakeSensorTableB();

}  // namespace blobs
