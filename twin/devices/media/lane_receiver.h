// The receiver at the video lanes: takes a stream apart if its record describes that stream, else sees nothing.
//
// Bus face: /dev/hi_mipi, request 0x41D06D01 with a record of 464 bytes. World face: the stream that is on the lanes.
// Judged: every field of the record, of the lanes that are not used only that they are not. That all four rows of a
// lane's codes are compared, though without WDR one virtual channel comes, is chosen.
#pragma once

#include <array>
#include <optional>

#include "sdk/hi_mipi.h"
#include "twin/device_file.h"
#include "twin/faults/faults.h"

namespace twin {

// How a stream is coded on the lanes.
struct LaneStream {
  uint32_t width, height;
  RAW_DATA_TYPE_E depth;
  int lanes;  // numbered from 0
  LVDS_SYNC_MODE_E syncMode;
  LVDS_ENDIAN_E dataEndian, codeEndian;
  LVDS_VSYNC_TYPE_S vsync;
  LVDS_FID_TYPE_S field;
  std::array<uint16_t, SYNC_CODE_NUM> syncCodes;
  Duration frameTime;  // from a frame's first line to its last
};

// What the array's first layer sends.
constexpr LaneStream kArrayStream = {3264,
                                     2448,
                                     RAW_DATA_10BIT,
                                     4,
                                     LVDS_SYNC_MODE_SOF,
                                     LVDS_ENDIAN_BIG,
                                     LVDS_ENDIAN_BIG,
                                     {0, 0},
                                     {0, 1},
                                     {0x207, 0x267, 0x21F, 0x387},
                                     36ms};

class LaneReceiver final : public DeviceFile {
 public:
  LaneReceiver(Kernel& kernel, Faults& faults);

  // --- bus ---
  int Open(int flags) override;
  int Ioctl(unsigned long request, void* record) override;

  // Whether frames of `stream` come through.
  bool Understands(const LaneStream& stream) const;
  void Reset() { record_.reset(); }

 private:
  Kernel& kernel_;
  std::optional<MIPI_DEV_ATTR_S> record_;
  FaultPoint open_, attributes_;
};

}  // namespace twin
