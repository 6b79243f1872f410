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
  for (size_t camera = 0; camera < lensCount; camera++) {
    // As a sensor's colour filters count: green twice.
    for (const Rgb& part : SmallView(*world_, lenses_[camera])) {
      samples_[camera].insert(samples_[camera].end(), {part.r, part.g, part.g, part.b});
    }
    std::sort(samples_[camera].begin(), samples_[camera].end());
    double sum = 0;
    sums_[camera].push_back(0);
    for (const float sample : samples_[camera]) sums_[camera].push_back(sum += sample);
  }
  // Find the scale at which the normal exposure gives the normal mean. The mean rises with the scale: halve intervals.
  const auto meanAt = [&](double scale) {
    scale_ = scale / light_;
    double mean = 0;
    for (const int camera : measuringCameras) mean += MeanSignal(camera, 0.01);
    return mean / measuringCameras.size();
  };
  double low = 1e-6, high = 1e6;
  for (int i = 0; i < 100; i++) {
    const double middle = std::sqrt(low * high);
    (meanAt(middle) < 28.0 / 255 ? low : high) = middle;
  }
  if (low < 2e-6 || high > 0.5e6) throw std::runtime_error("the scene is black: no exposure can show it");
  scale_ = low;
}

double FrameMaker::SignalPerLight(double exposure) const { return exposure * light_ * signalPerExposure; }

double FrameMaker::MeanSignal(int camera, double exposure) const {
  const auto index = static_cast<size_t>(camera);
  const std::vector<float>& samples = samples_[index];
  const double factor = SignalPerLight(exposure) * scale_;
  if (factor <= 0) return 0;
  const auto clipped = std::upper_bound(samples.begin(), samples.end(), static_cast<float>(1 / factor));
  const auto below = static_cast<size_t>(clipped - samples.begin());
  return (sums_[index][below] * factor + static_cast<double>(samples.size() - below)) /
         static_cast<double>(samples.size());
}

const View& FrameMaker::ViewOf(int camera) {
  const auto index = static_cast<size_t>(camera);
  std::call_once(rendered_[index],
                 [&] { views_[index] = std::make_unique<View>(*world_, lenses_[index], static_cast<float>(scale_)); });
  return *views_[index];
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
  return std::make_shared<const Planes>(Develop(ViewOf(frame.camera), DevelopmentOf(frame)));
}

void FrameMaker::ReadOut(const StoredFrame& frame, std::span<uint16_t> levels) {
  Development development = DevelopmentOf(frame);
  if (ReadsOutTurned(frame.camera)) {
    development.mirror = !development.mirror;
    development.flip = !development.flip;
  }
  development.noise = Mixed(development.noise);  // not that of the JPEG: each of its pixels is made of several
  ReadOutView(ViewOf(frame.camera), development, levels);
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
