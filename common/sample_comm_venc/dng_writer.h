// One cleaned raw frame as a DNG file: a small RGB preview in the first directory, the raw mosaic in a sub-directory,
// the exposure in an EXIF directory. The layer underneath is libtiff.
#pragma once

#include <cstdint>

#include "common/sample_comm_venc/venc_status.h"

// Writes `rawPath`, which takes a few milliseconds besides the disk's own time. Main thread.
//   imgData    imgHeight rows of imgWidth samples without gaps, 10 significant bits at the top of 16, black level 0;
//              cameras 2 to 22 as they are after preprocessing: each row mirrored, the rows in the sensor's order.
//              Not changed.
//   imgWidth   64 to 3264
//   imgHeight  4 to 3264
//   camIdx     0 to 24: cameras 2 to 22 are turned by 180 degrees on the way to the file
//   hdrIdx     0 to 5: which of en's exposures the frame is
//   en         read: gain, expsTime, isoMode, evBiasMode
//   rawPath    "<folder of the shot's name>/RAW_%02d_%d.dng"; its 19 characters in front of ".dng" become the file's
//              date fields
// Returns 0, or -1: the file could not be created or a raw row not written (what was written stays; it has no complete
// raw picture), or a size or hdrIdx is outside its range (no file is made). Failures to write the preview or a
// directory are not noticed. What libtiff has to say goes to the debug stream.
int LumoSaveDNG(const uint16_t* imgData, int imgWidth, int imgHeight, int camIdx, int hdrIdx, const LumoVencStatus* en,
                const char* rawPath);
