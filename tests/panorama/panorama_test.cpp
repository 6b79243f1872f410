// Panoramas held against the world that the pictures were taken of.
#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <numbers>

#include "tests/support/file_bytes.h"
#include "tests/support/rendered_shot.h"
#include "tools/lumora-shot/pictures.h"
#include "tools/panorama/command.h"
#include "tools/panorama/output.h"
#include "tools/panorama/render.h"
#include "tools/panorama/tone_map.h"
#include "twin/light/world.h"

namespace {

using panorama::Direction;

constexpr double degree = std::numbers::pi / 180;

struct Colour {
  double r = 0, g = 0, b = 0;
};

double LinearOf(double level) {
  const double d = level / 255;
  return d <= 0.04045 ? d / 12.92 : std::pow((d + 0.055) / 1.055, 2.4);
}
double LevelOf(double light) {
  return 255 * (light <= 0.0031308 ? 12.92 * light : 1.055 * std::pow(light, 1 / 2.4) - 0.055);
}

Direction Towards(double column, double row, int width) {
  const double azimuth = (column / width - 0.5) * 2 * std::numbers::pi,
               elevation = (0.5 - row * 2 / width) * std::numbers::pi;
  return {std::cos(elevation) * std::sin(azimuth), std::cos(elevation) * std::cos(azimuth), std::sin(elevation)};
}

// A world without symmetry, in levels: bands of colour, fine waves, and discs with hard edges.
Colour SceneAt(const Direction& d) {
  const double wave = 22 * std::sin(40 * d.right + 9 * d.up) * std::sin(31 * d.front - 17 * d.up);
  Colour colour{120 + 50 * d.right + wave, 110 + 45 * d.front + wave, 115 + 55 * d.up - 0.6 * wave};
  const double disc =
      std::fmod(std::abs(7 * d.right + 3 * d.front), 1) + std::fmod(std::abs(5 * d.up + 2 * d.right), 1);
  if (disc < 0.5) colour = {colour.r + 40, colour.g - 25, colour.b + 15};
  return colour;
}

template <typename Each>
void EachPixel(int width, const Each& each) {
  for (int y = 0; y < width / 2; y++)
    for (int x = 0; x < width; x++) each(x, y);
}

// How the camera stands in a level world whose front is north, by the words of the tilt's definition: the world's "up"
// in the camera's axes, and the heading of its front, projected onto the level.
class Stand {
 public:
  Stand(double pitch, double roll, double heading) {
    const Direction up{-std::cos(pitch) * std::sin(roll), -std::sin(pitch), std::cos(pitch) * std::cos(roll)};
    const double length = std::sqrt(1 - up.front * up.front);
    const Direction ahead{-up.right * up.front / length, length, -up.up * up.front / length};
    const Direction right{ahead.front * up.up - ahead.up * up.front, ahead.up * up.right - ahead.right * up.up,
                          ahead.right * up.front - ahead.front * up.right};
    const double c = std::cos(heading), s = std::sin(heading);
    east_ = {right.right * c + ahead.right * s, right.front * c + ahead.front * s, right.up * c + ahead.up * s};
    north_ = {ahead.right * c - right.right * s, ahead.front * c - right.front * s, ahead.up * c - right.up * s};
    up_ = up;
  }
  Direction LevelOf(const Direction& body) const {
    const auto along = [&](const Direction& axis) {
      return body.right * axis.right + body.front * axis.front + body.up * axis.up;
    };
    return {along(east_), along(north_), along(up_)};
  }
  // The stand-in calibration sees all that is this high above the camera's own horizon.
  bool Sees(const Direction& level) const {
    return level.right * east_.up + level.front * north_.up + level.up * up_.up > std::sin(-72 * degree);
  }

 private:
  Direction east_{}, north_{}, up_{};
};

// The scene as the body sees it that stands in it so.
std::string SceneFile(const std::string& path, const Stand& stand) {
  constexpr int width = 2048;
  support::Bytes pixels;
  EachPixel(width, [&](int x, int y) {
    const Colour colour = SceneAt(stand.LevelOf(Towards(x + 0.5, y + 0.5, width)));
    for (const double part : {colour.r, colour.g, colour.b}) pixels.push_back(static_cast<uint8_t>(std::lround(part)));
  });
  PutBytes(path, support::JpegFrom(pixels, width, width / 2, 0, 100));
  return path;
}

Colour MeanAround(int x, int y, int width) {
  Colour mean;
  for (int i = 0; i < 16; i++) {
    const Colour colour = SceneAt(Towards(x + (i % 4 + 0.5) / 4, y + (i / 4 + 0.5) / 4, width));
    mean = {mean.r + colour.r / 16, mean.g + colour.g / 16, mean.b + colour.b / 16};
  }
  return mean;
}

// A panorama of the scene beside the scene, in levels, after one gain in light.
class Comparison {
 public:
  Comparison(const shot::Rgb& picture, const Stand& stand) : width_(picture.width), stand_(stand) {
    double across = 0, square = 0;
    EachPixel(width_, [&](int x, int y) {
      const Colour mean = MeanAround(x, y, width_);
      const double expected[] = {mean.r, mean.g, mean.b};
      for (size_t i = 0; i < 3; i++) {
        const double found = LinearOf(picture.pixels[3 * At(x, y) + i]);
        found_.push_back(found);
        expected_.push_back(expected[i]);
        if (!stand.Sees(Towards(x + 0.5, y + 0.5, width_))) continue;
        across += found * LinearOf(expected[i]);
        square += found * found;
      }
    });
    for (double& found : found_) found = LevelOf(found * across / square);
  }

