#include "twin/light/rendered_pictures.h"

#include <gmock/gmock.h>
#include <turbojpeg.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <numbers>
#include <string>
#include <vector>

#include "tests/support/lens_calibration.h"
#include "tests/support/made_shot.h"
#include "tools/lumora-shot/pictures.h"

using namespace twin;
using testing::AllOf;
using testing::HasSubstr;

namespace {

constexpr double degree = std::numbers::pi / 180;
const std::filesystem::path blobs = LUMORA_BLOB_DIR;

std::unique_ptr<PictureSource> Pictures(const std::filesystem::path& scene = {}, double light = 1, uint64_t seed = 1) {
  return MakeRenderedPictures(scene, blobs / "CameraConf_800", blobs / "CameraVignet_800", light, seed);
}

// As the system sets its sensors: layer 0, cameras 0 to 8, mirrored and flipped, the others neither.
StoredFrame FrameOf(int camera, double seconds = 0.01, double gain = 1, uint32_t shot = 1) {
  return {.camera = camera,
          .bracket = 1,
          .shot = shot,
          .seconds = seconds,
          .gain = gain,
          .mirror = camera < 9,
          .flip = camera < 9};
}

// Linear brightness around a point of the upright picture, read from a file's picture, which stands on its head.
double SeenAt(const shot::Gray& file, PicturePoint upright) {
  const int x = static_cast<int>((1 - upright.x / 3264) * file.width);
  const int y = static_cast<int>((1 - upright.y / 2448) * file.height);
  double sum = 0;
  int count = 0;
  for (int row = std::max(y - 2, 0); row <= std::min(y + 2, file.height - 1); row++) {
    for (int column = std::max(x - 2, 0); column <= std::min(x + 2, file.width - 1); column++, count++) {
      sum += LinearLight(file.At(column, row));
    }
  }
  return sum / count;
}

// An equirectangular gray JPEG, 1024 x 512, of a formula by azimuth and elevation that gives display values 0 to 255.
std::filesystem::path SceneOf(const std::string& name, const std::function<double(double, double)>& gray,
                              int width = 1024, int height = 512) {
  support::Bytes pixels;
  for (int y = 0; y < height; y++) {
    for (int x = 0; x < width; x++) {
      const double azimuth = ((x + 0.5) / width - 0.5) * 360 * degree,
                   elevation = (0.5 - (y + 0.5) / height) * 180 * degree;
      pixels.insert(pixels.end(), 3, static_cast<uint8_t>(std::lround(gray(azimuth, elevation))));
    }
  }
  const std::filesystem::path path = std::filesystem::path(testing::TempDir()) / name;
  PutBytes(path, support::JpegFrom(pixels, width, height, TJSAMP_GRAY, 100));
  return path;
}

std::string ProblemWith(const std::filesystem::path& scene) {
  try {
    Pictures(scene);
  } catch (const std::runtime_error& problem) {
    return problem.what();
  }
  return "none";
}

// Brightest to the front right and upwards, never black: every direction but a few has its own value.
double Lobe(double azimuth, double elevation) {
  return 120 + 70 * std::cos(elevation) * std::sin(azimuth + 0.6) + 40 * std::sin(elevation);
}

}  // namespace

TEST(RenderedPictures, EachCameraSeesTheWorldWhereItsCalibrationSaysAndUpsideDown) {
  const auto pictures = Pictures(SceneOf("lobe.jpg", Lobe));
  const LensCalibration lenses(blobs);
  std::vector<double> factors;  // what is seen by what should be seen: one number for all cameras and places
  for (const int camera : {0, 4, 12, 15, 18, 24}) {
    const shot::Gray file = shot::DecodeGray(*pictures->Encode(FrameOf(camera), PictureSize::Half, 95), 2);
    int points = 0;
    for (double elevation = -75; elevation <= 85; elevation += 4) {
      for (double azimuth = -180; azimuth < 180; azimuth += 4) {
        const auto point = lenses.Find(camera, azimuth * degree, elevation * degree);
        if (!point) continue;
        const double expected =
            LinearLight(Lobe(azimuth * degree, elevation * degree)) * lenses.RelativeLight(camera, *point);
        factors.push_back(SeenAt(file, *point) / expected);
        points++;
      }
    }
    EXPECT_GT(points, 100) << "camera " << camera;
  }
  const auto [least, most] = std::minmax_element(factors.begin(), factors.end());
  EXPECT_LT(*most / *least, 1.12);
}

TEST(RenderedPictures, BrightnessFollowsLightTimeAndGainUntilItClips) {
  const auto pictures = Pictures();
  double mean = 0;
  for (const int camera : {9, 10, 11, 12, 13, 14, 15, 24}) mean += pictures->MeanSignal(camera, 0.01) / 8;
  EXPECT_NEAR(mean, 28.0 / 255, 0.001);
  EXPECT_NEAR(pictures->MeanSignal(12, 1e4), 1, 1e-6);
  EXPECT_NEAR(Pictures({}, 4)->MeanSignal(12, 0.01), pictures->MeanSignal(12, 0.04), 1e-6);

  // What the array measures is what the pictures show, whatever makes up the exposure.
  for (const auto& [seconds, gain] : {std::pair{0.0025, 1.0}, {0.01, 1.0}, {0.0025, 4.0}, {0.04, 1.0}}) {
    const shot::Gray picture =
        shot::DecodeGray(*pictures->Encode(FrameOf(12, seconds, gain), PictureSize::Half, 95), 1);
    double shown = 0;
    for (const uint8_t gray : picture.pixels) shown += LinearLight(gray);
    shown /= static_cast<double>(picture.pixels.size());
    EXPECT_NEAR(shown / pictures->MeanSignal(12, seconds * gain), 1, 0.08) << seconds << " s, gain " << gain;
  }
}

