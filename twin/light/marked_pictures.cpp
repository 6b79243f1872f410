#include "twin/light/marked_pictures.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <vector>

#include "twin/light/bayer.h"
#include "twin/light/cell_jpeg.h"
#include "twin/light/mark.h"
#include "twin/light/tone.h"

namespace twin {
namespace {

static_assert(CellJpeg::columns == markColumns);

class MarkedPictures final : public PictureSource {
 public:
  explicit MarkedPictures(double light) : light_(light) {}

  double MeanSignal(int camera, double exposure) override {
    return std::min(1.0, MarkedLightOf(camera, light_) * exposure * signalPerExposure);
  }

  Jpeg Encode(const StoredFrame& frame, PictureSize size, int quality) override {
    const Grays grays = GraysOf(frame);
    const int cells = (HeightOf(size) + CellJpeg::cellHeight - 1) / CellJpeg::cellHeight;
    const int cellsABit = static_cast<int>(std::lround(HeightOf(size) * markRowHeight)) / CellJpeg::cellHeight;
    const bool mirrored = frame.mirror != BuiltInTurned(frame), flipped = frame.flip != BuiltInTurned(frame);
    return std::make_shared<const std::vector<uint8_t>>(Pieces(size, quality).Compose([&](int row, int column) {
      return grays.At((flipped ? cells - 1 - row : row) / cellsABit, mirrored ? markColumns - 1 - column : column);
    }));
  }

  void ReadOut(const StoredFrame& frame, std::span<uint16_t> levels) override {
    constexpr int width = WidthOf(PictureSize::Full), height = HeightOf(PictureSize::Full);
    const Grays grays = GraysOf(frame);
    const int rowsABit = static_cast<int>(std::lround(height * markRowHeight));
    const bool mirrored = ReadsOutTurned(frame.camera) != (frame.mirror != BuiltInTurned(frame));
    const bool flipped = ReadsOutTurned(frame.camera) != (frame.flip != BuiltInTurned(frame));
    std::vector<uint16_t> line(width);
    for (int row = 0; row < height; row++) {
      if (row % rowsABit == 0) {
        for (int x = 0; x < width; x++) {
          const double signal = LinearOf(grays.At(row / rowsABit, x / (width / markColumns)) / 255.0);
          const int column = mirrored ? width - 1 - x : x;
          line[static_cast<size_t>(column)] = LevelOf(static_cast<float>(signal * Ripple(x)));
        }
      }
      std::copy(line.begin(), line.end(),
                levels.begin() + static_cast<std::ptrdiff_t>(flipped ? height - 1 - row : row) * width);
    }
  }

 private:
  // The gray values of a frame's cells and, below them, of its field.
  struct Grays {
    int At(int row, int column) const {
      if (row >= markRows) return field;
      return bits[static_cast<size_t>(row * markColumns + column)] ? markBright : markDark;
    }
    MarkBits bits;
    int field;
  };
  Grays GraysOf(const StoredFrame& frame) {
    const double signal = MeanSignal(frame.camera, frame.seconds * frame.gain * frame.light);
    const int field = static_cast<int>(std::lround(255 * Display(signal)));
    return {BitsOf({.camera = frame.camera,
                    .bracket = frame.bracket,
                    .shot = frame.shot,
                    .mirror = frame.mirror,
                    .flip = frame.flip,
                    .gray = field}),
            field};
  }

  // The cameras of layer 0 are built in upside down: their sensors must mirror and flip for an upright picture.
  static bool BuiltInTurned(const StoredFrame& frame) { return frame.camera < 9; }

  // In a readout: gentle waves along a row, so that the order of its samples shows.
  static double Ripple(int x) { return 1 + 0.02 * (std::abs(x % 64 - 32) / 16.0 - 1); }

  const CellJpeg& Pieces(PictureSize size, int quality) {
    return pieces_.try_emplace({size, quality}, size, quality).first->second;
  }

  const double light_;
  std::map<std::pair<PictureSize, int>, CellJpeg> pieces_;
};

}  // namespace

std::unique_ptr<PictureSource> MakeMarkedPictures(double light, uint64_t /*seed*/) {
  return std::make_unique<MarkedPictures>(light);
}

}  // namespace twin