  // Peak signal to noise of both at half their size.
  double Decibels() const {
    double errors = 0;
    int count = 0;
    EachPixel(width_ / 2, [&](int x, int y) {
      if (!stand_.Sees(Towards(x + 0.5, y + 0.5, width_ / 2))) return;
      for (size_t i = 0; i < 3; i++, count++) {
        double error = 0;
        for (int part = 0; part < 4; part++) error += Error(2 * x + part % 2, 2 * y + part / 2, i) / 4;
        errors += error * error;
      }
    });
    return 10 * std::log10(255 * 255 / (errors / count));
  }

  // From pixel to pixel, what the panorama adds to the world's own steps: of a hundred the second largest along seams,
  // less that of everywhere.
  double UnrestAlong(const panorama::Seams& seams) const {
    std::vector<double> along, everywhere;
    EachPixel(width_, [&](int x, int y) {
      for (const auto& [column, row] : {std::pair{(x + 1) % width_, y}, {x, std::min(y + 1, width_ / 2 - 1)}}) {
        const auto one = seams.Owners().Row(y / seams.Step())[x / seams.Step()];
        const auto other = seams.Owners().Row(row / seams.Step())[column / seams.Step()];
        if (one == panorama::Seams::nobody || other == panorama::Seams::nobody) continue;
        everywhere.push_back(std::abs(Error(column, row, 1) - Error(x, y, 1)));
        if (one != other) along.push_back(everywhere.back());
      }
    });
    const auto second = [](std::vector<double>& steps) {
      const auto place = steps.begin() + static_cast<ptrdiff_t>(steps.size() * 99 / 100);
      std::nth_element(steps.begin(), place, steps.end());
      return *place;
    };
    return second(along) - second(everywhere);
  }

  // The largest step that a seam adds to the world's own, as a mean along it; one "seam" is where the panorama closes.
  double WorstStep(const panorama::Seams& seams) const {
    std::map<std::pair<int, int>, std::pair<double, int>> steps;
    EachPixel(width_, [&](int x, int y) {
      const auto owner = [&](int column, int row) {
        return seams.Owners().Row(row / seams.Step())[column / seams.Step()];
      };
      const int right = (x + 1) % width_, below = std::min(y + 1, width_ / 2 - 1);
      for (const auto& [column, row] : {std::pair{right, y}, {x, below}}) {
        const std::pair<int, int> seam =
            column < x ? std::pair<int, int>{-1, -1} : std::pair<int, int>{owner(x, y), owner(column, row)};
        if (seam.second == panorama::Seams::nobody || seam.first == panorama::Seams::nobody) continue;
        if (seam.first == seam.second && seam.first >= 0) continue;
        steps[seam].first += Error(column, row, 1) - Error(x, y, 1);
        steps[seam].second++;
      }
    });
    double worst = 0;
    for (const auto& [seam, sum] : steps)
      if (sum.second >= 150) worst = std::max(worst, std::abs(sum.first / sum.second));
    return worst;
  }

 private:
  size_t At(int x, int y) const {
    return static_cast<size_t>(y) * static_cast<size_t>(width_) + static_cast<size_t>(x);
  }
  double Error(int x, int y, size_t colour) const {
    return found_[3 * At(x, y) + colour] - expected_[3 * At(x, y) + colour];
  }

