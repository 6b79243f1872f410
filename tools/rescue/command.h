// `lumora-shot rescue`: takes the order, tells its course and writes the files.
#pragma once

#include <string>

namespace rescue {

struct Order {
  std::string source;  // a shot file; with `scan` the image of a disk, or the disk itself
  std::string out;     // the shot file to write; with `scan` a directory for them
  bool scan = false;
  bool list = false;         // tell of each picture
  bool certainOnly = false;  // leave doubtful pictures out
};

// The program's result: 0 all pictures are there and certain, 1 some, 2 none, or nothing that can be read or written.
// The source is never written to; what is there under the name of `out` stays, and is a reason to refuse.
// Throws shot::CannotRead, shot::CannotWrite.
int Run(const Order& order);

}  // namespace rescue
