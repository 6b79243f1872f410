// From the board's way of telling a failure to the C library's.
#pragma once

#include <cerrno>

namespace twin {

// A result of 0 or more stays; the negative of an errno value becomes -1 with errno set.
template <class Result>
Result WithErrno(Result result) {
  if (result >= 0) return result;
  errno = static_cast<int>(-result);
  return -1;
}

}  // namespace twin
