#include "tools/lumora-shot/verify.h"

#include <algorithm>

#include "tools/lumora-shot/findings.h"
#include "tools/lumora-shot/layout.h"

namespace shot {
namespace {

bool EndsIn(const std::string& text, const char* end) { return std::string_view(text).ends_with(end); }

// The type of the file is fixed when it is created and its name when it is finished, by the same condition looked at
// twice; so the two may differ if a remote came or went during the shot.
void CheckType(const File& file, Findings& findings) {
  const uint16_t token = file.Get().fileTypeToken;
  if (token != tokenOri && token != tokenDwo)
    findings.Fault(0, "file type 0x%04X, neither 0x73C1 nor 0x73C2", token);
  else if (EndsIn(file.Path(), ".ori") && token == tokenDwo)
    findings.Remark(0, "file type 0x73C2, that of a \"dwo\", in a file named \"ori\"");
  else if (EndsIn(file.Path(), ".dwo") && token == tokenOri)
    findings.Remark(0, "file type 0x73C1, that of an \"ori\", in a file named \"dwo\"");
}

// Tells a file that was never a shot from a damaged one, so that it gets one sentence and not a hundred.
bool IsNoShot(const Shot& shot, Findings& findings) {
  if (shot.fileSize == 0) {
    findings.Fault(0, "empty file");
    return true;
  }
  const Section* record = shot.Find(Part::Record);
  const bool known = shot.fileTypeToken == tokenOri || shot.fileTypeToken == tokenDwo;
  if (known || !record || record->token == tokenRecord) return false;
  findings.Fault(0, "not a shot file%s", shot.fileTypeToken == 0xD8FF ? " but a single JPEG" : "");
  return true;
}

uint16_t TokenOf(Part part) {
  switch (part) {
    case Part::Record: return tokenRecord;
    case Part::Cameras: return tokenCameras;
    case Part::Vignetting: return tokenVignetting;
    case Part::Skipped: return tokenSkipped;
    case Part::Logo: return tokenLogo;
    case Part::Index: return tokenIndex;
    case Part::Pictures: return tokenPictures;
    case Part::Thumbnail: return tokenThumbnail;
  }
  return 0;
}

void CheckSections(const Shot& shot, bool unfinished, Findings& findings) {
  for (const Section& section : shot.sections) {
    if (unfinished && section.part == Part::Thumbnail) continue;  // pictures of an unknown length stand there
    const char* name = NameOf(section.part);
    if (section.token != TokenOf(section.part))
      findings.Fault(section.tokenAt, "token 0x%04X where the %s begins with 0x%04X", section.token, name,
                     TokenOf(section.part));
    if (section.storedSize && *section.storedSize != section.body.size)
      findings.Fault(section.tokenAt + 2, "size of the %s is %u, must be %lld", name, *section.storedSize,
                     static_cast<long long>(section.body.size));
    if (section.part == Part::Skipped)
      findings.Remark(section.tokenAt, "a section 0xFFD1, which this camera does not write");
  }
}

void CheckEnd(const Shot& shot, Findings& findings) {
  if (!shot.Whole()) {
    findings.Fault(shot.stopAt, "%s", shot.stop.c_str());
    return;
  }
  const int64_t end = shot.Find(Part::Thumbnail)->body.End();
  if (end < shot.fileSize)
    findings.Fault(end, "%lld bytes behind the thumbnail, where the file should end",
                   static_cast<long long>(shot.fileSize - end));
}

// A shot is written under a temporary name, and its index is zeros until its last picture is in.
bool IsUnfinished(const File& file, Findings& findings) {
  const Shot& shot = file.Get();
  const Section* index = shot.Find(Part::Index);
  const bool empty = !shot.entries.empty() && index->token == tokenIndex &&
                     std::all_of(shot.entries.begin(), shot.entries.end(), [](const Entry& e) { return e.AllZero(); });
  if (empty)
    findings.Fault(index->body.offset, "not finished: the index is empty, with %lld bytes behind the head",
                   static_cast<long long>(std::max<int64_t>(0, shot.fileSize - index->body.End() - sectionHead)));
  if (EndsIn(file.Path(), ".tmp")) findings.Fault(0, "not finished: the name still ends in \"tmp\"");
  return empty;
}

}  // namespace

std::vector<Finding> Verify(const File& file, Depth depth) {
  const Shot& shot = file.Get();
  Findings findings;
  if (IsNoShot(shot, findings)) return findings.Take();
  CheckType(file, findings);
  const bool unfinished = IsUnfinished(file, findings);
  CheckSections(shot, unfinished, findings);
  if (shot.calibrated > 0) CheckRecord(shot, findings);
  if (!unfinished) {
    CheckEnd(shot, findings);
    CheckIndex(shot, findings);
    CheckPictures(file, depth, findings);
  }
  auto found = findings.Take();
  std::stable_sort(found.begin(), found.end(), [](const Finding& a, const Finding& b) { return a.at < b.at; });
  return found;
}

std::vector<Finding> Verify(const std::string& path, Depth depth) { return Verify(File(path), depth); }

bool HasFault(const std::vector<Finding>& findings) { return FirstFault(findings).has_value(); }

std::optional<std::string> FirstFault(const std::vector<Finding>& findings) {
  const auto fault =
      std::find_if(findings.begin(), findings.end(), [](const Finding& f) { return f.weight == Weight::Fault; });
  return fault == findings.end() ? std::nullopt : std::optional(fault->text);
}

std::string Text(const std::vector<Finding>& findings) {
  std::string text;
  for (const Finding& finding : findings)
    text += "at " + std::to_string(finding.at) + ": " + (finding.weight == Weight::Remark ? "(remark) " : "") +
            finding.text + "\n";
  return text;
}

}  // namespace shot
