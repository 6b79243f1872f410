#include "twin/judge/marks.h"

#include <cmath>

#include "tools/lumora-shot/pictures.h"
#include "twin/light/read_mark.h"

namespace twin {
namespace {

// Layer 0, whose cameras are built in upside down against the others.
constexpr int kTurnedCameras = 9;
constexpr double kGrayTolerance = 2.5;

std::string Told(const char* what, auto found, auto expected) {
  return std::string(" says ") + what + ' ' + std::to_string(found) + ", not " + std::to_string(expected);
}

// What is wrong with the picture of a camera and exposure, whichever size it has; empty: nothing.
std::string WrongMark(const std::optional<FoundMark>& found, int camera, int exposure, const ExpectedMarks& expected) {
  if (!found) return " has no mark";
  const Mark& mark = found->mark;
  if (mark.camera != camera) return Told("camera", mark.camera, camera);
  if (mark.bracket != exposure) return Told("exposure", mark.bracket, exposure);
  const uint32_t shot = expected.shotOf(camera);
  if (mark.shot != shot) return Told("shot", mark.shot, shot);
  const bool turnedInside = camera < kTurnedCameras;
  if (mark.mirror != turnedInside || mark.flip != turnedInside) return " lies otherwise than its camera is built in";
  if (!found->FieldAgrees())
    return " is " + std::to_string(found->field) + " where its mark says " + std::to_string(mark.gray);
  if (expected.grayOf && std::abs(mark.gray - expected.grayOf(camera, exposure)) > kGrayTolerance)
    return Told("gray", mark.gray, expected.grayOf(camera, exposure));
  return "";
}

std::optional<FoundMark> MarkOf(const shot::Bytes& jpeg) {
  try {
    return ReadMark(jpeg);
  } catch (const shot::BadJpeg&) {
    return std::nullopt;
  }
}

}  // namespace

std::vector<std::string> WrongMarks(const shot::File& file, const ExpectedMarks& expected) {
  std::vector<std::string> wrong;
  for (const shot::PictureSize size : {shot::PictureSize::Half, shot::PictureSize::Full}) {
    for (int camera = 0; camera < 25; camera++) {
      for (int exposure = 0; exposure < expected.exposures; exposure++) {
        const auto found = MarkOf(file.Jpeg(shot::Place{size, camera, exposure}));
        std::string what = WrongMark(found, camera, exposure, expected);
        if (what.empty() && found->turned) what = " stands the other way round";
        if (!what.empty())
          wrong.push_back(std::string(shot::NameOf(size)) + " picture, camera " + std::to_string(camera) +
                          ", exposure " + std::to_string(exposure) + what);
      }
    }
  }
  const auto thumbnail = MarkOf(file.Read(shot::Part::Thumbnail));
  std::string what = WrongMark(thumbnail, expected.thumbCamera, expected.exposures == 3 ? 1 : 3, expected);
  if (what.empty() && !thumbnail->turned) what = " stands on its head";
  if (!what.empty()) wrong.push_back("the thumbnail" + what);
  return wrong;
}

}  // namespace twin
