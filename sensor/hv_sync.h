// The chip's own line and frame timing, the one thing that the description really sets: a sensor of this kind is a
// slave that is clocked by the chip.
#pragma once

#include "sdk/hi_type.h"

// Two registers and what they are called by, in words of the record.
enum IMX226_HV_SYNC_E {
  HV_SYNC_CONTROL,      // top two bits: timing runs
  HV_SYNC_VERT_PERIOD,  // of a frame, in sensor clocks
  HV_SYNC_HOR_PERIOD,   // of a line, in sensor clocks
  HV_SYNC_VERT_WIDTH,   // of the pulses
  HV_SYNC_HOR_WIDTH,
  HV_SYNC_WORDS
};
constexpr HI_U32 HV_SYNC_RUNS = 0xC0000000;

// What IMX226_MasterHvSyncWrite writes. Owned by the callbacks.
extern HI_U32 gau32HvSync[HV_SYNC_WORDS];

// Maps the chip's registers, writes the record and unmaps them again. 0, or -1 if a mapping fails; nothing is then
// written.
int IMX226_MasterHvSyncWrite();