  int width_;
  const Stand& stand_;
  std::vector<double> found_, expected_;
};

shot::Rgb Shown(const std::string& path, panorama::Request request) {
  const shot::File file(path);
  const panorama::Stitched stitched = panorama::Stitch(file, request);
  return shot::DecodeRgb(panorama::ToJpeg(stitched, {0, request.width / 2}, 100));
}

// Tilted and turned, and set upright by the record alone: wrong signs, colours, lenses or seams all cost decibels.
TEST(Panorama, IsTheWorldSetUpright) {
  const support::TestFolder folder;
  support::MadeShot made;
  made.vertexX = static_cast<int>(12 * degree * 1e8);
  made.vertexY = static_cast<int>(-34 * degree * 1e8);
  made.compassValue = 7000;
  const Stand stand(12 * degree, -34 * degree, 70 * degree);
  support::WriteRenderedShot(folder / "a.ori", made, {1}, SceneFile(folder / "scene.jpg", stand));
  const shot::File file(folder / "a.ori");
  const panorama::Stitched stitched = panorama::Stitch(file, {.width = 1024, .exposure = 1, .levels = true});
  const Comparison comparison(shot::DecodeRgb(panorama::ToJpeg(stitched, {0, 512}, 100)), stand);
  EXPECT_GT(comparison.Decibels(), 43);
  EXPECT_LT(comparison.WorstStep(*stitched.seams), 0.5);
  EXPECT_LT(comparison.UnrestAlong(*stitched.seams), 2);
  RecordProperty("decibels", std::to_string(comparison.Decibels()));
  RecordProperty("step", std::to_string(comparison.WorstStep(*stitched.seams)));
}

// One shot of the twin's room, lamp, window and shade, for all that follows.
class PanoramaOfTheRoom : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    folder_ = new support::TestFolder;
    support::MadeShot made;
    made.vertexX = made.vertexY = made.compassValue = 0;
    support::WriteRenderedShot(*folder_ / "room.ori", made, {0, 1, 2}, {}, 0.6);  // as the camera would expose it
  }
  static void TearDownTestSuite() { delete folder_; }
  static std::string Path() { return *folder_ / "room.ori"; }

  static support::TestFolder* folder_;
};
support::TestFolder* PanoramaOfTheRoom::folder_ = nullptr;

TEST_F(PanoramaOfTheRoom, HoldsItsLight) {
  constexpr int width = 512, times = 8;
  const auto room = twin::MakeRoom(1);
  const shot::File file(Path());
  const panorama::Stitched stitched = panorama::Stitch(file, {.width = times * width});
  std::vector<std::array<double, 3>> light(size_t{width} * width / 2);
  stitched.canvas->Finish(0, times * width / 2, [&](int row, const panorama::Codes* codes) {
    for (int x = 0; x < times * width; x++)
      for (int i = 0; i < 3; i++)
        light[static_cast<size_t>(row / times * width + x / times)][static_cast<size_t>(i)] +=
            stitched.scale->RadianceOf(codes[x][i]) / (times * times);
  });
  std::vector<double> ratios;
  EachPixel(width, [&](int x, int y) {
    if (y > width / 2 * 160 / 180) return;  // the hole at the nadir
    double expected[3] = {};
    for (int i = 0; i < 36; i++) {
      const Direction d = Towards(x + (i % 6 + 0.5) / 6, y + (i / 6 + 0.5) / 6, width);
      const twin::Rgb seen =
          room->Look({static_cast<float>(d.right), static_cast<float>(d.front), static_cast<float>(d.up)});
      expected[0] += seen.r / 36, expected[1] += seen.g / 36, expected[2] += seen.b / 36;
    }
    for (size_t i = 0; i < 3; i++)
      if (expected[i] > 0) ratios.push_back(light[static_cast<size_t>(y * width + x)][i] / expected[i]);
  });
  std::sort(ratios.begin(), ratios.end());
  const double middle = ratios[ratios.size() / 2];
  std::vector<double> errors;
  for (const double ratio : ratios) errors.push_back(std::abs(ratio / middle - 1));
  std::sort(errors.begin(), errors.end());
  EXPECT_LT(errors[errors.size() / 2], 0.01);
  EXPECT_LT(errors[errors.size() * 95 / 100], 0.06);
}

// By cells of 16 x 8: how much a pixel differs from the mean of those around it; the median, so that it tells of
// drawing and not of the few edges between light and shade.
std::array<double, 128> LocalContrast(const shot::Rgb& picture) {
  std::array<std::vector<double>, 128> cells;
  const auto luma = [&](int x, int y) {
    const uint8_t* pixel =
        &picture.pixels[static_cast<size_t>((y * picture.width + (x + picture.width) % picture.width) * 3)];
    return 0.3 * pixel[0] + 0.59 * pixel[1] + 0.11 * pixel[2];
  };
  constexpr int reach = 4;
  for (int y = reach; y < picture.height - reach; y++)
    for (int x = 0; x < picture.width; x++) {
      double mean = 0;
      for (int j = -reach; j <= reach; j += 2)
        for (int i = -reach; i <= reach; i += 2) mean += luma(x + i, y + j) / 25;
      cells[static_cast<size_t>(y * 8 / picture.height * 16 + x * 16 / picture.width)].push_back(
          std::abs(luma(x, y) - mean));
    }
  std::array<double, 128> contrast{};
  for (size_t i = 0; i < cells.size(); i++) {
    std::nth_element(cells[i].begin(), cells[i].begin() + static_cast<ptrdiff_t>(cells[i].size() / 2), cells[i].end());
    contrast[i] = cells[i][cells[i].size() / 2];
  }
  return contrast;
}

