// Shot files of the smallest size that their form allows.
#pragma once

#include <map>
#include <memory>
#include <string>

namespace fuzz {

// By name: "plain.ori"; "logo.ori", with a logo and six exposures; "large.ori", the form with 36 cameras and a section
// that is stepped over; "cut.ori", which ends in its index; "12.jpg", a picture of one camera. Pictures are a few
// bytes.
const std::map<std::string, std::shared_ptr<const std::string>>& SmallShots();

}  // namespace fuzz
