// Gathers what the checks of a shot file find.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

#include "tools/lumora-shot/verify.h"

namespace shot {

class Findings {
 public:
  [[gnu::format(printf, 3, 4)]] void Fault(int64_t at, const char* format, ...) {
    va_list values;
    va_start(values, format);
    Add(Weight::Fault, at, format, values);
    va_end(values);
  }
  [[gnu::format(printf, 3, 4)]] void Remark(int64_t at, const char* format, ...) {
    va_list values;
    va_start(values, format);
    Add(Weight::Remark, at, format, values);
    va_end(values);
  }
  std::vector<Finding> Take() { return std::move(found_); }

 private:
  void Add(Weight weight, int64_t at, const char* format, va_list values) {
    char text[512];
    vsnprintf(text, sizeof(text), format, values);
    found_.push_back({weight, at, text});
  }
  std::vector<Finding> found_;
};

// The checks, one file each.
void CheckRecord(const Shot& shot, Findings& findings);
void CheckIndex(const Shot& shot, Findings& findings);
void CheckPictures(const File& file, Depth depth, Findings& findings);

}  // namespace shot
