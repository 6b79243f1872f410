// Makes a frame's JPEGs out of the world: a pure function with a store of views behind it.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "twin/light/develop.h"
#include "twin/light/lens.h"
#include "twin/light/picture_source.h"
#include "twin/light/view.h"
#include "twin/light/world.h"

namespace twin {

// Memory and encoder of one thread; kept between frames because they are large.
struct EncoderDesk {
  EncoderDesk();
  ~EncoderDesk();
  EncoderDesk(const EncoderDesk&) = delete;
  EncoderDesk& operator=(const EncoderDesk&) = delete;

  void* encoder;
  std::vector<uint8_t> luma, cb, cr, coded;
};

class FrameMaker {
 public:
  FrameMaker(std::unique_ptr<World> world, std::vector<Lens> lenses, double light, uint64_t seed);

  double MeanSignal(int camera, double exposure) const;

  // All from any thread.
  std::shared_ptr<const Planes> Expose(const StoredFrame& frame);
  void ReadOut(const StoredFrame& frame, std::span<uint16_t> levels);
  Jpeg Encode(const StoredFrame& frame, const Planes& planes, PictureSize size, int quality, EncoderDesk& desk) const;

 private:
  const View& ViewOf(int camera);
  double SignalPerLight(double exposure) const;
  Development DevelopmentOf(const StoredFrame& frame) const;
  uint64_t NoiseOf(const StoredFrame& frame) const;

  const std::unique_ptr<World> world_;
  const std::vector<Lens> lenses_;
  const double light_;
  const uint64_t seed_;
  double scale_ = 1;  // from the world's unit to that of tone.h
  // By camera: the light of all its measured samples in ascending order, and their running sum.
  std::array<std::vector<float>, lensCount> samples_;
  std::array<std::vector<double>, lensCount> sums_;
  std::array<std::once_flag, lensCount> rendered_;
  std::array<std::unique_ptr<View>, lensCount> views_;
};

}  // namespace twin
