// Judges a shot file: is it whole, is it what the camera writes, and if not, what is wrong and where.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/lumora-shot/shot_file.h"

namespace shot {

enum class Weight {
  Remark,  // unusual, but a finished shot of a working camera can look like this
  Fault,   // the file is damaged, unfinished, or not what the camera writes
};

struct Finding {
  Weight weight;
  int64_t at;        // position in the file
  std::string text;  // what is wrong, in words for a person
};

enum class Depth {
  Structure,  // sections, record, index, and the head and the end of each JPEG
  Pictures,   // all of that, and the data of every JPEG
};

// Nothing found: a finished shot, complete to the last byte. Throws CannotRead if the file cannot be read at all.
std::vector<Finding> Verify(const std::string& path, Depth depth = Depth::Pictures);
std::vector<Finding> Verify(const File& file, Depth depth = Depth::Pictures);

bool HasFault(const std::vector<Finding>& findings);
// Its text; nothing if there is none.
std::optional<std::string> FirstFault(const std::vector<Finding>& findings);

// One line a finding: "at 78076: ...". For messages of tests and of the program.
std::string Text(const std::vector<Finding>& findings);

}  // namespace shot
