// The integer widths that the whole application speaks in.
#pragma once

#include <cstdint>

using BYTE = uint8_t;  // every flag and every register byte
