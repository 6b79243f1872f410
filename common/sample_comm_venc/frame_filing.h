// Files encoded frames in the shot file.
#pragma once

#include "common/control_signals.h"
#include "common/sample_comm_venc/venc_status.h"

// Decides by the replay sequence whether and where a channel's frame goes into the shot file, writes it straight from
// the encoder's buffers (flushing after each pack), fills its index entry and counts the frame. The first copy of a
// picture stays: what a retry brings twice is only counted. The half picture of the thumbnail's camera is copied to
// jpgFileBuf as well. Results of the writes are not looked at: room on the disk is tested before a shot.
//   pstStream  the frame's packs; they stay the encoder's
//   ch         0 full pictures, 1 half pictures
// Returns 0; -1 if no shot file is open, and then the frame is not counted. Main thread.
int SAMPLE_COMM_VENC_SaveSnap(const VENC_STREAM_S* pstStream, LumoVencStatus* en, int ch,
                              const ControlSignals* ctrlSigs);
