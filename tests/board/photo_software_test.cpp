// Raw frames of a shot in the hands of photo software: whether it takes the files without a word and shows the scene's
// colours where they belong. Programs that are not installed skip their test.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <turbojpeg.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <numbers>

#include "tests/support/file_bytes.h"
#include "tests/support/http.h"
#include "tests/support/lens_calibration.h"
#include "tests/support/made_shot.h"
#include "tests/support/tiff_walk.h"
#include "tools/lumora-shot/verify.h"

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr double degree = std::numbers::pi / 180;
constexpr int kPatchDegrees = 15, kColumns = 360 / kPatchDegrees, kRows = 180 / kPatchDegrees;

// A chart round the camera: patches of 15 degrees in the colours of printed test charts, sRGB. The last six are gray.
constexpr std::array<std::array<int, 3>, 24> colours = {
    {{115, 82, 68},   {194, 150, 130}, {98, 122, 157},  {87, 108, 67},   {133, 128, 177}, {103, 189, 170},
     {214, 126, 44},  {80, 91, 166},   {193, 90, 99},   {94, 60, 108},   {157, 188, 64},  {224, 163, 46},
     {56, 61, 150},   {70, 148, 73},   {175, 54, 60},   {231, 199, 31},  {187, 86, 149},  {60, 133, 161},
     {243, 243, 243}, {200, 200, 200}, {160, 160, 160}, {122, 122, 122}, {85, 85, 85},    {52, 52, 52}}};
constexpr int kFirstGray = 18;
int ColourAt(int column, int row) { return (7 * column + 11 * row) % 24; }

fs::path MakeChart(const fs::path& path) {
  constexpr int pixelsPerPatch = 128, width = kColumns * pixelsPerPatch, height = kRows * pixelsPerPatch;
  support::Bytes pixels;
  for (int y = 0; y < height; y++) {
    for (int x = 0; x < width; x++) {
      for (int value : colours[size_t(ColourAt(x / pixelsPerPatch, y / pixelsPerPatch))]) {
        pixels.push_back(static_cast<unsigned char>(value));
      }
    }
  }
  PutBytes(path, support::JpegFrom(pixels, width, height, TJSAMP_444, 100));
  return path;
}

// --- programs ---

std::string OutputOf(const std::string& command) {
  FILE* const pipe = popen(command.c_str(), "r");
  std::string output;
  std::array<char, 65536> data;
  while (const size_t size = fread(data.data(), 1, data.size(), pipe)) output.append(data.data(), size);
  pclose(pipe);
  return output;
}

// --- pictures ---

// Linear light by pixel: red, green, blue.
struct Photo {
  int width = 0, height = 0;
  std::vector<float> light;
  double At(int x, int y, size_t colour) const {
    return light[3 * (static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)) + colour];
  }
};

// A binary PPM of 16 bits.
Photo PhotoFrom(const std::string& ppm) {
  Photo photo;
  int header = 0;
  if (sscanf(ppm.c_str(), "P6 %d %d 65535%n", &photo.width, &photo.height, &header) != 2 || header == 0) {
    throw std::runtime_error("no picture came out");
  }
  const auto* bytes = reinterpret_cast<const uint8_t*>(ppm.data()) + header + 1;
  const size_t count = size_t{3} * static_cast<size_t>(photo.width) * static_cast<size_t>(photo.height);
  if (ppm.size() != static_cast<size_t>(header) + 1 + count * 2) throw std::runtime_error("cut short");
  for (size_t i = 0; i < count; i++) {
    photo.light.push_back(static_cast<float>(256 * bytes[2 * i] + bytes[2 * i + 1]) / 65535);
  }
  return photo;
}

// What the patches of one picture look like, each against its truth: light of the patch, less what the lens takes.
struct Patch {
  int camera, colour;
  std::array<double, 3> seen, truth;
};

std::vector<Patch> PatchesOf(const Photo& photo, int camera, const LensCalibration& lenses) {
  std::vector<Patch> patches;
  for (int row = 2; row < kRows - 2; row++) {
    for (int column = 0; column < kColumns; column++) {
      const double azimuth = ((column + 0.5) * kPatchDegrees - 180) * degree;
      const double elevation = (90 - (row + 0.5) * kPatchDegrees) * degree;
      const auto upright = lenses.Find(camera, azimuth, elevation);
      if (!upright) continue;
      // The files' pictures stand on their heads.
      const int x = static_cast<int>((1 - upright->x / 3264) * photo.width);
      const int y = static_cast<int>((1 - upright->y / 2448) * photo.height);
      const int reach = photo.width / 100;
      if (x < 2 * reach || y < 2 * reach || x >= photo.width - 2 * reach || y >= photo.height - 2 * reach) continue;
      Patch patch{camera, ColourAt(column, row), {}, {}};
      for (size_t c = 0; c < 3; c++) {
        for (int v = y - reach; v <= y + reach; v++) {
          for (int u = x - reach; u <= x + reach; u++) patch.seen[c] += photo.At(u, v, c);
        }
        patch.seen[c] /= (2.0 * reach + 1) * (2.0 * reach + 1);
        patch.truth[c] = LinearLight(colours[size_t(patch.colour)][c]) * lenses.RelativeLight(camera, *upright, int(c));
      }
      patches.push_back(patch);
    }
  }
  return patches;
}

