#include "twin/light/frame_maker.h"

#include <turbojpeg.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>

#include "twin/light/bayer.h"
#include "twin/light/chance.h"
#include "twin/light/tone.h"

namespace twin {
namespace {

// Layer 1, which measures the scene for all.
constexpr std::array measuringCameras{9, 10, 11, 12, 13, 14, 15, 24};

}  // namespace

EncoderDesk::EncoderDesk() : encoder(tjInitCompress()) {
  if (!encoder) throw std::runtime_error("cannot make a JPEG encoder");
}

EncoderDesk::~EncoderDesk() { tjDestroy(encoder); }

FrameMaker::FrameMaker(std::unique_ptr<World> world, std::vector<Lens> lenses, double light, uint64_t seed)
    : world_(std::move(world)), lenses_(std::move(lenses)), light_(light), seed_(seed) {
  // Find the scale at which the normal exposure gives the normal mean. The mean rises with the scale: halve intervals.
  const auto meanAt = [&](double scale) {
    scale_ = scale / light_;
    double mean = 0;
    for (const int camera : measuringCameras) mean += MeanSignal(camera, 0.01, {});
    return mean / measuringCameras.size();
  };
  double low = 1e-6, high = 1e6;
  for (int i = 0; i < 100; i++) {
    const double middle = std::sqrt(low * high);
    (meanAt(middle) < 28.0 / 255 ? low : high) = middle;
  }
  if (low < 2e-6 || high > 0.5e6) throw std::runtime_error("the scene is black: no exposure can show it");
  scale_ = low;
  lit_.factor = scale_ * light_;
}

Rgb FrameMaker::Brightened::Look(Vec3 dir) const {
  const Rgb light = world_.Look(dir);
  const auto by = static_cast<float>(factor);
  return {light.r * by, light.g * by, light.b * by};
}

double FrameMaker::SignalPerLight(double exposure) const { return exposure * light_ * signalPerExposure; }

const FrameMaker::Samples& FrameMaker::SamplesOf(int camera, const Stance& stance) {
  std::optional<Samples>& kept = samples_[static_cast<size_t>(camera)];
  if (kept && kept->stance == stance) return *kept;
  Samples& samples = kept.emplace(Samples{.stance = stance, .lights = {}, .sums = {0}});
  // As a sensor's colour filters count: green twice.
  for (const Rgb& part : SmallView(*world_, lenses_[static_cast<size_t>(camera)], stance)) {
    samples.lights.insert(samples.lights.end(), {part.r, part.g, part.g, part.b});
  }
  std::sort(samples.lights.begin(), samples.lights.end());
  for (const float light : samples.lights) samples.sums.push_back(samples.sums.back() + light);
  return samples;
}

double FrameMaker::MeanSignal(int camera, double exposure, const Stance& stance) {
  const Samples& samples = SamplesOf(camera, stance);
  const double factor = SignalPerLight(exposure) * scale_;
  if (factor <= 0) return 0;
  const auto clipped = std::upper_bound(samples.lights.begin(), samples.lights.end(), static_cast<float>(1 / factor));
  const auto below = static_cast<size_t>(clipped - samples.lights.begin());
  return (samples.sums[below] * factor + static_cast<double>(samples.lights.size() - below)) /
         static_cast<double>(samples.lights.size());
}

std::shared_ptr<const View> FrameMaker::ViewOf(const StoredFrame& frame) {
  const auto index = static_cast<size_t>(frame.camera);
  KeptView& kept = views_[index];
  const std::scoped_lock lock(kept.mutex);
  if (!kept.view || kept.stance != frame.stance) {
    kept.view = std::make_shared<View>(*world_, lenses_[index], frame.stance, static_cast<float>(scale_));
    kept.stance = frame.stance;
  }
  return kept.view;
}

uint64_t FrameMaker::NoiseOf(const StoredFrame& frame) const {
  const uint64_t which = uint64_t{frame.shot} << 16 | static_cast<uint64_t>(frame.camera << 8 | frame.bracket);
  return Mixed(seed_ ^ Mixed(which));
}

Development FrameMaker::DevelopmentOf(const StoredFrame& frame) const {
  const bool upsideDown = frame.camera < 9;  // the cameras of layer 0
  Development development;
  development.signal = static_cast<float>(SignalPerLight(frame.seconds * frame.gain * frame.light));
  development.gain = static_cast<float>(frame.gain);
  development.mirror = frame.mirror == upsideDown;
  development.flip = frame.flip == upsideDown;
  development.noise = NoiseOf(frame);
  return development;
}

std::shared_ptr<const Planes> FrameMaker::Expose(const StoredFrame& frame) {
  return std::make_shared<const Planes>(Develop(*ViewOf(frame), DevelopmentOf(frame)));
}

void FrameMaker::ReadOut(const StoredFrame& frame, std::span<uint16_t> levels) {
  Development development = DevelopmentOf(frame);
  if (ReadsOutTurned(frame.camera)) {
    development.mirror = !development.mirror;
    development.flip = !development.flip;
  }
  development.noise = Mixed(development.noise);  // not that of the JPEG: each of its pixels is made of several
  ReadOutView(*ViewOf(frame), development, levels);
  AddDefects(Mixed(seed_ ^ Mixed(static_cast<uint64_t>(frame.camera))), development.mirror, development.flip, levels);
}

Jpeg FrameMaker::Encode(const StoredFrame& frame, const Planes& planes, PictureSize size, int quality,
                        EncoderDesk& desk) const {
  const int width = WidthOf(size), height = HeightOf(size);
  const unsigned char* parts[3] = {planes.y.data(), planes.cb.data(), planes.cr.data()};
  if (size == PictureSize::Full) {
    EnlargeLuma(planes, static_cast<float>(frame.gain), NoiseOf(frame), desk.luma);
    parts[0] = desk.luma.data();
  } else {
    ReduceChroma(planes.cb, desk.cb);
    ReduceChroma(planes.cr, desk.cr);
    parts[1] = desk.cb.data();
    parts[2] = desk.cr.data();
  }
  const int strides[3] = {width, width / 2, width / 2};
  desk.coded.resize(tjBufSize(width, height, TJSAMP_420));
  unsigned char* coded = desk.coded.data();
  unsigned long codedSize = desk.coded.size();
  if (tjCompressFromYUVPlanes(desk.encoder, parts, width, strides, height, TJSAMP_420, &coded, &codedSize, quality,
                              TJFLAG_NOREALLOC) != 0)
    throw std::runtime_error(std::string("cannot encode a frame: ") + tjGetErrorStr2(desk.encoder));
  return std::make_shared<const std::vector<uint8_t>>(coded, coded + codedSize);
}

}  // namespace twin
