// Shots on a disk whose folder no longer tells of them.
//
// A disk writes a file's bytes mostly in one piece, and what is deleted stays until something else is written there. So
// the whole disk is searched, at any byte, for the heads of shots and for pictures.
#pragma once

#include <functional>
#include <vector>

#include "tools/rescue/disk_source.h"
#include "tools/rescue/rescue.h"

namespace rescue {

struct Marks {
  std::vector<int64_t> heads;     // where shots begin
  std::vector<int64_t> pictures;  // where pictures of the camera's sizes begin, those of shots included
};

// Reads the whole disk once. `progress` gets the bytes done, now and then.
Marks SearchDisk(DiskSource& disk, const std::function<void(int64_t done)>& progress);

// The bytes of the shot that begins at `head`, in one piece: to the end that its own numbers tell, if something bears
// that out; else to the end of the last picture that follows on the others soundly, since behind it may stand what an
// older shot left. Never beyond `next`, where another one begins. Empty if it has no picture.
shot::Bytes ShotAt(DiskSource& disk, int64_t head, int64_t next, const Looker& look);

// One picture's bytes, if it is whole.
shot::Bytes PictureOn(DiskSource& disk, int64_t at, const Looker& look);

}  // namespace rescue
