// Makes a whole shot file of what is left of one.
#pragma once

#include "tools/rescue/placement.h"

namespace rescue {

struct Rescued {
  Head head;
  Finds finds;
  Placement placement;
  shot::Bytes thumbnail;  // empty if there is no picture at all
  bool thumbnailMade = false;

  int Places() const { return 2 * head.cameras * head.exposures; }
  int Certain() const;
  int Damaged() const;  // placed pictures whose data are not sound
  bool Complete() const { return Certain() == Places() && Damaged() == 0; }
};

// Looks through a damaged shot. Takes bytes of any kind; nothing that they hold is believed without a second fact.
//   look  decodes a picture; LookAt but for tests
Rescued Rescue(Source source, const Looker& look = LookAt);

// Gives a shot file of the placed pictures to `write`, piece by piece: the pictures byte for byte as they are, in their
// old order.
void ComposeShot(Source source, const Rescued& rescued, const std::function<void(Source)>& write);

// Writes that file: beside `path`, and it takes that name when it is whole. Throws shot::CannotWrite; then nothing is
// left.
void WriteShot(Source source, const Rescued& rescued, const std::string& path);

// One line a place of the shot: which picture, and what became of it.
std::string ListOf(const Rescued& rescued);
// A few sentences for a person.
std::string SummaryOf(const Rescued& rescued);

}  // namespace rescue
