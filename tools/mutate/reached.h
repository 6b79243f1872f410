// Where a start, a press and a switch-off come by: a change anywhere else cannot be noticed by them.
#pragma once

#include <filesystem>
#include <functional>
#include <string>

#include "tools/mutate/build_tree.h"

namespace mutate {

// Builds `program` with `file` counting its lines (gcov), lets `run` run it, and tells for a line whether it was run.
// Of a statement over several lines all count as its first; what stands outside of functions counts as reached,
// unless the program has nothing of the file. Works in `place`, which is removed. Throws std::runtime_error if it
// cannot be built.
std::function<bool(size_t line)> Reached(const BuildTree& tree, const std::filesystem::path& place,
                                         const std::filesystem::path& source, const std::string& file,
                                         const std::string& program,
                                         const std::function<void(const std::filesystem::path&)>& run);

}  // namespace mutate
