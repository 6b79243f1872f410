// The preview of a DNG file: a quarter of the mosaic's width and height, one pixel out of each 4 x 4 samples, a fixed
// colour matrix and a tone curve. Integers only, but for the curve.
#pragma once

#include <array>
#include <cstdint>

// The tone curve, made once for each file. It takes 14 bits and gives 14, of which the upper eight are kept: so it
// stays in the processor's nearest memory.
using PrintCurve = std::array<uint8_t, 16384>;

void LumoBuildPrintCurve(PrintCurve* printCurve);

constexpr int kPreviewScale = 4;
constexpr int kMinPreviewWidth = 16;
constexpr int kMaxPreviewWidth = 816;

// Makes row `y` of the preview: imgWidth / 4 pixels of red, green, blue bytes at `thumbLine`.
//   imgData    the mosaic, see LumoSaveDNG
//   imgWidth   64 to 3264
//   imgHeight  4 and above
//   order      1 for a camera that stands as it is, -1 for one that is turned by 180 degrees
//   y          0 to imgHeight / 4 - 1
void LumoMakePreviewRow(const uint16_t* imgData, int imgWidth, int imgHeight, int order, int y,
                        const PrintCurve* printCurve, uint8_t* thumbLine);
