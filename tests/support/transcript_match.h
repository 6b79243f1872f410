// Whether what left the application is what a rule says.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

// All lines, in order. A failure shows the first line that differs, with what stands around it on both sides.
inline testing::AssertionResult SameRoad(const std::vector<std::string>& expected,
                                         const std::vector<std::string>& got) {
  size_t at = 0;
  while (at < expected.size() && at < got.size() && expected[at] == got[at]) at++;
  if (at == expected.size() && at == got.size()) return testing::AssertionSuccess();
  auto failure = testing::AssertionFailure();
  failure << "the roads part at line " << at << " of " << expected.size() << " expected and " << got.size() << " made";
  for (size_t i = at < 4 ? 0 : at - 4; i < at; i++) failure << "\n           " << got[i];
  for (const auto& [who, lines] : {std::pair{"expected", &expected}, std::pair{"made    ", &got}}) {
    for (size_t i = at; i < at + 4; i++) {
      failure << "\n  " << who << " " << (i < lines->size() ? (*lines)[i] : "(nothing more)");
      if (i >= lines->size()) break;
    }
  }
  return failure;
}
