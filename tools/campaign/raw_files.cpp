#include "tools/campaign/raw_files.h"

#include <tiffio.h>

#include <array>
#include <cmath>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "tools/lumora-shot/pictures.h"
#include "twin/light/bayer.h"
#include "twin/light/read_mark.h"
#include "twin/light/tone.h"

namespace campaign {

namespace fs = std::filesystem;

namespace {

constexpr uint32_t kWidth = 3264, kHeight = 2448;
constexpr size_t kFilesOfAPass = 75;
constexpr double kClean = 1009;  // the highest level of a clean frame, of 10 bits; six zeros follow

struct CloseTiff {
  void operator()(TIFF* file) const { TIFFClose(file); }
};
using Tiff = std::unique_ptr<TIFF, CloseTiff>;

// The library says nothing meanwhile: what is wrong is told by this program.
class Silence {
 public:
  Silence() : error_(TIFFSetErrorHandler(nullptr)), warning_(TIFFSetWarningHandler(nullptr)) {}
  ~Silence() {
    TIFFSetErrorHandler(error_);
    TIFFSetWarningHandler(warning_);
  }
  Silence(const Silence&) = delete;
  Silence& operator=(const Silence&) = delete;

 private:
  TIFFErrorHandler error_, warning_;
};

// Reads the strips of the present directory, one after the other; false if something is missing.
bool ReadStrips(TIFF* file, const std::function<void(std::span<const uint8_t>)>& take) {
  uint32_t rows = 0;
  TIFFGetField(file, TIFFTAG_IMAGELENGTH, &rows);
  std::vector<uint8_t> strip(static_cast<size_t>(TIFFStripSize(file)));
  size_t all = 0;
  for (uint32_t i = 0; i < TIFFNumberOfStrips(file); i++) {
    const tmsize_t size = TIFFReadEncodedStrip(file, i, strip.data(), static_cast<tmsize_t>(strip.size()));
    if (size <= 0) return false;
    take(std::span(strip).first(static_cast<size_t>(size)));
    all += static_cast<size_t>(size);
  }
  return all > 0 && all == rows * static_cast<size_t>(TIFFScanlineSize(file));
}

// Every fourth sample of every fourth row, as it would be shown: enough for a mark. Takes the mosaic in pieces of whole
// rows.
class Shown {
 public:
  Shown() {
    for (size_t level = 0; level < shades_.size(); level++) {
      shades_[level] = static_cast<uint8_t>(std::lround(255 * twin::Display(static_cast<double>(level) / kClean)));
    }
  }
  void Take(std::span<const uint8_t> bytes) {
    for (; bytes.size() >= kRow; bytes = bytes.subspan(kRow)) {
      if (row_++ % 4 != 0) continue;
      for (size_t at = 0; at < kRow; at += 4 * 2) {
        picture_.pixels.push_back(shades_[static_cast<size_t>((bytes[at] | bytes[at + 1] << 8) >> 6)]);
      }
    }
  }
  const shot::Gray& Picture() const { return picture_; }

 private:
  static constexpr size_t kRow = kWidth * 2;  // bytes
  std::array<uint8_t, twin::fullLevel + 1> shades_;
  shot::Gray picture_{static_cast<int>(kWidth / 4), static_cast<int>(kHeight / 4), {}};
  size_t row_ = 0;
};

std::string NameOf(const twin::Mark& mark) {
  char name[32];
  snprintf(name, sizeof name, "RAW_%02d_%d.dng", static_cast<int>(mark.camera), static_cast<int>(mark.bracket));
  return name;
}

// What is wrong with a file; empty: nothing.
std::string WrongFile(const fs::path& path, bool withPlace) {
  const Silence silence;
  const Tiff file(TIFFOpen(path.c_str(), "r"));
  if (file == nullptr) return "no DNG file";
  if (!ReadStrips(file.get(), [](auto) {})) return "without its preview";
  uint16_t count = 0;
  const uint64_t* directories = nullptr;
  if (TIFFGetField(file.get(), TIFFTAG_SUBIFD, &count, &directories) == 0 || count != 1) return "without a raw picture";
  const uint64_t raw = directories[0];
  if (TIFFSetSubDirectory(file.get(), raw) == 0) return "without a raw picture";
  uint32_t width = 0, height = 0;
  TIFFGetField(file.get(), TIFFTAG_IMAGEWIDTH, &width);
  TIFFGetField(file.get(), TIFFTAG_IMAGELENGTH, &height);
  if (width != kWidth || height != kHeight || TIFFScanlineSize(file.get()) != kWidth * 2) return "not all there";
  Shown shown;
  const auto take = [&](std::span<const uint8_t> strip) {
    if (withPlace) shown.Take(strip);
  };
  if (!ReadStrips(file.get(), take)) return "not all there";
  if (!withPlace) return "";
  const auto found = twin::ReadMark(shown.Picture());
  if (!found) return "without a mark";
  return NameOf(found->mark) == path.filename() ? "" : "what " + NameOf(found->mark) + " should be";
}

}  // namespace

RawFiles::RawFiles(twin::Board& board, Tell tell, uint64_t seed)
    : board_(board), tell_(std::move(tell)), number_(seed) {
  board_.OnLogLine([this](twin::Time, const std::string& line) {
    const size_t name = line.find("RAW_"), folder = line.find("DCIM/");
    if (line.find("SaveRaw:") == std::string::npos || name == std::string::npos || folder == std::string::npos) return;
    Judge();
    last_ = board_.disk.Directory() / line.substr(folder, line.find_last_not_of('\n') + 1 - folder);
  });
}

void RawFiles::Judge() {
  const fs::path path = std::exchange(last_, {});
  if (path.empty()) return;
  if (wrong_.empty()) {
    wrong_ = WrongFile(path, number_++ % 5 == 0);
    if (!wrong_.empty()) wrong_ += ": " + path.filename().string();
  }
  std::error_code error;
  const uintmax_t size = fs::file_size(path, error);
  files_[path] = error ? 0 : size;
  if (error) return;
  fs::resize_file(path, 0, error);
  fs::resize_file(path, size, error);
}

void RawFiles::PassIsOver(bool saved) {
  if (saved) {
    Judge();
    if (!wrong_.empty()) tell_("raw: " + wrong_);
    if (files_.size() != kFilesOfAPass) tell_("raw: " + std::to_string(files_.size()) + " files");
    saved_.merge(files_);
  }
  last_.clear();
  wrong_.clear();
  files_.clear();
}

std::vector<fs::path> RawFiles::Lost() const {
  std::vector<fs::path> lost;
  for (const auto& [path, size] : saved_) {
    std::error_code error;
    if (fs::file_size(path, error) != size || error) lost.push_back(path);
  }
  return lost;
}

}  // namespace campaign
