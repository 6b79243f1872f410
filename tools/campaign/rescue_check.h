// Whether the pictures that reached the disk can be had back from an unfinished shot.
#pragma once

#include <string>

namespace campaign {

// `written` is what the camera had written, `left` what the disk has of it. Pictures follow each other without gaps, so
// each that is the same in both, to its last byte, must be rescued, and no other. Empty, or what is wrong.
std::string WrongRescue(const std::string& written, const std::string& left);

}  // namespace campaign
