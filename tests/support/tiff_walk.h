// A TIFF file taken apart by hand, entry by entry: what a reader finds in it, whatever wrote it.
#pragma once

#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

struct TiffEntry {
  int type = 0;                // 1 byte, 2 text, 3 short, 4 long, 5 rational, 10 signed rational, 13 directory
  std::vector<double> values;  // rationals divided; a text's characters with its terminator
  std::string Text() const {
    std::string text(values.begin(), values.end());
    return text.substr(0, text.find('\0'));
  }
};

using TiffDirectory = std::map<int, TiffEntry>;

class TiffWalk {
 public:
  explicit TiffWalk(std::vector<uint8_t> file) : bytes(std::move(file)) {
    if (Number(0, 4) != 0x002A4949) throw std::runtime_error("no little-endian TIFF file");
  }
  // The first directory. Throws std::runtime_error, as all here, if anything lies outside the file.
  TiffDirectory First() const { return Directory(Number(4, 4)); }
  TiffDirectory Directory(uint64_t at) const {
    TiffDirectory directory;
    const uint64_t count = Number(at, 2);
    int last = 0;
    for (uint64_t i = 0; i < count; i++) {
      const uint64_t entry = at + 2 + 12 * i;
      const int tag = static_cast<int>(Number(entry, 2));
      if (tag <= last) throw std::runtime_error("tags out of order at " + std::to_string(tag));
      directory[last = tag] = Entry(entry);
    }
    if (Number(at + 2 + 12 * count, 4) != 0) throw std::runtime_error("another directory follows");
    return directory;
  }
  // The pixels of a directory, which must lie in one strip.
  std::vector<uint8_t> Strip(const TiffDirectory& directory) const {
    const uint64_t at = Place(directory, 273), size = Place(directory, 279);
    if (at + size > bytes.size()) throw std::runtime_error("file ends before byte " + std::to_string(at + size));
    return {bytes.begin() + static_cast<long>(at), bytes.begin() + static_cast<long>(at + size)};
  }
  // The directories that the first one leads to.
  TiffDirectory Raw() const { return Directory(Place(First(), 330)); }
  TiffDirectory Exif() const { return Directory(Place(First(), 34665)); }

  const std::vector<uint8_t> bytes;

 private:
  static uint64_t Place(const TiffDirectory& directory, int tag) {
    const TiffEntry& entry = directory.at(tag);
    if (entry.values.size() != 1) throw std::runtime_error("not one value in tag " + std::to_string(tag));
    return static_cast<uint64_t>(entry.values[0]);
  }
  TiffEntry Entry(uint64_t at) const {
    TiffEntry entry{.type = static_cast<int>(Number(at + 2, 2)), .values = {}};
    const uint64_t count = Number(at + 4, 4);
    const std::map<int, unsigned> sizes = {{1, 1}, {2, 1}, {3, 2}, {4, 4}, {5, 8}, {10, 8}, {13, 4}};
    const unsigned size = sizes.at(entry.type);
    const uint64_t place = size * count <= 4 ? at + 8 : Number(at + 8, 4);
    for (uint64_t i = 0; i < count; i++) {
      const uint64_t value = place + size * i;
      if (entry.type == 5) {
        entry.values.push_back(double(Number(value, 4)) / double(Number(value + 4, 4)));
      } else if (entry.type == 10) {
        entry.values.push_back(double(int32_t(Number(value, 4))) / double(int32_t(Number(value + 4, 4))));
      } else {
        entry.values.push_back(double(Number(value, size)));
      }
    }
    return entry;
  }
  uint64_t Number(uint64_t at, unsigned size) const {
    if (at + size > bytes.size()) throw std::runtime_error("file ends before byte " + std::to_string(at + size));
    uint64_t number = 0;
    for (unsigned i = 0; i < size; i++) number |= uint64_t{bytes[at + i]} << (8 * i);
    return number;
  }
};
