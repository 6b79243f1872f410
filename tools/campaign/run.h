// One run: a camera with a shot on its disk is switched on, shoots, has its faults taken away, shoots again and is
// switched off. What must hold whatever breaks is looked at afterwards; no output is expected.
//
// Looked at: nothing hangs beyond the system's own limits; every listed shot is whole; a shot of whose saving the
// person was told is there after a loss; the shot from before is the same to the byte; of an unfinished one, at a cut
// or a pull of the plan, just the pictures can be rescued whose bytes reached the disk; without the faults the next
// press gives a good shot, a fifth of its pictures drawn and each in its place; heap, descriptors and streams are where
// they were; the array rests; visitors get what they ask for; the board objects to nothing. Not looked at: the files in
// the flash.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "tools/campaign/handshakes.h"
#include "tools/campaign/plan.h"

namespace campaign {

struct Outcome {
  bool fired = false;  // every fault of the plan has happened at least once
  double boardSeconds = 0;
  unsigned checked = 0;            // invariants looked at
  std::vector<std::string> finds;  // what does not hold, a sentence each
  std::vector<std::string> told;   // what does not hold by a cause that docs/behaviour.md names: the cause
  std::string log;                 // of the application
  std::vector<Handshake> handshakes;
  std::map<std::string, uint64_t> asked;  // operations of each point that the plan's faults name
};

// The shot from before, made by an unbroken run. `shot` is where it is to lie.
void MakeShotFromBefore(const std::filesystem::path& shot);

// In this process, which must have no board. Throws std::invalid_argument for what the board does not know.
Outcome RunHere(const Plan& plan, const std::filesystem::path& shotFromBefore);

}  // namespace campaign
