// Access to the sensor's registers, of which deliberately nothing is left: the lanes belong to the FPGA, and a device
// behind these functions would disturb it. The driver's sequences run on top of them with their waits and reach
// nothing.
#pragma once

#include "sdk/hi_mpi_sensor.h"

// All four return 0 at once and do nothing. sensor_write_register, the third, is declared with the ISP, which calls it.
int sensor_spi_init();
int sensor_spi_exit();
int sensor_read_register(HI_U32 u32Addr);

// Words for sensor_prog: register << 16 | value, or one of these two in the register's place.
constexpr HI_U32 SENSOR_PROG_WAIT = 0xFFFE;  // value: milliseconds
constexpr HI_U32 SENSOR_PROG_END = 0xFFFF;

// Writes `rom` word by word up to its end mark, which must be there.
void sensor_prog(const HI_U32* rom);

// What every linear mode begins with.
void imx226_sensor_linear_common_init();
