// The ISP: its start on the main thread, and the thread that it runs in until its end.
#pragma once

#include "sdk/hi_mpi_isp.h"

// Frames per second that the ISP is told. The array sends when it is asked to; the rate only paces the ISP's own loop.
enum SAMPLE_FRAME_RATE_E { SAMPLE_FRAMERATE_DEFAULT = 0 };

// Registers the sensor's description and the three algorithm libraries, and sets ISP 0 up for frames of 3264 x 2448,
// BGGR. Returns HI_SUCCESS, or the code of the call that failed. Undoes nothing: SAMPLE_COMM_ISP_Stop does.
HI_S32 SAMPLE_COMM_ISP_Init(WDR_MODE_E enWDRMode, SAMPLE_FRAME_RATE_E enFrmRate);

// Starts the ISP thread and gives it a millisecond. Returns HI_SUCCESS, or HI_FAILURE if there is no thread.
HI_S32 SAMPLE_COMM_ISP_Run();

// Ends the ISP and waits for its thread, if there is one. Main thread, or the signal handler.
void SAMPLE_COMM_ISP_Stop();