// How far the patches of pictures of one exposure are from the truth. What is near the sensor's limit is left out.
struct Judgement {
  size_t grays = 0, all = 0;
  double factor = 0;                      // of the pictures' light by the truth, what suits most patches
  double worstGray = 0, worstColour = 0;  // with that factor; parts of the patch's brightest colour
};

Judgement Judge(const std::vector<Patch>& all) {
  std::vector<Patch> patches;
  for (const Patch& patch : all) {
    if (std::ranges::max(patch.seen) < 0.85) patches.push_back(patch);
  }
  std::vector<double> factors;
  for (const Patch& patch : patches) factors.push_back(patch.seen[1] / patch.truth[1]);
  if (factors.empty()) return {};
  std::ranges::sort(factors);
  Judgement judgement{.all = patches.size(), .factor = factors[factors.size() / 2]};
  for (const Patch& patch : patches) {
    const bool gray = patch.colour >= kFirstGray;
    judgement.grays += gray;
    double& worst = gray ? judgement.worstGray : judgement.worstColour;
    for (size_t c = 0; c < 3; c++) {
      worst =
          std::max(worst, std::abs(patch.seen[c] / judgement.factor - patch.truth[c]) / std::ranges::max(patch.truth));
    }
  }
  return judgement;
}

struct PhotoSoftware : testing::Test {
  twin::Board board{twin::BoardOptions{
      .pictures = twin::Pictures::Rendered,
      .scene = MakeChart(fs::path(testing::TempDir()) / ("chart-" + std::to_string(getpid()) + ".jpg")),
      .usb = {twin::UsbAdapter::Ethernet}}};
  LensCalibration lenses{fs::path(LUMORA_BLOB_DIR)};
  ~PhotoSoftware() override { fs::remove(board.options.scene); }
};

// LibRaw's developer: linear light in sRGB, half the size, every adjustment of its own off.
const std::string developer = "dcraw_emu -h -4 -c 0 -w -Z - ";

TEST_F(PhotoSoftware, OpensEveryFileOfAShotWithoutAWordAndShowsTheScene) {
  for (const std::string program : {"exiftool", "dcraw_emu"}) {
    if (std::system(("command -v " + program + " >/dev/null 2>&1").c_str()) != 0) {
      GTEST_SKIP() << program << " is not installed (scripts/test installs it)";
    }
  }
  ASSERT_TRUE(board.Boot());
  board.Run(2s);
  EXPECT_EQ(Get(board, "/do_capture?saveraw=1").body, "OK");
  ASSERT_TRUE(board.RunUntilShotEnds(30min));
  EXPECT_EQ(shot::Text(shot::Verify(shot::File(board.disk.OnlyShot().string()), shot::Depth::Pictures)), "");
  const std::string raw = board.disk.OnlyShot().replace_extension().string() + "/";
  ASSERT_EQ(std::distance(fs::directory_iterator(raw), {}), 75);
  EXPECT_EQ(OutputOf("exiftool -q -q -a -s3 -Warning -Error " + raw + "*.dng 2>&1"), "");
  EXPECT_EQ(OutputOf("for file in " + raw + "*.dng; do " + developer + "$file 2>&1 >/dev/null || echo $file; done"),
            "");

  std::vector<double> sensitivities;  // brightness by what each file says of its exposure
  for (int exposure = 0; exposure < 3; exposure++) {
    std::vector<Patch> patches;
    double exposed = 0;
    for (int camera : {0, 3, 12, 19, 24}) {
      char name[16];
      std::snprintf(name, sizeof name, "RAW_%02d_%d.dng", camera, exposure);
      std::ranges::move(PatchesOf(PhotoFrom(OutputOf(developer + raw + name)), camera, lenses),
                        std::back_inserter(patches));
      const TiffDirectory exif = TiffWalk(FileBytes(raw + name)).Exif();
      exposed = exif.at(33434).values.at(0) * exif.at(34855).values.at(0) / 100;
    }
    SCOPED_TRACE(exposure);
    const Judgement judgement = Judge(patches);
    EXPECT_GT(judgement.all, 50u);
    EXPECT_GT(judgement.grays, 10u);
    // The darkest gray of the shortest exposure has five levels of 1009. LibRaw takes every matrix to be for daylight,
    // and this one is for D50: that is 5 % of a blue.
    EXPECT_LT(judgement.worstGray, exposure == 0 ? 0.04 : 0.02);
    EXPECT_LT(judgement.worstColour, 0.06);
    sensitivities.push_back(judgement.factor / exposed);
  }
  for (double sensitivity : sensitivities) EXPECT_NEAR(sensitivity / sensitivities[1], 1, 0.02);
}

}  // namespace
