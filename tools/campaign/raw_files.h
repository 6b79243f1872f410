// The DNG files of a raw pass, looked at as each is finished and then made hollow: of its bytes the host keeps the
// number alone, or a pass would fill 1.3 GB.
//
// Looked at: every directory's pixels are there to the last byte, the raw picture's in the sensors' size, and, of a
// fifth drawn by the seed, whether it shows the camera and exposure that its name tells. Of a pass that was told as
// saved each file is there afterwards, in its length, whatever loss comes. Not looked at: tags, and bytes that a loss
// changes within a file.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "tools/campaign/visitors.h"
#include "twin/board.h"

namespace campaign {

class RawFiles {
 public:
  RawFiles(twin::Board& board, Tell tell, uint64_t seed);  // listens to the board's log
  // The pass is over and was told as saved, or not. Then all of its files must have been whole.
  void PassIsOver(bool saved);
  // The files of saved passes that are gone, or not of their length any more.
  std::vector<std::filesystem::path> Lost() const;

 private:
  void Judge();

  twin::Board& board_;
  Tell tell_;
  uint64_t number_;                                   // of the next file, counted from the seed
  std::filesystem::path last_;                        // being written
  std::string wrong_;                                 // with the first file that is not whole
  std::map<std::filesystem::path, uintmax_t> files_;  // of this pass, with their lengths in bytes
  std::map<std::filesystem::path, uintmax_t> saved_;  // of those that were told as saved
};

}  // namespace campaign
