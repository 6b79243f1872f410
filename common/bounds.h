// The lesser or greater of two values, by width.
#pragma once

#include "common/types.h"

constexpr BYTE BMin(BYTE a, BYTE b) { return a < b ? a : b; }
constexpr uint16_t USMin(uint16_t a, uint16_t b) { return a < b ? a : b; }
constexpr uint16_t USMax(uint16_t a, uint16_t b) { return a > b ? a : b; }
constexpr int LMin(int a, int b) { return a < b ? a : b; }
constexpr int LMax(int a, int b) { return a > b ? a : b; }
