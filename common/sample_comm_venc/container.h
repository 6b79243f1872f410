// The shot file: tagged sections, little-endian, without gaps. A section is a 2-byte token, mostly a 4-byte size, and
// the body. Order: file token, shot record, calibration, vignetting, logo if there is one, index, JPEGs, thumbnail.
// The records here go to the disk as they stand in memory.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <type_traits>

#include "common/calibration.h"
#include "common/control_signals.h"
#include "common/fpga_ctrl/capture/exposure.h"

static_assert(std::endian::native == std::endian::little, "records are written as they stand in memory");

// In the order of their numbers.
enum ShotFileToken : uint16_t {
  kFileTypeTokenOri = 0x73C1,
  kFileTypeTokenDwo = 0x73C2,
  rawImgInfoToken = 0xFFD0,
  thumbDataSecToken = 0xFFD2,
  jpgDataSecToken = 0xFFD3,
  logoDataSecToken = 0xFFD5,
  camVignetInfosToken = 0xFFD7,
  camConfInfosToken = 0xFFD8,
  jpgDataIndexToken = 0xFFD9,
};

constexpr int kCamConfInfoSize = kCameraCount * sizeof(CameraConfInfo);
constexpr int kCameraVignetSize = sizeof(CameraVignetInfo);  // one camera's
constexpr int kOriPathSize = 256;                            // of a shot file's path, with its terminator
constexpr int kMaxJpgDataIndex = 300;                        // 25 cameras x 6 exposures x 2 sizes

// The shot record. Every field that the writer does not name is 0. The fields totalRows0 to 5 hold the row length in
// pixel clocks (totalColumns), in spite of their name.
struct TagRawImageInfo {
  int32_t deviceId;
  int32_t infoVersion;  // 1
  int32_t shootDateYear;
  int32_t shootDateMon;  // 1 to 12
  int32_t shootDateDay;
  int32_t shootTimeHour;
  int32_t shootTimeMin;
  int32_t shootTimeSec;
  int32_t shootTimeMS;
  int32_t shootIdx;  // files started since power-on, before this one
  int32_t shutterLines0, totalLines0, totalRows0, gain0;
  int32_t shutterLines1, totalLines1, totalRows1, gain1;
  int32_t shutterLines2, totalLines2, totalRows2, gain2;
  int32_t pclkFreq;
  int32_t fNo;
  int32_t focus;
  int32_t focus35mm;
  int32_t evBiasMode;  // thirds of a stop
  int32_t isoMode;
  int32_t hdrMode;  // captureMode + 2
  int32_t wbMode;
  int32_t colorMode;
  int32_t contrastMode;
  int32_t sharpnessMode;
  int32_t oriQuality;  // 95, which is also the full pictures' quality
  int32_t pnoQuality;  // 80; the half pictures' 85 stands nowhere
  int32_t filterMode;
  int32_t twoHalfMode;  // delayMode >> 3
  int32_t antiFlickerMode;
  int32_t timerMode;  // delayMode & 7
  int32_t multiShootMode;
  int32_t prevCamIdx;
  int32_t prevExpos;  // 32
  int32_t vertexX;    // 1e-08 radian, correction included
  int32_t vertexY;
  int32_t longitude;
  int32_t latitude;
  int32_t shutterLines3, totalLines3, totalRows3, gain3;
  int32_t shutterLines4, totalLines4, totalRows4, gain4;
  int32_t shutterLines5, totalLines5, totalRows5, gain5;
  int32_t hdrSelIdxB;  // nothing sets it
  int32_t compassValue;
  int32_t reserve[4];
};
using RawImageInfo = TagRawImageInfo;
static_assert(sizeof(RawImageInfo) == 256);
static_assert(std::has_unique_object_representations_v<RawImageInfo>, "a narrower field would leave a gap");
static_assert(offsetof(RawImageInfo, shutterLines0) == 40 && offsetof(RawImageInfo, gain2) == 84);
static_assert(offsetof(RawImageInfo, evBiasMode) == 104 && offsetof(RawImageInfo, hdrMode) == 112);
static_assert(offsetof(RawImageInfo, oriQuality) == 132 && offsetof(RawImageInfo, twoHalfMode) == 144);
static_assert(offsetof(RawImageInfo, prevExpos) == 164 && offsetof(RawImageInfo, longitude) == 176);
static_assert(offsetof(RawImageInfo, shutterLines3) == 184 && offsetof(RawImageInfo, gain5) == 228);
static_assert(offsetof(RawImageInfo, compassValue) == 236 && offsetof(RawImageInfo, reserve) == 240);

// One picture of the index. All zero: not filled.
struct TagJpgDataIndexInfo {
  int16_t imgType;  // 1 half picture, 2 full picture, 0 empty entry
  int16_t camIdx;   // 0 to 24
  int16_t hdrIdx;   // 0 to 2, or 0 to 5
  int16_t reserve0;
  int32_t reserve1;
  int32_t jpgFileOffset;  // from the first byte of the JPEG section
  int32_t jpgFileSize;    // 0: not filled
};
using JpgDataIndexInfo = TagJpgDataIndexInfo;
static_assert(sizeof(JpgDataIndexInfo) == 20);
static_assert(std::has_unique_object_representations_v<JpgDataIndexInfo>, "a narrower field would leave a gap");
static_assert(offsetof(JpgDataIndexInfo, jpgFileOffset) == 12 && offsetof(JpgDataIndexInfo, jpgFileSize) == 16);
static_assert(sizeof(JpgDataIndexInfo) * kMaxJpgDataIndex == 6000);

// Fills the shot record from the clock (local time and its microseconds), the settings and the exposures.
void LumoFillRawImageInfo(RawImageInfo* info, const ControlSignals* ctrlSigs, const ExposureSets* exposures,
                          const tm* localTime, int microseconds, int shootIdx);

// Write a section's token, or its token and size. Results of the writes are not looked at: room on the disk is tested
// before a shot.
void LumoWriteToken(FILE* file, uint16_t token);
void LumoWriteSectionHead(FILE* file, uint16_t token, int32_t size);

// Whether the shot is an "ori" file; if not, a serial remote is open without a network adapter, and it is a "dwo".
// Asked once for the token and once more for the final name: a change in between is accepted.
bool LumoIsOriShot(const ControlSignals* ctrlSigs);

// Builds the temporary path of a shot, or of a single-camera shot of camera `camIdx`. `path` takes kOriPathSize bytes.
void LumoShotTmpPath(char* path, const ControlSignals* ctrlSigs, const tm* localTime);
void LumoSingleTmpPath(char* path, int camIdx);

// The path of a finished single-camera shot.
void LumoSinglePath(char* path, int camIdx);

// Replaces the last three characters of `path` by the three of `extension`.
void LumoSetExtension(char* path, const char* extension);
