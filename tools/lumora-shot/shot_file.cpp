#include "tools/lumora-shot/shot_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>

#include "tools/lumora-shot/layout.h"

namespace shot {

std::array<int32_t, 64> WordsOf(const Record& record) { return std::bit_cast<std::array<int32_t, 64>>(record); }
Record RecordOf(const std::array<int32_t, 64>& words) { return std::bit_cast<Record>(words); }

const char* NameOf(Part part) {
  switch (part) {
    case Part::Record: return "record";
    case Part::Cameras: return "camera table";
    case Part::Vignetting: return "vignetting table";
    case Part::Skipped: return "section 0xFFD1";
    case Part::Logo: return "logo";
    case Part::Index: return "index";
    case Part::Pictures: return "picture section";
    case Part::Thumbnail: return "thumbnail";
  }
  return "";
}

const char* NameOf(PictureSize size) { return size == PictureSize::Full ? "full" : "half"; }

bool Entry::AllZero() const {
  return (imgType | camIdx | hdrIdx | reserve0) == 0 && (reserve1 | jpgFileOffset | jpgFileSize) == 0;
}

const Section* Shot::Find(Part part) const {
  const auto found = std::find_if(sections.begin(), sections.end(), [&](const Section& s) { return s.part == part; });
  return found == sections.end() ? nullptr : &*found;
}

Place Shot::PlaceOf(int entry) const {
  const int perSize = cameras * exposures;
  const int picture = entry % perSize;
  return {entry < perSize ? PictureSize::Half : PictureSize::Full, picture / exposures, picture % exposures};
}

int Shot::NumberOf(const Place& place) const {
  return (place.size == PictureSize::Full ? cameras * exposures : 0) + place.camera * exposures + place.exposure;
}

Span Shot::SpanOf(const Entry& entry) const {
  const Section* pictures = Find(Part::Pictures);
  return {(pictures ? pictures->body.offset : 0) + entry.jpgFileOffset, entry.jpgFileSize};
}

// One pass over a file, from its first byte to its thumbnail. Every read goes through Number, which ends the walk at
// the file's end; so no position or size that the file states is ever trusted.
class Walk {
 public:
  explicit Walk(File& file) : file_(file), shot_(file.shot_) {}

  void Run() {
    try {
      Head();
      const int64_t indexAt =
          Logo(Skipped(camerasHeadAt + 2 * sectionHead + shot_.calibrated * (cameraRow + vignettingRow)));
      Index(indexAt);
      Thumbnail();
    } catch (const Ended& ended) {
      shot_.stop = "file ends at " + std::to_string(shot_.fileSize) + ", before the end of " + ended.what;
      shot_.stopAt = ended.at;
    }
  }

 private:
  struct Ended {
    std::string what;
    int64_t at;
  };

  template <typename Int>
  static Int Number(const uint8_t* bytes) {
    std::make_unsigned_t<Int> value = 0;
    for (size_t i = 0; i < sizeof(Int); ++i)
      value |= static_cast<decltype(value)>(decltype(value){bytes[i]} << (8 * i));
    return static_cast<Int>(value);
  }

  Bytes Whole(Span span, const std::string& what) const {
    if (span.End() > shot_.fileSize) throw Ended{what, span.offset};
    return file_.Read(span);
  }

  template <typename Int>
  Int Number(int64_t at, const std::string& what) const {
    return Number<Int>(Whole({at, sizeof(Int)}, what).data());
  }

  // Adds a section whose head stands at `at` and whose body, by a reader's own reckoning, has `size` bytes.
  void Add(Part part, int64_t at, int64_t size) {
    const std::string head = std::string("the head of the ") + NameOf(part);
    const auto token = Number<uint16_t>(at, head);
    const auto stored = Number<uint32_t>(at + 2, head);
    shot_.sections.push_back({part, at, token, stored, {at + sectionHead, size}});
  }

  void Head() {
    shot_.fileTypeToken = Number<uint16_t>(0, "the file type");
    Add(Part::Record, 2, recordSize);
    const Bytes bytes = Whole({recordAt, recordSize}, "the record");
    std::array<int32_t, 64> words;
    for (size_t i = 0; i < words.size(); ++i) words[i] = Number<int32_t>(&bytes[4 * i]);
    shot_.record = RecordOf(words);

    const bool secondForm = shot_.record.deviceId >= firstDeviceOfSecondForm;
    shot_.calibrated = secondForm ? 3 : 25;
    shot_.cameras = secondForm ? 36 : 25;
    shot_.exposures = shot_.record.ExposureCount();

    Add(Part::Cameras, camerasHeadAt, shot_.calibrated * cameraRow);
    Add(Part::Vignetting, shot_.Find(Part::Cameras)->body.End(), shot_.calibrated * vignettingRow);
  }

