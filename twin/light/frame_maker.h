// Makes a frame's JPEGs out of the world: a pure function with a store of views behind it.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
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

  // The world in the unit of tone.h.
  const World& Lit() const { return lit_; }
  // Of the thread that has made this.
  double MeanSignal(int camera, double exposure, const Stance& stance);

  // All from any thread.
  std::shared_ptr<const Planes> Expose(const StoredFrame& frame);
  void ReadOut(const StoredFrame& frame, std::span<uint16_t> levels);
  Jpeg Encode(const StoredFrame& frame, const Planes& planes, PictureSize size, int quality, EncoderDesk& desk) const;

 private:
  class Brightened final : public World {
   public:
    explicit Brightened(const World& world) : world_(world) {}
    Rgb Look(Vec3 dir) const override;
    double factor = 1;

   private:
    const World& world_;
  };
  // What one camera measures: the light of all its measured samples in ascending order, and their running sum.
  struct Samples {
    Stance stance;
    std::vector<float> lights;
    std::vector<double> sums;
  };
  struct KeptView {
    std::mutex mutex;
    Stance stance;
    std::shared_ptr<const View> view;
  };

  const Samples& SamplesOf(int camera, const Stance& stance);
  std::shared_ptr<const View> ViewOf(const StoredFrame& frame);
  double SignalPerLight(double exposure) const;
  Development DevelopmentOf(const StoredFrame& frame) const;
  uint64_t NoiseOf(const StoredFrame& frame) const;

  const std::unique_ptr<World> world_;
  const std::vector<Lens> lenses_;
  const double light_;
  const uint64_t seed_;
  double scale_ = 1;  // from the world's unit to that of tone.h
  Brightened lit_{*world_};
  // By camera, of the way it was held when last asked for.
  std::array<std::optional<Samples>, lensCount> samples_;
  std::array<KeptView, lensCount> views_;
};

}  // namespace twin
