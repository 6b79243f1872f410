// Does the index tell one picture for each place, and do the pictures fill their section without gap or overlap?
#include <algorithm>

#include "tools/lumora-shot/findings.h"
#include "tools/lumora-shot/layout.h"

namespace shot {
namespace {

std::string Title(const Shot& shot, const Entry& entry) {
  const Place place = shot.PlaceOf(entry.number);
  return "entry " + std::to_string(entry.number) + " (" + NameOf(place.size) + ", camera " +
         std::to_string(place.camera) + ", exposure " + std::to_string(place.exposure) + ")";
}

void CheckFields(const Shot& shot, const Entry& entry, Findings& findings) {
  const std::string title = Title(shot, entry);
  const Place place = shot.PlaceOf(entry.number);
  const auto expect = [&](int offset, const char* field, int value, int expected) {
    if (value != expected)
      findings.Fault(entry.at + offset, "%s: %s is %d, must be %d", title.c_str(), field, value, expected);
  };
  if (!entry.Filled()) {
    if (!entry.AllZero())
      findings.Fault(entry.at + 16, "%s: jpgFileSize is 0 in an entry that is not empty", title.c_str());
    return;
  }
  expect(0, "imgType", entry.imgType, place.size == PictureSize::Half ? 1 : 2);
  expect(2, "camIdx", entry.camIdx, place.camera);
  expect(4, "hdrIdx", entry.hdrIdx, place.exposure);
  expect(6, "reserve0", entry.reserve0, 0);
  expect(8, "reserve1", entry.reserve1, 0);
  if (entry.jpgFileSize < 0) findings.Fault(entry.at + 16, "%s: jpgFileSize is %d", title.c_str(), entry.jpgFileSize);
  if (entry.jpgFileOffset < 0)
    findings.Fault(entry.at + 12, "%s: jpgFileOffset is %d", title.c_str(), entry.jpgFileOffset);
}

// A two-half shot with one half alone lacks exactly the other half's cameras; that is told in one sentence.
bool IsHalfShot(const Shot& shot, Findings& findings) {
  if (shot.cameras != static_cast<int>(firstHalf.size())) return false;
  for (const bool half : {true, false}) {
    const bool only = std::all_of(shot.entries.begin(), shot.entries.end(), [&](const Entry& entry) {
      return entry.Filled() == (firstHalf[static_cast<size_t>(shot.PlaceOf(entry.number).camera)] == half);
    });
    if (!only) continue;
    findings.Fault(shot.entries.front().at,
                   "two-half shot with its %s half only: the cameras of the other half are empty",
                   half ? "first" : "second");
    return true;
  }
  return false;
}

void CheckMissing(const Shot& shot, Findings& findings) {
  if (IsHalfShot(shot, findings)) return;
  for (const Entry& entry : shot.entries)
    if (entry.AllZero()) findings.Fault(entry.at, "%s is empty: the picture is missing", Title(shot, entry).c_str());
}

void CheckTiling(const Shot& shot, Findings& findings) {
  std::vector<const Entry*> pictures;
  for (const Entry& entry : shot.entries)
    if (entry.jpgFileSize > 0 && entry.jpgFileOffset >= 0) pictures.push_back(&entry);
  std::sort(pictures.begin(), pictures.end(), [](const Entry* a, const Entry* b) {
    return std::pair(a->jpgFileOffset, a->number) < std::pair(b->jpgFileOffset, b->number);
  });
  int64_t end = 0;
  const Entry* before = nullptr;
  for (const Entry* entry : pictures) {
    const std::string title = Title(shot, *entry);
    const std::string previous = before ? Title(shot, *before) : "the start of the section";
    const int64_t gap = entry->jpgFileOffset - end;
    if (gap > 0)
      findings.Fault(entry->at + 12, "%s: begins %lld bytes behind the end of %s", title.c_str(),
                     static_cast<long long>(gap), previous.c_str());
    if (gap < 0)
      findings.Fault(entry->at + 12, "%s: begins %lld bytes before the end of %s", title.c_str(),
                     static_cast<long long>(-gap), previous.c_str());
    if (const int64_t own = int64_t{entry->jpgFileOffset} + entry->jpgFileSize; own >= end) {
      end = own;
      before = entry;
    }
  }
  if (const Section* section = shot.Find(Part::Pictures); section && section->body.size != end)
    findings.Fault(section->tokenAt + 2, "picture section: size is %lld, but its pictures end at %lld",
                   static_cast<long long>(section->body.size), static_cast<long long>(end));
}

// One sentence for all pictures of a file that was cut short.
void CheckInside(const Shot& shot, Findings& findings) {
  const Entry* first = nullptr;
  int count = 0;
  for (const Entry& entry : shot.entries) {
    if (entry.jpgFileSize <= 0 || entry.jpgFileOffset < 0 || shot.SpanOf(entry).End() <= shot.fileSize) continue;
    if (count++ == 0) first = &entry;
  }
  if (first)
    findings.Fault(first->at + 12, "%d of %zu pictures reach past the end of the file, the first: %s", count,
                   shot.entries.size(), Title(shot, *first).c_str());
}

}  // namespace

void CheckIndex(const Shot& shot, Findings& findings) {
  if (shot.entries.empty()) return;
  for (const Entry& entry : shot.entries) CheckFields(shot, entry, findings);
  CheckMissing(shot, findings);
  CheckTiling(shot, findings);
  if (shot.Find(Part::Pictures)) CheckInside(shot, findings);
}

}  // namespace shot
