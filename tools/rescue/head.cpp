#include "tools/rescue/head.h"

#include <algorithm>
#include <cstdio>

#include "tools/lumora-shot/findings.h"
#include "tools/lumora-shot/layout.h"

namespace rescue {
namespace {

constexpr int64_t deviceIdAt = shot::recordAt, hdrModeAt = shot::recordAt + 112, twoHalfAt = shot::recordAt + 144;
constexpr int64_t furthestIndex = 8 << 20;  // no logo is larger
constexpr int enough = 4;                   // facts of the six

struct Form {
  int rows, cameras;
  int64_t CalibrationEnd() const {
    return shot::camerasHeadAt + 2 * shot::sectionHead + rows * (shot::cameraRow + shot::vignettingRow);
  }
};
constexpr Form first{25, 25}, second{3, 36};

void PutNumber(shot::Bytes& bytes, int64_t at, int64_t value, int size) {
  for (int i = 0; i < size; ++i) bytes[static_cast<size_t>(at + i)] = static_cast<uint8_t>(value >> (8 * i));
}

// Where the index may stand in a form with so many exposures, and what speaks for it.
struct Candidate {
  Form form = first;
  int exposures = 3;
  int64_t indexAt = -1;
  int facts = -1;
  int64_t IndexSize() const { return int64_t{2} * form.cameras * exposures * shot::entrySize; }
  int64_t PicturesAt() const { return indexAt + 2 * shot::sectionHead + IndexSize(); }
};

int FactsFor(Source source, const Candidate& c) {
  const int64_t hdrMode = NumberAt(source, hdrModeAt, 4), deviceId = NumberAt(source, deviceIdAt, 4);
  int facts = 0;
  facts += NumberAt(source, c.indexAt, 2) == shot::tokenIndex;
  facts += NumberAt(source, c.indexAt + 2, 4) == c.IndexSize();
  facts += NumberAt(source, c.PicturesAt() - shot::sectionHead, 2) == shot::tokenPictures;
  facts += NumberAt(source, c.PicturesAt(), 3) == 0xFFD8FF;
  facts += hdrMode >= 2 && hdrMode <= 9 && (hdrMode < 4) == (c.exposures == 3);
  facts += (deviceId >= shot::firstDeviceOfSecondForm) == (c.form.cameras == second.cameras);
  return facts;
}

class Search {
 public:
  explicit Search(Source source) : source_(source) {}

  void Try(const Form& form, int64_t indexAt) {
    for (const int exposures : {3, 6}) {
      Candidate candidate{form, exposures, indexAt};
      if (indexAt < form.CalibrationEnd()) continue;
      candidate.facts = FactsFor(source_, candidate);
      if (candidate.facts > best.facts) {
        rival = best.facts;
        best = candidate;
      } else if (candidate.indexAt != best.indexAt || candidate.exposures != best.exposures) {
        rival = std::max(rival, candidate.facts);
      }
    }
  }

  // Where the sections lead.
  void Follow(const Form& form) {
    const int64_t end = form.CalibrationEnd();
    for (const int64_t at : {end, end + shot::skippedSection}) {
      Try(form, at);
      if (NumberAt(source_, at, 2) == shot::tokenLogo) Try(form, at + shot::sectionHead + NumberAt(source_, at + 2, 4));
    }
  }

  // Wherever a section of the index' size begins, or of pictures.
  void LookEverywhere() {
    const auto end = std::min<int64_t>(furthestIndex, static_cast<int64_t>(source_.size()) - 12);
    for (int64_t at = second.CalibrationEnd(); at < end; ++at) {
      if (source_[static_cast<size_t>(at) + 1] != 0xFF) continue;
      const int64_t token = NumberAt(source_, at, 2);
      for (const Form& form : {first, second}) {
        if (token == shot::tokenIndex) Try(form, at);
        if (token == shot::tokenPictures && NumberAt(source_, at + shot::sectionHead, 3) == 0xFFD8FF)
          for (const int exposures : {3, 6})
            Try(form, at - shot::sectionHead - int64_t{2} * form.cameras * exposures * shot::entrySize);
      }
    }
  }

  Candidate best;
  int rival = -1;

