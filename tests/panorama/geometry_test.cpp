#include "tools/panorama/geometry.h"

#include <cstring>
#include <random>

#include "tests/support/lens_calibration.h"

namespace {

using panorama::Camera;
using panorama::Direction;

constexpr double degree = std::numbers::pi / 180;

std::vector<shot::CameraConf> Rows() {
  const auto bytes = FileBytes(std::filesystem::path(LUMORA_BLOB_DIR) / "CameraConf_800");
  std::vector<shot::CameraConf> rows(bytes.size() / sizeof(shot::CameraConf));
  std::memcpy(rows.data(), bytes.data(), rows.size() * sizeof(shot::CameraConf));
  return rows;
}

Direction Towards(double azimuth, double elevation) {
  return {std::cos(elevation) * std::sin(azimuth), std::cos(elevation) * std::cos(azimuth), std::sin(elevation)};
}

Direction Times(const panorama::Matrix& m, const Direction& d) {
  const auto row = [&](size_t i) { return m[i][0] * d.right + m[i][1] * d.front + m[i][2] * d.up; };
  return {row(0), row(1), row(2)};
}

void ExpectNear(const Direction& found, const Direction& expected) {
  EXPECT_NEAR(found.right, expected.right, 1e-8);
  EXPECT_NEAR(found.front, expected.front, 1e-8);
  EXPECT_NEAR(found.up, expected.up, 1e-8);
}

// Against the calibration worked out in angles, for a picture that stands upright: a wrong sign of any number of any
// camera, or the picture not turned, moves points by many pixels.
TEST(PanoramaGeometry, PutsDirectionsWhereTheCalibrationSays) {
  const LensCalibration calibration(LUMORA_BLOB_DIR);
  const auto rows = Rows();
  ASSERT_EQ(rows.size(), 25u);
  std::mt19937 chance(7);
  std::uniform_real_distribution<double> azimuths(-std::numbers::pi, std::numbers::pi), heights(-0.96, 1);
  int seen = 0;
  for (int i = 0; i < 2000; i++) {
    const double azimuth = azimuths(chance), elevation = std::asin(heights(chance));
    const Direction direction = Towards(azimuth, elevation);
    for (int k = 0; k < 25; k++) {
      const auto upright = calibration.Find(k, azimuth, elevation);
      if (!upright) continue;
      seen++;
      const Camera camera = Camera::Of(rows[static_cast<size_t>(k)]).value();
      const auto point = camera.PointOf(direction);
      ASSERT_TRUE(point);
      ASSERT_NEAR(point->x, 3264 - upright->x, 1e-6) << "camera " << k;
      ASSERT_NEAR(point->y, 2448 - upright->y, 1e-6) << "camera " << k;
      ExpectNear(camera.DirectionAt(*point), direction);
    }
  }
  EXPECT_GT(seen, 3500);
}

TEST(PanoramaGeometry, StandsUprightByTheTiltAndTurnsToNorthByTheCompass) {
  shot::Record record{};
  record.vertexX = static_cast<int32_t>(12 * degree * 1e8);
  record.vertexY = static_cast<int32_t>(-34 * degree * 1e8);
  const double sx = std::sin(12 * degree), cx = std::cos(12 * degree);
  const double sy = std::sin(-34 * degree), cy = std::cos(-34 * degree);
  const Direction up = {-cx * sy, -sx, cx * cy};
  auto turn = panorama::BodyFromPanorama(record, {});
  ExpectNear(Times(turn, {0, 0, 1}), {up.right, up.front, up.up});
  // The middle is the level direction above or below which the front looks: front and up span it.
  const Direction middle = Times(turn, {0, 1, 0}), side = Times(turn, {1, 0, 0});
  EXPECT_NEAR(side.front, 0, 1e-8);
  EXPECT_GT(middle.front, 0.9);
  ExpectNear(Times(panorama::BodyFromPanorama(record, {.level = false}), {0, 0, 1}), {0, 0, 1});
  EXPECT_FALSE(panorama::HeadingOf(record, {}));

  record = {};
  record.compassValue = 9000;  // the front looks east: north is at the left, and south at the right
  ExpectNear(Times(panorama::BodyFromPanorama(record, {}), {0, 1, 0}), {-1, 0, 0});
  ExpectNear(Times(panorama::BodyFromPanorama(record, {.yaw = 180}), {0, 1, 0}), {1, 0, 0});
  EXPECT_DOUBLE_EQ(panorama::HeadingOf(record, {.yaw = -90}).value(), 270);

  record.compassValue = record.vertexX = record.vertexY = INT32_MIN;  // no angle, but a number all the same
  EXPECT_NEAR(std::hypot(panorama::BodyFromPanorama(record, {})[0][0], panorama::BodyFromPanorama(record, {})[1][0],
                         panorama::BodyFromPanorama(record, {})[2][0]),
              1, 1e-9);
}

TEST(PanoramaGeometry, RefusesRowsThatAreNoCalibration) {
  const auto good = Rows()[3];
  EXPECT_TRUE(Camera::Of(good));
  EXPECT_FALSE(Camera::Of(shot::CameraConf{}));
  for (int32_t shot::CameraConf::*field : {&shot::CameraConf::aimInfoDirX, &shot::CameraConf::aimInfoDirY,
                                           &shot::CameraConf::centerP2DX, &shot::CameraConf::sensorScale}) {
    auto row = good;
    row.*field = 0x7F7E7D7C;
    EXPECT_FALSE(Camera::Of(row));
  }
}

}  // namespace