TEST_F(PanoramaOfTheRoom, KeepsTheDrawingOfTheBestExposureEverywhere) {
  constexpr int width = 1024;
  const auto fused = LocalContrast(Shown(Path(), {.width = width}));
  std::array<double, 128> best{};
  for (int exposure = 0; exposure < 3; exposure++) {
    const auto single = LocalContrast(Shown(Path(), {.width = width, .exposure = exposure, .levels = true}));
    for (size_t i = 0; i < best.size(); i++) best[i] = std::max(best[i], single[i]);
  }
  for (size_t i = 0; i < 7 * 16; i++)  // the last row of cells is the hole at the nadir
    EXPECT_GE(fused[i], 0.8 * best[i]) << "cell " << i % 16 << ", " << i / 16;
}

// A smooth wall of light beside a dark one, six stops apart: each is shown even up to the edge.
TEST(ToneMap, DrawsNoHaloAlongAnEdge) {
  constexpr int width = 1024;
  const panorama::RadianceScale scale(64);
  panorama::Layer<panorama::Codes> walls(width, width / 2);
  EachPixel(width,
            [&](int x, int y) { walls.Row(y)[x] = scale.CodeOf(panorama::Splat(x < width / 2 ? 0.25f : 16.0f)); });
  const panorama::ToneMap toneMap(walls, width, scale, {1, 4, 32}, 4);
  std::vector<panorama::Shade> shown(width);
  toneMap.Show(width / 4, walls.Row(width / 4), shown.data());
  const int dark = shown[width / 4][1], light = shown[width * 3 / 4][1];
  EXPECT_GT(dark, 20);
  EXPECT_GT(light, dark + 60);
  EXPECT_LT(light, 250);
  for (int x = 0; x < width; x++)
    EXPECT_NEAR(shown[static_cast<size_t>(x)][1], x < width / 2 ? dark : light, 1) << "column " << x;
}

// Before anything is blended: half the difference of two pictures, in levels. A wrong sign or no vignetting doubles it.
TEST_F(PanoramaOfTheRoom, PicturesAgreeWhereTheyOverlap) {
  const shot::File file(Path());
  const auto confs = shot::ReadCameras(file);
  const auto vignets = shot::ReadVignetting(file);
  const panorama::Grid grid(1024);
  struct Seen {
    int count = 0;
    double sum = 0, square = 0;
  };
  std::vector<Seen> seen(size_t{1024} * 512);
  for (int k = 0; k < 25; k++) {
    const auto at = static_cast<size_t>(k);
    const auto camera = panorama::Camera::Of(confs[at]).value();
    const panorama::Warp warp(camera, panorama::BodyFromPanorama(file.Get().record, {}), grid);
    const auto vignetting = panorama::Vignetting::Of(vignets[at], {1, 1, 1}).value();
    const panorama::Picture picture(file.Jpeg(shot::Place{shot::PictureSize::Full, k, 1}), 1);
    panorama::Points points(1024);
    std::vector<panorama::Floats> levels(1024);
    for (int y = 0; y < 512; y++) {
      warp.Run(y, 0, 1024, &points);
      picture.Sample(points.x.data(), points.y.data(), 1024, levels.data());
      for (size_t x = 0; x < 1024; x++) {
        if (warp.DistanceFromBorder(grid.At(static_cast<double>(x) + 0.5, y + 0.5)) < 2) continue;
        const double level = panorama::Levelled(levels[x], vignetting.At(points.distance[x]))[1];
        if (level > 250) continue;
        Seen& pixel = seen[static_cast<size_t>(y) * 1024 + x];
        pixel.count++, pixel.sum += level, pixel.square += level * level;
      }
    }
  }
  std::vector<double> deviations;
  for (const Seen& pixel : seen)
    if (pixel.count > 1)
      deviations.push_back(std::sqrt(std::max(pixel.square / pixel.count - std::pow(pixel.sum / pixel.count, 2), 0.0)));
  ASSERT_GT(deviations.size(), seen.size() / 2);
  std::nth_element(deviations.begin(), deviations.begin() + static_cast<ptrdiff_t>(deviations.size() / 2),
                   deviations.end());
  EXPECT_LT(deviations[deviations.size() / 2], 1.0);
  RecordProperty("median", std::to_string(deviations[deviations.size() / 2]));
}

}  // namespace
