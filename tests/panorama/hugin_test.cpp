// The project for Hugin, as Hugin's own programs understand it.
#include "tools/panorama/hugin.h"

#include <tiffio.h>

#include <cmath>
#include <cstdlib>

#include "tests/support/file_bytes.h"
#include "tests/support/rendered_shot.h"
#include "tools/lumora-shot/pictures.h"
#include "tools/panorama/output.h"

namespace {

constexpr int width = 1024, height = width / 2;
constexpr int seenRows = height * (90 + 60) / 180 / 4 * 4;  // tilted by 9 degrees, nothing is seen below -64

struct Tiff {
  explicit Tiff(const std::string& path) : file(TIFFOpen(path.c_str(), "r")) {
    if (file == nullptr) throw std::runtime_error(path + " is no TIFF");
  }
  ~Tiff() { TIFFClose(file); }
  TIFF* file;
};

// Red, green and blue of a pixel in the lowest bytes.
std::vector<uint32_t> PixelsOf(const std::string& path) {
  const Tiff tiff(path);
  std::vector<uint32_t> pixels(static_cast<size_t>(width * height));
  if (TIFFReadRGBAImageOriented(tiff.file, width, height, pixels.data(), ORIENTATION_TOPLEFT, 0) == 0)
    throw std::runtime_error(path + " cannot be read");
  return pixels;
}

// Programs that others wrote take the project's word for lens, place, centre and vignetting of each picture, and come
// to what the panorama command makes, which is held against the world elsewhere. A wrong sign costs ten decibels and
// more.
TEST(HuginProject, IsStitchedToTheSamePanorama) {
  if (std::system("command -v hugin_executor >/dev/null") != 0) GTEST_SKIP() << "hugin-tools are not installed";
  const support::TestFolder folder;
  support::MadeShot made;
  made.vertexX = -12'000'000;
  made.vertexY = 9'000'000;
  made.compassValue = 7000;
  support::WriteRenderedShot(folder / "a.ori", made, {1});
  const shot::File file(folder / "a.ori");
  const panorama::HuginProjects projects = panorama::WriteHugin(file, folder / "hugin", {});
  EXPECT_EQ(projects.pictures, 25u);
  EXPECT_EQ(projects.missing.size(), 50u);
  std::string project = FileText(projects.placed);
  project.replace(project.find("w8000 h4000"), 11, "w1024 h512 ");
  PutText(projects.placed, project);
  const std::string run = "cd '" + (folder / "hugin") + "' && hugin_executor --stitching --prefix=out a.pto >log 2>&1";
  ASSERT_EQ(std::system(run.c_str()), 0) << FileText(folder / "hugin/log");

  const auto theirs = PixelsOf(folder / "hugin/out.tif");
  const panorama::Stitched stitched = panorama::Stitch(file, {.width = width, .exposure = 1, .levels = true});
  const shot::Rgb ours = shot::DecodeRgb(panorama::ToJpeg(stitched, {0, height}, 100));
  // Means of 4 x 4: nona takes single pixels of the larger pictures.
  double errors = 0;
  for (int y = 0; y < seenRows; y += 4) {
    for (int x = 0; x < width; x += 4) {
      for (size_t colour = 0; colour < 3; colour++) {
        double error = 0;
        for (int part = 0; part < 16; part++) {
          const auto at = static_cast<size_t>((y + part / 4) * width + x + part % 4);
          error += (static_cast<double>(theirs[at] >> 8 * colour & 255) - ours.pixels[3 * at + colour]) / 16;
        }
        errors += error * error;
      }
    }
  }
  const double decibels = 10 * std::log10(255 * 255 / (errors / (seenRows * width * 3 / 16)));
  EXPECT_GT(decibels, 32);
  RecordProperty("decibels", std::to_string(decibels));
}

}  // namespace
