#include "twin/light/read_mark.h"

#include <cmath>

namespace twin {
namespace {

// A picture seen upright, in fractions of its size.
class View {
 public:
  View(const shot::Gray& picture, bool turned) : picture_(picture), turned_(turned) {}

  // Mean of a box around (x, y) with the half sides (rx, ry).
  double Mean(double x, double y, double rx, double ry) const {
    double sum = 0;
    int count = 0;
    for (int row = Row(y - ry); row <= Row(y + ry); row++) {
      for (int column = Column(x - rx); column <= Column(x + rx); column++) {
        sum += turned_ ? picture_.At(picture_.width - 1 - column, picture_.height - 1 - row) : picture_.At(column, row);
        count++;
      }
    }
    return sum / count;
  }

 private:
  int Row(double y) const { return static_cast<int>(y * picture_.height); }
  int Column(double x) const { return static_cast<int>(x * picture_.width); }

  const shot::Gray& picture_;
  bool turned_;
};

uint32_t Remainder(const std::vector<bool>& bits) {
  uint32_t value = 0xFFFF;
  for (const bool bit : bits) {
    value ^= static_cast<uint32_t>(bit) << 15;
    value = value & 0x8000 ? (value << 1 ^ 0x1021) & 0xFFFF : value << 1;
  }
  return value;
}

std::optional<FoundMark> ReadUpright(const View& view) {
  std::vector<bool> bits;
  for (int row = 0; row < markRows; row++) {
    for (int column = 0; column < markColumns; column++) {
      const double gray =
          view.Mean((column + 0.5) / markColumns, (row + 0.5) * markRowHeight, 0.25 / markColumns, 0.2 * markRowHeight);
      if (std::abs(gray - 128) < 48) return std::nullopt;  // neither dark nor bright: no cell of a mark
      bits.push_back(gray > 128);
    }
  }
  if (Remainder(bits) != 0) return std::nullopt;

  size_t at = 0;
  const auto take = [&](int width) {
    uint32_t value = 0;
    while (width-- > 0) value = value << 1 | static_cast<uint32_t>(bits[at++]);
    return value;
  };
  if (take(8) != markStart) return std::nullopt;
  FoundMark found;
  found.mark.camera = static_cast<int>(take(5));
  found.mark.bracket = static_cast<int>(take(3));
  found.mark.shot = take(24);
  found.mark.mirror = take(1) != 0;
  found.mark.flip = take(1) != 0;
  found.mark.gray = static_cast<int>(take(8));
  found.field = view.Mean(0.5, 0.82, 0.4, 0.12);
  return found;
}

}  // namespace

std::optional<FoundMark> ReadMark(const shot::Gray& picture) {
  for (const bool turned : {false, true}) {
    if (auto found = ReadUpright(View(picture, turned))) {
      found->turned = turned;
      return found;
    }
  }
  return std::nullopt;
}

std::optional<FoundMark> ReadMark(std::span<const uint8_t> jpeg) {
  return ReadMark(shot::DecodeGray(jpeg, shot::ReadJpegHead(jpeg).width >= 1600 ? 8 : 1));
}

}  // namespace twin