TEST(RenderedPictures, ReadOutHaveBlackAt14NoiseByGainAndPixelsThatDoNotWork) {
  const auto pictures = Pictures();
  std::vector<uint16_t> levels(size_t{3264} * 2448);
  for (const double gain : {1.0, 8.0}) {
    pictures->ReadOut(FrameOf(12, 1e-9, gain), levels);
    double sum = 0, squares = 0, count = 0;
    for (const double level : levels) {
      if (level == 1023 || level == 0) continue;
      sum += level;
      squares += level * level;
      count++;
    }
    EXPECT_NEAR(sum / count, 14, 0.1);
    EXPECT_NEAR(std::sqrt(squares / count - std::pow(sum / count, 2)), std::hypot(gain * 0.0006 * 1009, 0.29), 0.1)
        << "read noise, and rounding";
    EXPECT_EQ(std::ranges::max(levels), 1023);
    EXPECT_THAT(std::ranges::count(levels, 1023), testing::AllOf(testing::Gt(20), testing::Lt(60)));
  }
  // Full light is white but for the pixels that see none.
  pictures->ReadOut(FrameOf(12, 100), levels);
  EXPECT_GT(std::ranges::count(levels, 1023), static_cast<long>(levels.size()) * 99 / 100);
  EXPECT_GT(std::ranges::count(levels, 0), 20);
}

TEST(RenderedPictures, SameSeedSameBytesHoweverTheyAreAskedFor) {
  const auto scene = SceneOf("lobe.jpg", Lobe);
  const auto plain = Pictures(scene), ahead = Pictures(scene), other = Pictures(scene, 1, 2);
  std::vector<StoredFrame> frames;
  for (const int camera : {9, 9, 10, 24, 10}) frames.push_back(FrameOf(camera));
  ahead->Prefetch({FrameOf(11), FrameOf(12)});  // announced, but then another shot comes
  ahead->Prefetch(frames);
  for (const StoredFrame& frame : frames) {
    EXPECT_EQ(*ahead->Encode(frame, PictureSize::Half, 85), *plain->Encode(frame, PictureSize::Half, 85));
    EXPECT_EQ(*ahead->Encode(frame, PictureSize::Full, 95), *plain->Encode(frame, PictureSize::Full, 95));
  }
  EXPECT_EQ(*ahead->Encode(FrameOf(9), PictureSize::Half, 60), *plain->Encode(FrameOf(9), PictureSize::Half, 60));
  EXPECT_NE(*other->Encode(FrameOf(9), PictureSize::Half, 85), *plain->Encode(FrameOf(9), PictureSize::Half, 85));
  EXPECT_NE(*plain->Encode(FrameOf(9, 0.01, 1, 2), PictureSize::Half, 85),
            *plain->Encode(FrameOf(9), PictureSize::Half, 85));
}

TEST(RenderedPictures, ASceneThatCannotBeShownIsRefusedByName) {
  const auto square = SceneOf("square.jpg", Lobe, 512, 512);
  const auto black = SceneOf("black.jpg", [](double, double) { return 0; });
  const auto text = std::filesystem::path(testing::TempDir()) / "text.jpg";
  PutText(text, "not a picture");
  const auto cut = std::filesystem::path(testing::TempDir()) / "cut.jpg";
  std::filesystem::copy_file(SceneOf("lobe.jpg", Lobe), cut, std::filesystem::copy_options::overwrite_existing);
  std::filesystem::resize_file(cut, std::filesystem::file_size(cut) / 2);
  EXPECT_THAT(ProblemWith("/nowhere/scene.jpg"), AllOf(HasSubstr("cannot open"), HasSubstr("/nowhere/scene.jpg")));
  EXPECT_THAT(ProblemWith(text), AllOf(HasSubstr("no JPEG"), HasSubstr("text.jpg")));
  EXPECT_THAT(ProblemWith(cut), AllOf(HasSubstr("cannot be decoded"), HasSubstr("cut.jpg")));
  EXPECT_THAT(ProblemWith(square), AllOf(HasSubstr("512 x 512"), HasSubstr("twice as wide as high")));
  EXPECT_THAT(ProblemWith(black), HasSubstr("black"));
  EXPECT_THROW(MakeRenderedPictures({}, "/nowhere/conf", blobs / "CameraVignet_800", 1, 1), std::runtime_error);
  EXPECT_THROW(MakeRenderedPictures({}, blobs / "CameraVignet_800", blobs / "CameraVignet_800", 1, 1),
               std::runtime_error);
}
