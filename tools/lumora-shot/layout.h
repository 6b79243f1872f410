// The numbers of the shot file's format.
#pragma once

#include <array>
#include <cstdint>

namespace shot {

constexpr uint16_t tokenOri = 0x73C1;
constexpr uint16_t tokenDwo = 0x73C2;
constexpr uint16_t tokenRecord = 0xFFD0;
constexpr uint16_t tokenSkipped = 0xFFD1;
constexpr uint16_t tokenThumbnail = 0xFFD2;
constexpr uint16_t tokenPictures = 0xFFD3;
constexpr uint16_t tokenLogo = 0xFFD5;
constexpr uint16_t tokenVignetting = 0xFFD7;
constexpr uint16_t tokenCameras = 0xFFD8;
constexpr uint16_t tokenIndex = 0xFFD9;

constexpr int64_t sectionHead = 6;  // token and size
constexpr int64_t recordAt = 8;
constexpr int64_t recordSize = 256;
constexpr int64_t camerasHeadAt = 264;
constexpr int64_t cameraRow = 32;
constexpr int64_t vignettingRow = 3080;
constexpr int64_t skippedSection = 270;  // from its token to the next token
constexpr int64_t entrySize = 20;

constexpr int firstDeviceOfSecondForm = 10;
constexpr int thumbnailWidth = 408;
constexpr int thumbnailHeight = 306;

// The cameras that the first half of a two-half shot takes; the second half takes the others.
constexpr std::array<bool, 25> firstHalf = {true,  true,  false, false, true,  true, true,  true,  false,
                                            false, false, true,  true,  true,  true, false, false, false,
                                            true,  true,  true,  true,  false, true, true};

}  // namespace shot