  int64_t Skipped(int64_t at) {
    const auto token = Number<uint16_t>(at, "the vignetting table");
    if (token != tokenSkipped) return at;
    shot_.sections.push_back({Part::Skipped, at, token, std::nullopt, {at + 2, skippedSection - 2}});
    return at + skippedSection;
  }

  int64_t Logo(int64_t at) {
    if (Number<uint16_t>(at, "the section 0xFFD1") != tokenLogo) return at;
    Add(Part::Logo, at, Number<uint32_t>(at + 2, "the head of the logo"));
    return shot_.sections.back().body.End();
  }

  void Index(int64_t at) {
    const int count = 2 * shot_.cameras * shot_.exposures;
    if (at > shot_.fileSize) throw Ended{"the logo", at};
    Add(Part::Index, at, count * entrySize);
    const Span body = shot_.sections.back().body;
    const Bytes bytes = Whole(body, "the index");
    for (int i = 0; i < count; ++i) {
      const uint8_t* row = &bytes[static_cast<size_t>(i * entrySize)];
      shot_.entries.push_back({i, body.offset + i * entrySize, Number<int16_t>(row), Number<int16_t>(row + 2),
                               Number<int16_t>(row + 4), Number<int16_t>(row + 6), Number<int32_t>(row + 8),
                               Number<int32_t>(row + 12), Number<int32_t>(row + 16)});
    }
  }

  void Thumbnail() {
    const int64_t at = shot_.sections.back().body.End();
    Add(Part::Pictures, at, Number<uint32_t>(at + 2, "the head of the picture section"));
    const Span pictures = shot_.sections.back().body;
    if (pictures.End() > shot_.fileSize) throw Ended{"the picture section", pictures.offset};
    Add(Part::Thumbnail, pictures.End(), Number<uint32_t>(pictures.End() + 2, "the head of the thumbnail"));
    const Span thumbnail = shot_.sections.back().body;
    if (thumbnail.End() > shot_.fileSize) throw Ended{"the thumbnail", thumbnail.offset};
  }

  File& file_;
  Shot& shot_;
};

namespace {
[[noreturn]] void Refuse(const std::string& path, const char* what) {
  throw CannotRead(path + ": " + what + ": " + std::strerror(errno));
}
}  // namespace

File::File(const std::string& path) : path_(path) {
  // O_NONBLOCK: a named pipe must not hold us up before it is refused as no file.
  fd_ = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd_ < 0) Refuse(path, "cannot open");
  struct stat status;
  if (fstat(fd_, &status) != 0 || !S_ISREG(status.st_mode)) {
    close(fd_);
    throw CannotRead(path + ": not a regular file");
  }
  shot_.fileSize = status.st_size;
  try {
    Walk(*this).Run();
  } catch (...) {
    close(fd_);
    throw;
  }
}

File::~File() { close(fd_); }

Bytes File::Read(Span span) const {
  if (span.offset < 0 || span.size <= 0 || span.offset >= shot_.fileSize) return {};
  Bytes bytes(static_cast<size_t>(std::min({span.size, shot_.fileSize - span.offset, longestRead})));
  size_t got = 0;
  while (got < bytes.size()) {
    const ssize_t n = pread(fd_, bytes.data() + got, bytes.size() - got, span.offset + static_cast<off_t>(got));
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) Refuse(path_, "cannot read");
    if (n == 0) throw CannotRead(path_ + ": became shorter while it was read");
    got += static_cast<size_t>(n);
  }
  return bytes;
}

Bytes File::Read(Part part) const {
  const Section* section = shot_.Find(part);
  return section ? Read(section->body) : Bytes{};
}

Bytes File::Jpeg(const Entry& entry) const {
  if (!shot_.Find(Part::Pictures) || entry.jpgFileOffset < 0 || entry.jpgFileSize <= 0) return {};
  const Span span = shot_.SpanOf(entry);
  return span.End() <= shot_.fileSize && span.size <= longestRead ? Read(span) : Bytes{};
}

Bytes File::Jpeg(const Place& place) const {
  if (place.camera < 0 || place.camera >= shot_.cameras || place.exposure < 0 || place.exposure >= shot_.exposures)
    return {};
  const auto number = static_cast<size_t>(shot_.NumberOf(place));
  return number < shot_.entries.size() ? Jpeg(shot_.entries[number]) : Bytes{};
}

Shot ReadShot(const std::string& path) { return File(path).Get(); }

}  // namespace shot
