// Decimal numbers of settings, update files and requests.
#pragma once

#include <climits>
#include <cstdlib>

// As atoi of the device's 32-bit library: leading blanks, a sign, digits; anything else is 0; what an int cannot hold
// saturates. A library whose long is wider would cut such a number instead.
inline int LumoNumber(const char* text) {
  const long number = strtol(text, nullptr, 10);
  if (number > INT_MAX) return INT_MAX;
  return number < INT_MIN ? INT_MIN : static_cast<int>(number);
}