 private:
  Source source_;
};

class Mender {
 public:
  explicit Mender(Head& head) : head_(head) {}
  void Put(int64_t at, int64_t value, int size, const char* what) {
    const int64_t stood = NumberAt(head_.bytes, at, size);
    if (stood == value) return;
    PutNumber(head_.bytes, at, value, size);
    char text[160];
    std::snprintf(text, sizeof text, "at %lld: the %s was %lld (0x%llX), now %lld", static_cast<long long>(at), what,
                  static_cast<long long>(stood), static_cast<long long>(stood), static_cast<long long>(value));
    head_.mended.emplace_back(text);
  }

 private:
  Head& head_;
};

// Puts the numbers right that readers go by. What else the record and the tables hold stays as it is.
void Mend(Head& head, const Form& form) {
  Mender mender(head);
  const int64_t type = NumberAt(head.bytes, 0, 2);
  if (type != shot::tokenDwo) mender.Put(0, shot::tokenOri, 2, "file type");
  mender.Put(2, shot::tokenRecord, 2, "record's token");
  mender.Put(4, shot::recordSize, 4, "record's size");
  const bool secondForm = form.cameras == second.cameras;
  const auto deviceId = static_cast<int32_t>(NumberAt(head.bytes, deviceIdAt, 4));
  if (deviceId < 0 || (deviceId >= shot::firstDeviceOfSecondForm) != secondForm)
    mender.Put(deviceIdAt, secondForm ? shot::firstDeviceOfSecondForm : 2, 4, "device's number");
  const auto hdrMode = static_cast<int32_t>(NumberAt(head.bytes, hdrModeAt, 4));
  if (hdrMode < 2 || hdrMode > 9 || (hdrMode < 4) != (head.exposures == 3))
    mender.Put(hdrModeAt, head.exposures == 3 ? 2 : 4, 4, "kind of bracket (hdrMode)");
  mender.Put(shot::camerasHeadAt, shot::tokenCameras, 2, "camera table's token");
  mender.Put(shot::camerasHeadAt + 2, form.rows * shot::cameraRow, 4, "camera table's size");
  const int64_t vignettingAt = shot::camerasHeadAt + shot::sectionHead + form.rows * shot::cameraRow;
  mender.Put(vignettingAt, shot::tokenVignetting, 2, "vignetting table's token");
  mender.Put(vignettingAt + 2, form.rows * shot::vignettingRow, 4, "vignetting table's size");
  // What is left between the tables and the index is a logo, or the section that is stepped over and a logo.
  const auto end = static_cast<int64_t>(head.bytes.size());
  int64_t at = form.CalibrationEnd();
  if (end - at >= shot::skippedSection && NumberAt(head.bytes, at, 2) == shot::tokenSkipped) at += shot::skippedSection;
  if (end - at >= shot::sectionHead) {
    mender.Put(at, shot::tokenLogo, 2, "logo's token");
    mender.Put(at + 2, end - at - shot::sectionHead, 4, "logo's size");
  }
}

// Whether all up to the index stands where it should: what is left behind the tables is nothing, or a logo by its token
// or its size, with or without the section that is stepped over.
bool IsInPlace(Source source, const Form& form, int64_t indexAt) {
  for (const int64_t at : {form.CalibrationEnd(), form.CalibrationEnd() + shot::skippedSection}) {
    const int64_t rest = indexAt - at;
    const bool logo =
        NumberAt(source, at, 2) == shot::tokenLogo || NumberAt(source, at + 2, 4) == rest - shot::sectionHead;
    if (rest == 0 || (rest >= shot::sectionHead && logo)) return true;
  }
  return false;
}

// Where a section with this head stands, before `end`; -1 if it does not.
int64_t FindHead(Source source, int64_t end, int token, int64_t size) {
  for (int64_t at = 0; at < end; ++at)
    if (NumberAt(source, at, 2) == token && NumberAt(source, at + 2, 4) == size) return at;
  return -1;
}

// The head of a shot from which bytes are missing, or into which some were put: each table by its own token.
shot::Bytes PutTogether(Source source, const Form& form, int64_t indexAt) {
  shot::Bytes bytes(static_cast<size_t>(form.CalibrationEnd()));
  const auto copy = [&](int64_t from, int64_t to, int64_t size) {
    if (from >= 0 && from + size <= indexAt) std::copy_n(source.begin() + from, size, bytes.begin() + to);
  };
  copy(0, 0, shot::camerasHeadAt);
  const int64_t cameras = form.rows * shot::cameraRow, vignetting = form.rows * shot::vignettingRow;
  const int64_t camerasAt = FindHead(source, indexAt, shot::tokenCameras, cameras);
  const int64_t vignettingAt = FindHead(source, indexAt, shot::tokenVignetting, vignetting);
  copy(camerasAt, shot::camerasHeadAt, shot::sectionHead + cameras);
  copy(vignettingAt, shot::camerasHeadAt + shot::sectionHead + cameras, shot::sectionHead + vignetting);
  return bytes;
}

// One word tells whether a shot was filed in two halves. It is believed in a record that is sound in all else.
bool TwoHalfIsSure(Source source) {
  shot::Shot shot;
  shot.record = RecordIn(source);
  shot::Findings findings;
  shot::CheckRecord(shot, findings);
  const auto& record = shot.record;
  return !shot::HasFault(findings.Take()) &&
         (record.twoHalfMode == 0 || (record.twoHalfMode == 1 && record.timerMode == 0));
}

// A head for pictures whose own one is gone: what still stands of it, and zeros.
void MakeHead(Source source, Head& head) {
  const int64_t vignettingAt = shot::camerasHeadAt + shot::sectionHead + first.rows * shot::cameraRow;
  head.bytes.resize(static_cast<size_t>(first.CalibrationEnd()));
  const auto keep = [&](int64_t at, int64_t end, bool there, const char* what) {
    const auto stands = std::min(end, static_cast<int64_t>(source.size()));
    if (there && stands > at)
      std::copy(source.begin() + at, source.begin() + stands, head.bytes.begin() + at);
    else
      head.mended.push_back(std::string("the ") + what + " is lost");
  };
  const auto stands = [&](int64_t at, int token, int64_t size) {
    return NumberAt(source, at, 2) == token && NumberAt(source, at + 2, 4) == size;
  };
  keep(0, shot::camerasHeadAt, stands(2, shot::tokenRecord, shot::recordSize),
       "record, with date, exposures and tilt,");
  const bool tables = stands(shot::camerasHeadAt, shot::tokenCameras, first.rows * shot::cameraRow) &&
                      stands(vignettingAt, shot::tokenVignetting, first.rows * shot::vignettingRow);
  keep(shot::camerasHeadAt, first.CalibrationEnd(), tables, "calibration");
  head.indexAt = static_cast<int64_t>(head.bytes.size());
  Head quiet;
  quiet.bytes = head.bytes;
  quiet.indexAt = head.indexAt;
  quiet.exposures = head.exposures;
  Mend(quiet, first);
  head.bytes = std::move(quiet.bytes);
  head.indexAt = -1;
}

}  // namespace

int64_t NumberAt(Source source, int64_t at, int bytes) {
  int64_t value = 0;
  for (int i = 0; i < bytes; ++i)
    if (at >= 0 && at + i < static_cast<int64_t>(source.size()))
      value |= int64_t{source[static_cast<size_t>(at + i)]} << (8 * i);
  return value;
}

shot::Record RecordIn(Source source) {
  std::array<int32_t, 64> words;
  for (size_t i = 0; i < words.size(); ++i)
    words[i] = static_cast<int32_t>(NumberAt(source, shot::recordAt + 4 * static_cast<int64_t>(i), 4));
  return shot::RecordOf(words);
}

Head ReadHead(Source source) {
  Search search(source);
  search.Follow(first);
  search.Follow(second);
  if (search.best.facts < 5) search.LookEverywhere();
  const Candidate& best = search.best;
  Head head;
  const int64_t hdrMode = NumberAt(source, hdrModeAt, 4);
  head.exposures = hdrMode >= 4 && hdrMode <= 9 ? 6 : 3;
  head.twoHalf = NumberAt(source, twoHalfAt, 4) != 0;
  head.halvesSure = TwoHalfIsSure(source);
  // The record alone speaks for any place.
  if (best.facts < enough || best.PicturesAt() > static_cast<int64_t>(source.size())) {
    MakeHead(source, head);
    return head;
  }
  head.cameras = best.form.cameras;
  head.exposures = best.exposures;
  head.indexAt = best.indexAt;
  head.picturesAt = best.PicturesAt();
  head.sure = best.facts - search.rival >= 2;
  head.storedSize = NumberAt(source, head.picturesAt - 4, 4);
  if (IsInPlace(source, best.form, head.indexAt)) {
    head.bytes.assign(source.begin(), source.begin() + head.indexAt);
  } else {
    head.mended.emplace_back(
        "bytes are missing in the head, or too many: the logo, and a table without its token, are lost");
    head.bytes = PutTogether(source, best.form, head.indexAt);
  }
  Mend(head, best.form);
  return head;
}

}  // namespace rescue
