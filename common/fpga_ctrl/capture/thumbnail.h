// The three steps from a half picture's JPEG to the thumbnail of a shot. Pictures are planar YUV 4:2:0 without row
// padding: luma, then the two chroma planes of half width and half height. Reentrant, no state; the snap thread uses
// them.
#pragma once

#include "common/types.h"

// Decodes a JPEG that must have exactly the given size in pixels, 4:2:0 and YCbCr.
//   imgYUVBytes  imgWidth x imgHeight x 3 / 2 bytes
// Returns 0, or with the picture cleared (except for -1): -1 no decompressor, -2 not a JPEG, -3 another picture than
// asked for, -4 damaged data. After -2 and -3 the decompressor stays behind, undestroyed.
int LoadJPGBuf(BYTE* imgYUVBytes, const BYTE* jpgFileBuf, int jpgFileSize, int imgWidth, int imgHeight);

// Encodes a picture as JPEG 4:2:0.
//   jpgFileBuf     receives the JPEG; at least LumoJPGBufSize bytes, which is what may be written to it
//   jpgFileSize    receives its length
//   outputQuality  1 to 100
// Returns 0; -1 no compressor, -2 compression failed.
int SaveJPGBuf(BYTE* jpgFileBuf, int* jpgFileSize, const BYTE* imgYUVBytes, int imgWidth, int imgHeight,
               int outputQuality);

// Bytes that no 4:2:0 JPEG of this size exceeds.
int LumoJPGBufSize(int imgWidth, int imgHeight);

// Reduces a picture to a quarter of its width and height and turns it by 180 degrees: each sample is the rounded mean
// of a block of 4 x 4.
//   dstYUVBytes  dstWidth x dstHeight picture, at least 32 wide; must not overlap the source
//   srcYUVBytes  luma 4 dstWidth x 4 dstHeight, then the chroma planes, 4 (dstWidth / 2) x 4 (dstHeight / 2)
constexpr int kMinZoomWidth = 32;
void ZoomQtrYuv(BYTE* dstYUVBytes, const BYTE* srcYUVBytes, int dstWidth, int dstHeight);
