// The gains that the sensor can do, as the exposure library asks for them. 1024 is unity.
#pragma once

#include "sdk/hi_type.h"

constexpr HI_U32 IMX226_GAIN_UNITY = 1024;
constexpr HI_U32 IMX226_AGAIN_TOP = 0x5555;  // the highest analog gain, and its register value
constexpr HI_U32 IMX226_AGAIN_TOP_VALUE = 0x7A0;

// In: the gain wanted. Out: the nearest one below it that there is, and the register value that makes it.
// HI_FAILURE, with a line on standard output: a null pointer.
HI_S32 cmos_again_calc_table(HI_U32* pu32AgainLin, HI_U32* pu32AgainDb);  // value 0 to 0x7A0, in steps of 16
HI_S32 cmos_dgain_calc_table(HI_U32* pu32DgainLin, HI_U32* pu32DgainDb);  // value 0 to 3, a doubling each
