// What must be on the stick, whatever breaks: after a cut or a pull of the plan, and at the end.
//
// Looked at: the shot from before is the same to the byte; every listed shot is whole; shots and raw files of whose
// saving the person was told are there; of an unfinished shot just the pictures can be rescued whose bytes reached the
// stick; the settings are old or new; a firmware that waits for the next start is whole. What lay in a sector of a
// folder or of the table that becomes garbage is spared, and told.
#pragma once

#include <filesystem>
#include <map>
#include <set>
#include <string>

#include "tools/campaign/plan.h"
#include "tools/campaign/raw_files.h"
#include "tools/campaign/run.h"
#include "tools/campaign/visitors.h"
#include "twin/board.h"

namespace campaign {

class DiskCheck {
 public:
  // Lays the shot from before, and for a phone old settings, on the board's disk. Counts and tells in `outcome`; what
  // does not hold goes to `find`. All must outlive it.
  DiskCheck(twin::Board& board, const Plan& plan, Outcome& outcome, Tell find, const std::filesystem::path& before,
            Phone& phone, RawFiles& rawFiles);

  // Around a loss of power or of the stick: what it must leave, and whether it has.
  void BeforeLoss();
  void AfterLoss();
  void AtTheEnd();

 private:
  void LookAtShots();
  void LookAtSettings();
  void LookAtFirmware();
  bool IsBystander(const std::filesystem::path& path);

  twin::Board& board_;
  const Plan& plan_;
  Outcome& outcome_;
  Tell find_;
  Phone& phone_;
  RawFiles& rawFiles_;
  const std::string before_;
  const std::filesystem::path beforePath_;
  std::set<std::filesystem::path> saved_;                    // before a loss
  std::map<std::filesystem::path, std::string> unfinished_;  // at a loss: what had been written
  std::set<std::string> bystanders_;
  bool folderLost_ = false;  // with all that was in it
};

}  // namespace campaign
