#include "tools/campaign/points.h"

#include <sstream>

#include "twin/board.h"

namespace campaign {

namespace {

// "name: fail=ERRNO, value=N something (words), silence; detail ..." -> the effects that are named behind the colon. A
// point that names none has one way to fail, or says that any will do.
std::vector<std::string> EffectsOf(const std::string& what) {
  std::vector<std::string> effects;
  const std::string list = what.substr(0, what.find("; detail"));
  const auto names = [&](const char* word) { return list.find(word) != std::string::npos; };
  if (names("fail")) effects.emplace_back("fail=EIO");
  if (names("silence") && !names("no answer")) effects.emplace_back("silence");
  if (names("value=")) {
    effects.emplace_back("value=0");
    effects.emplace_back(names("value=0|1") ? "value=1" : "value=0xA5");
  }
  if (names("delay")) effects.emplace_back("delay=400ms");
  if (names("powercut")) effects.emplace_back("powercut");
  if (effects.empty() || names("any effect")) effects.emplace_back("fail=EIO");
  return effects;
}

}  // namespace

std::vector<Way> AllWays() {
  std::vector<Way> ways;
  twin::Board board{twin::BoardOptions{}};
  for (const twin::FaultPoint* point : board.faults.Points()) {
    for (const std::string& effect : EffectsOf(point->What())) ways.push_back({point->Name(), effect});
  }
  return ways;
}

}  // namespace campaign
