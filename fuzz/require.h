// What must hold, for targets without a client to show.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace fuzz {

inline void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "violated: %s\n", what);
  std::abort();
}

}  // namespace fuzz
