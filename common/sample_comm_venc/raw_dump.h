// The raw pass: every stored frame of a shot is replayed once more, taken from the video input before the image
// pipeline, cleaned (raw_preprocess.h) and written as a DNG file (dng_writer.h).
//
// Snap thread, while the array is awake. The loads are done by the trigger thread: rawLoadInfo names the frame, as a
// standing request that it repeats every 80 ms, and the frame is taken 200 ms later at the earliest. There is no other
// acknowledgement.
#pragma once

#include "common/control_signals.h"
#include "common/sample_comm_venc/venc_status.h"
#include "sdk/hi_mpi_vi.h"

// Writes "RAW_%02d_%d.dng", camera and exposure, for each frame of the shot that `en` describes, into the folder beside
// the shot file that has its name without the extension. The folder may be there already; files of the same name are
// overwritten. Takes one frame of memory (16 MB), and per frame at least 200 ms and what writing it takes.
//
// Returns 0 or the negative of the code that it leaves in needSave:
//   0   all files are written
//   12  the folder cannot be made (snap_process.h uses the same number for something else)
//   13  a frame does not come, or there is no memory for it
//   14  a file is not written
// Files that were written stay. rawLoadInfo is 0xFF after every way out.
int LumoDumpRawList(const LumoVencStatus* en, ControlSignals* ctrlSigs);

// Takes one raw frame from video input device 0.
//   rawBuf       receives the frame, rows without gaps; null fails
//   rawBufSize   its room, in samples
// Leads the input's data to memory for the time of the call. Returns 0 or the code of the call that failed.
int LumoDumpRaw(uint16_t* rawBuf, int rawBufSize);

// The same while the data already goes there: takes two frames and keeps the second, since the first may have begun
// before. Returns 0 or -1.
int VI_DumpBayer(VI_DEV ViDev, uint16_t* rawBuf, int rawBufSize);

// Copies a frame out of the video input's memory. Returns 0 or -1.
int sample_bayer_dump(const VIDEO_FRAME_S* frame, uint16_t* rawBuf);
