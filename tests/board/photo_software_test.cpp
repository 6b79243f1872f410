// Raw frames of a shot in the hands of photo software: whether it takes the files without a word, shows the scene's
// colours, and lays the pictures as the JPEGs of the same frames lie. Programs that are not installed skip their test.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <turbojpeg.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <numbers>

#include "tests/support/file_bytes.h"
#include "tests/support/http.h"
#include "tests/support/lens_calibration.h"
#include "tests/support/tiff_walk.h"
#include "tools/lumora-shot/pictures.h"
#include "tools/lumora-shot/shot_file.h"

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

double Linear(double display) {
  const double d = display / 255;
  return d <= 0.04045 ? d / 12.92 : std::pow((d + 0.055) / 1.055, 2.4);
}

fs::path MakeChart(const fs::path& path) {
  constexpr int pixelsPerPatch = 128, width = kColumns * pixelsPerPatch, height = kRows * pixelsPerPatch;
  std::vector<unsigned char> pixels;
  for (int y = 0; y < height; y++) {
    for (int x = 0; x < width; x++) {
      for (int value : colours[size_t(ColourAt(x / pixelsPerPatch, y / pixelsPerPatch))]) {
        pixels.push_back(static_cast<unsigned char>(value));
      }
    }
  }
  unsigned char* jpeg = nullptr;
  unsigned long size = 0;
  const tjhandle encoder = tjInitCompress();
  tjCompress2(encoder, pixels.data(), width, 0, height, TJPF_RGB, &jpeg, &size, TJSAMP_444, 100, 0);
  tjDestroy(encoder);
  std::ofstream(path, std::ios::binary).write(reinterpret_cast<char*>(jpeg), static_cast<std::streamsize>(size));
  tjFree(jpeg);
  return path;
}

// --- programs ---

bool Installed(const std::string& program) {
  return std::system(("command -v " + program + " >/dev/null 2>&1").c_str()) == 0;
}

struct Ended {
  int status;
  std::string output;
};

