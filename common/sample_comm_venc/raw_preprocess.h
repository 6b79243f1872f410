// Cleans a raw frame as it comes from the video input: levels without black, dither, samples in order, cameras one way
// round. Main thread; the tables are filled once and then only read.
//
// A sample is 16 bits wide and holds a level of 10 bits at its top; what stands in the low six bits is dropped.
#pragma once

#include "common/calibration.h"
#include "common/types.h"

constexpr int kRawWidth = 3264;
constexpr int kRawHeight = 2448;
constexpr int kRawLevels = 1024;
constexpr int kRndRows = 16;  // rows of noise; a frame repeats them

// How far noise is shifted down, by level: 3 below 64, 2 below 192, 1 below 384, else 0.
extern BYTE g_rangeTable[kRawLevels];
// Noise, 0 to 7: rows of `imgWidth` numbers, one for each row of a frame modulo 16.
extern BYTE g_rndTable[kRndRows * kRawWidth];

// Fills both tables. The noise is seeded by the time of day: it differs from one power-on to the next.
void InitRandomTable();

// Cleans one frame in place: `imgWidth` x `imgHeight` samples, rows without gaps.
//   camIdx      0 to 24. Upright cameras keep their columns, the others are mirrored left to right
//   orderTable  an entry a camera: 1 the samples are in order, -1 neighbouring pairs are exchanged, 0 not known yet.
//               Where it is 0 the frame itself decides, and the entry is set: the lanes are exchanged if samples that
//               stand six apart differ no more, over the whole frame, than those that stand two apart
// A level loses its noise and the black level 14, and is held to 0 to 1020.
// A frame whose width is no multiple of eight from 16 to 3264, and a camera that does not exist, are left as they are.
void PreProcRawData(uint16_t* rawBuf, int imgWidth, int imgHeight, int camIdx, int* orderTable);
