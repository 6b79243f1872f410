// The media units alone, with a light of their own, driven through the library's functions and the lanes.
#pragma once

#include <functional>
#include <vector>

#include "sdk/hi_mpi.h"
#include "tests/support/told_sensor.h"
#include "twin/devices/media/media_pipeline.h"

// Gives every frame as many bytes as the test asks for, different in every frame, size and quality.
class CountedPictures final : public twin::PictureSource {
 public:
  double MeanSignal(int, double) override { return 0; }
  twin::Jpeg Encode(const twin::StoredFrame& frame, twin::PictureSize size, int quality) override;
  // Levels that tell place and frame: (column + row + 4 x camera) modulo 1024.
  void ReadOut(const twin::StoredFrame& frame, std::span<uint16_t> levels) override;
  size_t bytes = 1000;
};

struct MediaUnits {
  MediaUnits() { toldSensor = {}; }
  ~MediaUnits() { kernel.KillFibers(); }  // while what they wait for still stands

  // Runs `body` as a thread of the board and lets the board run until it has ended; fails the test after a minute.
  void Do(const std::function<void()>& body);

  // One step each of what a program does to get pictures; EXPECTs that none is refused. In a thread.
  void StartSystem();
  void StartReceiver();
  void PrepareIsp();  // up to its Init
  void StartIsp();    // with a sensor and a thread that runs it
  void StartInput();
  void StartVpss();
  void StartEncoder(VENC_CHN channel, twin::PictureSize size, HI_U32 bufferSize = 1 << 20);
  void StartAll();

  // A frame on the lanes at the present time.
  void Arrive(int camera, int bracket = 0, uint32_t shot = 1);
  // The same, and time for both encoders to be done.
  void ArriveAndEncode(int camera, int bracket = 0);

  // Takes the waiting stream of a channel, and gives it back: its bytes. In a thread.
  std::vector<uint8_t> Take(VENC_CHN channel);
  // What the light says that this picture must be.
  std::vector<uint8_t> Picture(int camera, int bracket, twin::PictureSize size, int quality = 90);

  twin::Kernel kernel;
  twin::Faults faults{kernel};
  CountedPictures pictures;
  twin::Descriptors descriptors;
  twin::MediaPipeline media{kernel, faults, pictures, descriptors};
};

// What the first layer of the array sends, as the receiver's record tells it.
MIPI_DEV_ATTR_S ArrayRecord();
VENC_CHN_ATTR_S JpegChannel(twin::PictureSize size, HI_U32 bufferSize);
// Payload of a stream's packs, one after the other.
std::vector<uint8_t> Payload(const VENC_STREAM_S& stream);
// The reason in an error code; 0 for success.
int ReasonOf(HI_S32 result);
