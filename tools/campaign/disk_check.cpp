#include "tools/campaign/disk_check.h"

#include <fstream>

#include "tools/campaign/file_bytes.h"
#include "tools/campaign/rescue_check.h"
#include "tools/lumora-shot/verify.h"

namespace campaign {

namespace fs = std::filesystem;

namespace {

constexpr const char* kOldSettings =
    "capturemode=0\nstrobemode=0\nisomode=0\nevcompval=0\nmanualexpsus=0\nmanualiso=0\ndelaymode=0\nsaveraw=0\n"
    "btnsetting=0\nshutdownmode=0\nthumbcamidx=12\nwirelessid=0\nprefix=old\n";

}  // namespace

DiskCheck::DiskCheck(twin::Board& board, const Plan& plan, Outcome& outcome, Tell find, const fs::path& before,
                     Phone& phone, RawFiles& rawFiles)
    : board_(board),
      plan_(plan),
      outcome_(outcome),
      find_(std::move(find)),
      phone_(phone),
      rawFiles_(rawFiles),
      before_(Bytes(before)),
      beforePath_(board.disk.Directory() / "DCIM" / before.filename()) {
  fs::create_directories(beforePath_.parent_path());
  fs::copy_file(before, beforePath_);
  if (plan.phone) std::ofstream(beforePath_.parent_path() / "setting.ini") << kOldSettings;
}

void DiskCheck::BeforeLoss() {
  if (board_.Powered() && !board_.panel.ShotLine()) {
    for (const fs::path& shot : board_.disk.Shots()) saved_.insert(shot);
  }
  std::error_code none;
  for (const auto& entry : fs::directory_iterator(beforePath_.parent_path(), none)) {
    const bool oneCamera = entry.path().stem().string().size() == 2;  // a JPEG alone, with nothing to rescue
    if (entry.path().extension() == ".tmp" && !oneCamera) unfinished_[entry.path()] = Bytes(entry.path());
  }
}

void DiskCheck::AfterLoss() {
  const auto& bystanders = board_.disk.LastLoss().bystanders;
  bystanders_.insert(bystanders.begin(), bystanders.end());
  folderLost_ = folderLost_ || (!fs::exists(beforePath_.parent_path()) && board_.disk.LastLoss().garbage > 0);
  for (const auto& [path, written] : unfinished_) {
    if (!fs::exists(path)) continue;
    outcome_.checked++;
    const std::string wrong = WrongRescue(written, Bytes(path));
    if (!wrong.empty()) find_("rescue: " + wrong);
  }
  unfinished_.clear();
  LookAtFirmware();
}

void DiskCheck::AtTheEnd() {
  outcome_.checked += 3;
  LookAtShots();
  if (plan_.phone) LookAtSettings();
  LookAtFirmware();
  auto lost = rawFiles_.Lost();
  std::erase_if(lost, [this](const fs::path& path) { return IsBystander(path); });
  if (!lost.empty()) find_("saved raw files that are not whole: " + std::to_string(lost.size()));
  if (Bytes(beforePath_) != before_ && !IsBystander(beforePath_)) find_("the shot from before has changed");
}

void DiskCheck::LookAtShots() {
  for (const fs::path& shot : board_.disk.Shots()) {
    if (shot == beforePath_) continue;
    const auto fault = shot::FirstFault(shot::Verify(shot.string(), shot::Depth::Structure));
    if (fault && phone_.HasDeleted(shot)) {
      outcome_.told.push_back("of a deleted shot a part may come back");
    } else if (fault && !IsBystander(shot)) {
      find_((saved_.contains(shot) ? "saved and not whole: " : "listed and not whole: ") + *fault);
    }
  }
  for (const fs::path& shot : saved_) {
    if (!fs::exists(shot) && !IsBystander(shot)) find_("a saved shot is gone");
  }
}

// The old ones, or any that the camera says it has saved.
void DiskCheck::LookAtSettings() {
  outcome_.checked++;
  const fs::path path = beforePath_.parent_path() / "setting.ini";
  const std::string text = Bytes(path);
  const bool whole = text == kOldSettings || (text.ends_with('\n') && board_.LogCount("SaveSettingStr:\n" + text) > 0);
  if (!whole && !IsBystander(path))
    find_("the settings are neither the old nor the new ones: " + std::to_string(text.size()) + " bytes");
}

void DiskCheck::LookAtFirmware() {
  if (plan_.phone && !bystanders_.contains("firmware")) phone_.LookAtFirmware();
}

// Harmed by what docs/behaviour.md says of a folder's sector that becomes garbage.
bool DiskCheck::IsBystander(const fs::path& path) {
  const bool harmed = folderLost_ || bystanders_.contains(path.lexically_relative(board_.disk.Directory()).string());
  if (harmed) outcome_.told.push_back("a sector of the folder or the table became garbage");
  return harmed;
}

}  // namespace campaign
