#include "twin/light/marked_pictures.h"

#include <algorithm>
#include <cmath>
#include <map>

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
    const double signal = MeanSignal(frame.camera, frame.seconds * frame.gain * frame.light);
    const int field = static_cast<int>(std::lround(255 * Display(signal)));
    const MarkBits bits = BitsOf({.camera = frame.camera,
                                  .bracket = frame.bracket,
                                  .shot = frame.shot,
                                  .mirror = frame.mirror,
                                  .flip = frame.flip,
                                  .gray = field});
    const int cellsABit = static_cast<int>(std::lround(HeightOf(size) * markRowHeight)) / CellJpeg::cellHeight;
    const auto gray = [&](int row, int column) {
      const int markRow = row / cellsABit;
      if (markRow >= markRows) return field;
      return bits[static_cast<size_t>(markRow * markColumns + column)] ? markBright : markDark;
    };
    return std::make_shared<const std::vector<uint8_t>>(Pieces(size, quality).Compose(gray));
  }

 private:
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
