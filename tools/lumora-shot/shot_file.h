// Reads a shot file: the record, the calibration, the index and each picture of one shot.
//
// The walk follows the record and the sections' own sizes where a reader must, and believes no number beyond what the
// file's true length can hold: a file of any length with any damage is walked as far as it goes, and `Shot::stop` tells
// where and why the walk ended. Nothing here judges; that is verify.h. Decoding pictures is pictures.h.
//
// This code shares nothing with the application that writes the files, so tests use it as their judge.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "tools/lumora-shot/record.h"

namespace shot {

using Bytes = std::vector<uint8_t>;

// A run of bytes of the file. May reach past the file's end when a number in the file is wrong.
struct Span {
  int64_t offset = 0;
  int64_t size = 0;
  int64_t End() const { return offset + size; }
  bool operator==(const Span&) const = default;
};

enum class Part { Record, Cameras, Vignetting, Skipped, Logo, Index, Pictures, Thumbnail };

// A tagged section. Its body stands where a reader takes it to be, whatever its own size field says.
struct Section {
  Part part;
  int64_t tokenAt;
  uint16_t token;
  std::optional<uint32_t> storedSize;  // stands at tokenAt + 2; the skipped section has none that a reader knows
  Span body;
};
const char* NameOf(Part part);

enum class PictureSize { Half, Full };
constexpr int WidthOf(PictureSize size) { return size == PictureSize::Full ? 3264 : 1632; }
constexpr int HeightOf(PictureSize size) { return size == PictureSize::Full ? 2448 : 1224; }
const char* NameOf(PictureSize size);

// Which picture an index entry stands for.
struct Place {
  PictureSize size;
  int camera;
  int exposure;
  bool operator==(const Place&) const = default;
};

struct Entry {
  int number;  // position in the index, from 0
  int64_t at;  // position in the file
  int16_t imgType, camIdx, hdrIdx, reserve0;
  int32_t reserve1, jpgFileOffset, jpgFileSize;

  bool Filled() const { return jpgFileSize != 0; }
  bool AllZero() const;
};

struct Shot {
  int64_t fileSize = 0;
  uint16_t fileTypeToken = 0;  // 0x73C1 "ori", 0x73C2 "dwo"
  Record record{};
  int calibrated = 0;             // rows of the two calibration tables: 25, or 3 in the second form
  int cameras = 0;                // 25, or 36 in the second form (deviceId 10 and above)
  int exposures = 0;              // 3 or 6
  std::vector<Section> sections;  // in file order, as far as the walk came
  std::vector<Entry> entries;     // half pictures by camera and exposure, then the full ones; empty if not reached
  std::string stop;               // why the walk ended before the thumbnail; empty when it did not
  int64_t stopAt = 0;

  bool Whole() const { return stop.empty(); }
  const Section* Find(Part part) const;  // null if the walk did not meet it

  Place PlaceOf(int entry) const;  // 0 to 2 x cameras x exposures - 1
  int NumberOf(const Place& place) const;
  Span SpanOf(const Entry& entry) const;  // where the picture's bytes are said to be
};

// The file cannot be opened or read: no judgement on what is in it.
struct CannotRead : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// An open shot file. One thread at a time.
class File {
 public:
  // No read is longer than this, whatever a file says: far above any picture of the camera.
  static constexpr int64_t longestRead = 64 << 20;

  explicit File(const std::string& path);  // throws CannotRead
  ~File();
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  const std::string& Path() const { return path_; }
  const Shot& Get() const { return shot_; }

  // The bytes of `span` that the file really has, at most longestRead. Throws CannotRead if the disk fails.
  Bytes Read(Span span) const;
  // The same, of a section's body; empty if there is no such section.
  Bytes Read(Part part) const;
  // One picture's JPEG as the index tells; empty if its entry is not filled or does not lie inside the file.
  Bytes Jpeg(const Entry& entry) const;
  Bytes Jpeg(const Place& place) const;

 private:
  friend class Walk;
  std::string path_;
  int fd_ = -1;
  Shot shot_;
};

// The walk alone, for who wants no bytes.
Shot ReadShot(const std::string& path);

}  // namespace shot
