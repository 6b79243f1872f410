// Programs as a person calls them.
#pragma once

#include <sys/wait.h>

#include <cstdio>
#include <string>

namespace support {

struct Outcome {
  int result;        // its exit status; -1 if it did not end by itself
  std::string text;  // what was printed, complaints and all
};

inline Outcome CallProgram(const std::string& command) {
  FILE* pipe = popen((command + " 2>&1").c_str(), "r");
  Outcome outcome{-1, {}};
  char block[4096];
  for (size_t n; (n = fread(block, 1, sizeof(block), pipe)) > 0;) outcome.text.append(block, n);
  const int status = pclose(pipe);
  if (WIFEXITED(status)) outcome.result = WEXITSTATUS(status);
  return outcome;
}

}  // namespace support
