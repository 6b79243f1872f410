// What the ISP's exposure control decides, taken for the sensor: frame rate, exposure, gains. The rate sets the chip's
// timing; exposure and gains end in the list of sensor registers that the ISP sends to a writer of nothing.
// Thread that runs the ISP.
#pragma once

#include "sdk/hi_mpi_sensor.h"

// Period and lines for a rate from half a frame per second to the mode's highest; tells the library the rate, the
// lines, the longest exposure and the lines of half a second. HI_SUCCESS.
// HI_FAILURE, with a line on standard output and nothing changed: another rate, no such mode, null pointer.
HI_S32 cmos_fps_set(HI_FLOAT f32Fps, AE_SENSOR_DEFAULT_S* pstAeSnsDft);

// Stretches the frame to this many lines, at most 0x3FFFF; tells the library the longest exposure. Results as above.
HI_S32 cmos_slow_framerate_set(HI_U32 u32FullLines, AE_SENSOR_DEFAULT_S* pstAeSnsDft);

// Exposure in lines.
void cmos_inttime_update(HI_U32 u32IntTime);

// Register values of the gains, as gains.h gives them: 0 to 0x7A0, and 0 to 3.
void cmos_gains_update(HI_U32 u32Again, HI_U32 u32Dgain);

// The list: all of it after a change of the mode, later what has changed since the last time. HI_FAILURE: null pointer.
HI_S32 cmos_get_sns_regs_info(ISP_SNS_REGS_INFO_S* pstRegsInfo);
