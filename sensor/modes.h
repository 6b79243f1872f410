// The modes of the sensor whose part the FPGA plays, and the state of its description.
//
// At the chip's input there is no sensor: the FPGA sends the pictures of its own cameras. The ISP wants one described
// all the same, so this is the driver of an IMX226 with its register access cut off. It gives the ISP all that it asks
// for, and runs the chip's own line and frame timing. The real cameras are set through the FPGA, by camera_sensors.h.
#pragma once

#include "sdk/hi_mpi_sensor.h"

constexpr SENSOR_ID IMX226_ID = 226;
constexpr int IMX226_MODES = 6;
constexpr int IMX226_MODE_SETTINGS = 4;

struct IMX226_MODE_S {
  const char* pcName;
  HI_U32 u32Clock;       // Hz; both periods count it
  HI_U32 u32HorPeriod;   // of a line
  HI_U32 u32VertPeriod;  // of a frame, at the highest rate
  HI_U32 u32FullLines;   // of a frame, at the highest rate
  HI_U32 u32MaxFps;
  // Words for the sensor, register << 16 | value. They reach nothing, so these are our own stand-ins.
  HI_U32 au32Setting[IMX226_MODE_SETTINGS];
};

extern const IMX226_MODE_S g_astImx226ModeTbl[IMX226_MODES];

// Written by the thread that starts the ISP, then read by the one that runs it.
extern HI_U8 gu8SensorImageMode;  // row of the table
extern HI_U32 gu32FullLinesStd;   // lines of a frame at the rate that stands
extern HI_U32 gu32FullLines;      // the same, or more while the frame rate is slowed down
extern HI_BOOL bInit;             // the list of sensor registers has been offered in full
extern HI_BOOL bSensorInit;       // the sensor has been started

// The row that gu8SensorImageMode selects; null, with a line on standard output, if there is none.
const IMX226_MODE_S* imx226_current_mode();

// --- callbacks of the ISP ---

// Selects mode 2 with its lines; nothing is started.
void sensor_global_init();

// Mode 2 for pictures up to 4196 x 2160, else mode 0 up to 4000 x 3000. HI_SUCCESS: the mode is to be started.
// HI_FAILURE: it runs already, the picture is too large (with a line on standard output), or a null pointer.
HI_S32 cmos_set_image_mode(const ISP_CMOS_SENSOR_IMAGE_MODE_S* pstImageMode);

// Linear mode alone. Takes the lines that the mode of the picture has in it. HI_SUCCESS or HI_FAILURE.
HI_S32 cmos_set_wdr_mode(HI_U8 u8Mode);