Ended Start(const std::string& command) {
  FILE* const pipe = popen(command.c_str(), "r");
  Ended ended{-1, {}};
  std::array<char, 65536> data;
  while (const size_t size = fread(data.data(), 1, data.size(), pipe)) ended.output.append(data.data(), size);
  ended.status = pclose(pipe);
  return ended;
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

// A binary PPM of 8 bits in display values, or of 16 in linear light.
Photo PhotoFrom(const std::string& ppm) {
  Photo photo;
  int most = 0, header = 0;
  if (sscanf(ppm.c_str(), "P6 %d %d %d%n", &photo.width, &photo.height, &most, &header) != 3) {
    throw std::runtime_error("no picture came out");
  }
  const auto* bytes = reinterpret_cast<const uint8_t*>(ppm.data()) + header + 1;
  const size_t count = size_t{3} * static_cast<size_t>(photo.width) * static_cast<size_t>(photo.height);
  if (ppm.size() != static_cast<size_t>(header) + 1 + count * (most > 255 ? 2 : 1))
    throw std::runtime_error("cut short");
  for (size_t i = 0; i < count; i++) {
    photo.light.push_back(most > 255 ? static_cast<float>(256 * bytes[2 * i] + bytes[2 * i + 1]) / 65535
                                     : static_cast<float>(Linear(bytes[i])));
  }
  return photo;
}

// From a camera's own colours to sRGB as the DNG format has it: the file's matrix is undone, which gives XYZ under its
// illuminant, D50; that is adapted to daylight (Bradford) and told in sRGB.
Photo ByTheFilesMatrix(Photo photo, const TiffDirectory& first) {
  constexpr double fromD50[3][3] = {
      {3.1338561, -1.6168667, -0.4906146}, {-0.9787684, 1.9161415, 0.0334540}, {0.0719453, -0.2289914, 1.4052427}};
  const std::vector<double>& m = first.at(50721).values;
  const auto minor = [&m](size_t row, size_t column) {  // cyclic, so it carries its sign
    const auto at = [&m](size_t r, size_t c) { return m[3 * (r % 3) + c % 3]; };
    return at(row + 1, column + 1) * at(row + 2, column + 2) - at(row + 1, column + 2) * at(row + 2, column + 1);
  };
  const double determinant = m[0] * minor(0, 0) + m[1] * minor(0, 1) + m[2] * minor(0, 2);
  double toSrgb[3][3] = {};
  for (size_t i = 0; i < 3; i++) {
    for (size_t j = 0; j < 3; j++) {
      for (size_t k = 0; k < 3; k++) toSrgb[i][j] += fromD50[i][k] * minor(j, k) / determinant;
    }
  }
  for (size_t at = 0; at < photo.light.size(); at += 3) {
    const double r = photo.light[at], g = photo.light[at + 1], b = photo.light[at + 2];
    for (size_t i = 0; i < 3; i++) {
      photo.light[at + i] = static_cast<float>(toSrgb[i][0] * r + toSrgb[i][1] * g + toSrgb[i][2] * b);
    }
  }
  return photo;
}

// How well two pictures of one frame agree when the second is laid over the first as `lay` tells: 1 is all.
enum class Lay { Same, Turned, Mirrored, Flipped };
double Agreement(const Photo& photo, const shot::Gray& jpeg, Lay lay) {
  double n = 0, a = 0, b = 0, aa = 0, bb = 0, ab = 0;
  for (int y = 20; y < jpeg.height - 20; y += 7) {
    for (int x = 20; x < jpeg.width - 20; x += 7) {
      const int atX = lay == Lay::Turned || lay == Lay::Mirrored ? jpeg.width - 1 - x : x;
      const int atY = lay == Lay::Turned || lay == Lay::Flipped ? jpeg.height - 1 - y : y;
      const int fromX = x * photo.width / jpeg.width, fromY = y * photo.height / jpeg.height;
      const double light =
          0.3 * photo.At(fromX, fromY, 0) + 0.59 * photo.At(fromX, fromY, 1) + 0.11 * photo.At(fromX, fromY, 2);
      const double shown = std::pow(std::max(light, 0.0), 1 / 2.2), gray = jpeg.At(atX, atY);
      n++, a += shown, b += gray, aa += shown * shown, bb += gray * gray, ab += shown * gray;
    }
  }
  return (n * ab - a * b) / std::sqrt((n * aa - a * a) * (n * bb - b * b));
}

void ExpectItLiesAs(const Photo& photo, const shot::Gray& jpeg) {
  EXPECT_GT(Agreement(photo, jpeg, Lay::Same), 0.97);
  for (Lay lay : {Lay::Turned, Lay::Mirrored, Lay::Flipped}) EXPECT_LT(Agreement(photo, jpeg, lay), 0.7);
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
        patch.truth[c] = Linear(colours[size_t(patch.colour)][c]) * lenses.RelativeLight(camera, *upright, int(c));
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

void Tell(const std::string& what, const Judgement& judgement) {
  std::printf("%s: %zu patches, %zu of them gray; worst error %.1f %% of a gray, %.1f %% of a colour\n", what.c_str(),
              judgement.all, judgement.grays, 100 * judgement.worstGray, 100 * judgement.worstColour);
}

struct PhotoSoftware : testing::Test {
  twin::Board board{twin::BoardOptions{
      .pictures = twin::Pictures::Rendered,
      .scene = MakeChart(fs::path(testing::TempDir()) / ("chart-" + std::to_string(getpid()) + ".jpg")),
      .usb = {twin::UsbAdapter::Ethernet}}};
  LensCalibration lenses{fs::path(LUMORA_BLOB_DIR)};
  ~PhotoSoftware() override { fs::remove(board.options.scene); }
};

// LibRaw's developer: linear light, half the size, every adjustment of its own off.
const std::string developer = "dcraw_emu -h -4 -c 0 -w -Z - ";
const std::string cameraColours = "-o 0 ", srgb = "-o 1 ";

TEST_F(PhotoSoftware, OpensEveryFileOfAShotWithoutAWordAndShowsTheScene) {
  for (const char* program : {"exiftool", "dcraw_emu"}) {
    if (!Installed(program)) GTEST_SKIP() << program << " is not installed (scripts/test installs it)";
  }
  ASSERT_TRUE(board.Boot());
  board.Run(2s);
  EXPECT_EQ(Get(board, "/do_capture?saveraw=1").body, "OK");
  ASSERT_TRUE(board.RunUntilShotEnds(30min));
  const fs::path shotFile = board.disk.OnlyShot();
  const std::string raw = fs::path(shotFile).replace_extension().string() + "/";

  ASSERT_EQ(std::distance(fs::directory_iterator(raw), {}), 75);

  EXPECT_EQ(Start("exiftool -q -q -a -s3 -Warning -Error " + raw + "*.dng 2>&1").output, "");
  const Ended opened =
      Start("for file in " + raw + "*.dng; do " + developer + srgb + "$file 2>&1 >/dev/null || echo $file; done");
  EXPECT_EQ(opened.output, "");

  const shot::File file(shotFile);
  std::vector<double> sensitivities;  // brightness by what each file says of its exposure
  for (int exposure = 0; exposure < 3; exposure++) {
    std::vector<Patch> patches, asLibRawHasIt;
    double exposed = 0;
    for (int camera : {0, 3, 12, 19, 24}) {
      SCOPED_TRACE(camera);
      char name[16];
      std::snprintf(name, sizeof name, "RAW_%02d_%d.dng", camera, exposure);
      const TiffWalk walk(FileBytes(raw + name));
      const TiffDirectory first = walk.First();
      const Photo photo = ByTheFilesMatrix(PhotoFrom(Start(developer + cameraColours + raw + name).output), first);
      std::ranges::move(PatchesOf(photo, camera, lenses), std::back_inserter(patches));
      const TiffDirectory exif = walk.Directory(static_cast<uint64_t>(first.at(34665).values.at(0)));
      exposed = exif.at(33434).values.at(0) * exif.at(34855).values.at(0) / 100;
      if (exposure != 1) continue;
      std::ranges::move(PatchesOf(PhotoFrom(Start(developer + srgb + raw + name).output), camera, lenses),
                        std::back_inserter(asLibRawHasIt));
      const auto& entries = file.Get().entries;
      const auto entry = std::ranges::find_if(entries, [&](const shot::Entry& e) {
        return file.Get().PlaceOf(e.number) == shot::Place{shot::PictureSize::Half, camera, exposure};
      });
      ASSERT_NE(entry, entries.end());
      ExpectItLiesAs(photo, shot::DecodeGray(file.Jpeg(*entry)));
    }
    const Judgement judgement = Judge(patches);
    Tell("exposure " + std::to_string(exposure), judgement);
    EXPECT_GT(judgement.all, 50u);
    EXPECT_GT(judgement.grays, 10u);
    // The darkest gray of the shortest exposure has five levels of 1009.
    EXPECT_LT(judgement.worstGray, exposure == 0 ? 0.04 : 0.02);
    EXPECT_LT(judgement.worstColour, exposure == 0 ? 0.04 : 0.02);
    sensitivities.push_back(judgement.factor / exposed);
    if (exposure != 1) continue;
    // LibRaw takes every matrix to be for daylight, and this one is for D50: that is 5 % of a blue.
    const Judgement libRaw = Judge(asLibRawHasIt);
    Tell("exposure 1 with LibRaw's own colours", libRaw);
    EXPECT_LT(libRaw.worstGray, 0.02);
    EXPECT_LT(libRaw.worstColour, 0.06);
  }
  for (double sensitivity : sensitivities) EXPECT_NEAR(sensitivity / sensitivities[1], 1, 0.02);
}

}  // namespace
