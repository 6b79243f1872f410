// The seam between the chips that move frames and the light that is in them.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "twin/light/world.h"

namespace twin {

// One frame as a layer stores it and the video chain carries it: not pixels, but all that the pixels follow from.
struct StoredFrame {
  int camera = 0;       // 0 to 24, image number
  int bracket = 0;      // 0 to 5
  uint32_t shot = 0;    // counts exposures of the array since the board was built, from 1
  double seconds = 0;   // exposure time that the sensor was really set to
  double gain = 1;      // 1 is unity, ISO 100
  bool mirror = false;  // the sensor's own orientation registers. What mounting and video input turn on top of them
                        // is in the pictures already: see rendered_pictures.h
  bool flip = false;
  double light = 1;             // SetLight of the source when the frame was exposed
  Stance stance{};              // SetStance, then
  bool pairsExchanged = false;  // on its way over the lanes: of each four samples of a row the second two come first
};

enum class PictureSize { Full, Half };  // 3264 x 2448, 1632 x 1224
constexpr int WidthOf(PictureSize size) { return size == PictureSize::Full ? 3264 : 1632; }
constexpr int HeightOf(PictureSize size) { return size == PictureSize::Full ? 2448 : 1224; }

using Jpeg = std::shared_ptr<const std::vector<uint8_t>>;

// Where the sensors' light comes from. The board has one; it outlives every chip.
class PictureSource {
 public:
  virtual ~PictureSource() = default;

  // The world becomes brighter or darker: a factor on the light that the source was made with. Frames that are already
  // stored stay as they are. The factor goes into what the chips ask with: exposure, and StoredFrame::light.
  void SetLight(double factor) { light_ = factor; }
  double Light() const { return light_; }

  // The camera is held otherwise, from the next frame on.
  void SetStance(const Stance& stance) { stance_ = stance; }
  const Stance& HeldAs() const { return stance_; }

  // The world itself, in the unit of tone.h, as the source was made; null if the pictures are not of a world. The
  // source keeps it.
  virtual const World* Surroundings() const { return nullptr; }

  // Mean of a camera's clipped linear signal, 0 to 1 (1: every pixel saturated), for an exposure of `exposure` =
  // seconds x gain x Light, held as it is now. Rises with exposure, saturates per pixel.
  virtual double MeanSignal(int camera, double exposure) = 0;

  // The frame as the JPEG encoder would make it: 4:2:0, the exact size, `quality` 1 to 100. The same arguments give
  // the same bytes. May take host time; takes no board time.
  virtual Jpeg Encode(const StoredFrame& frame, PictureSize size, int quality) = 0;

  // The frame as its sensor reads it out, before any processing: 3264 x 2448 levels of 0 to 1023, black at 14, behind a
  // filter each: blue and green in turn in the first row, green and red in the next (bayer.h). The same arguments give
  // the same levels. May take host time; takes no board time.
  virtual void ReadOut(const StoredFrame& frame, std::span<uint16_t> levels) = 0;

  // A hint that these frames will be asked for soon, in this order, at both sizes. May be ignored.
  virtual void Prefetch(const std::vector<StoredFrame>& /*frames*/) {}

 private:
  double light_ = 1;
  Stance stance_;
};

// What receives the array's video stream.
class VideoInput {
 public:
  virtual ~VideoInput() = default;
  // A whole frame has come in on the lanes. Called in the scheduler, at the moment of its last line.
  virtual void FrameArrives(const StoredFrame& frame) = 0;
};

}  // namespace twin
