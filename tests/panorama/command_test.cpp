// `lumora-shot panorama` as a person calls it, with shots that are not whole.
#include <gmock/gmock.h>

#include <cmath>
#include <numeric>
#include <random>

#include "tests/support/call_program.h"
#include "tests/support/file_bytes.h"
#include "tests/support/rendered_shot.h"
#include "tools/lumora-shot/pictures.h"

namespace {

using support::Bytes;
using support::MadeShot;
using support::Outcome;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class PanoramaCommand : public testing::Test {
 protected:
  // Makes `folder_/OUT` of a shot, at a width that is quickly done.
  Outcome Call(const MadeShot& shot, const std::string& options = "", const std::string& out = "out.jpg") const {
    PutBytes(folder_ / "made.ori", shot.Make());
    return Run("'" + (folder_ / "made.ori") + "' '" + (folder_ / out) + "' " +
               (options.find("--width") == std::string::npos ? "--width 256 " : "") + options);
  }
  static Outcome Run(const std::string& arguments) {
    return support::CallProgram(LUMORA_BINARY_DIR "/bin/lumora-shot panorama " + arguments);
  }
  shot::Rgb Picture() const { return shot::DecodeRgb(FileBytes(folder_ / "out.jpg")); }
  support::TestFolder folder_;
};

// A shot of these pictures alone; the half ones, which no panorama is made of, are left out.
MadeShot Without(const std::function<Bytes(int camera, int exposure, Bytes jpeg)>& change) {
  MadeShot shot = support::CalibratedShot();
  shot.vertexX = shot.vertexY = shot.compassValue = 0;
  shot.jpeg = [change](const std::string& size, int camera, int exposure) {
    if (size != "full") return Bytes{};
    return change(camera, exposure, support::TwoToneJpeg(3264, 2448, 80));
  };
  return shot;
}

TEST_F(PanoramaCommand, FillsWhatIsMissingFromAroundAndTellsIt) {
  const MadeShot whole = Without([](int, int, const Bytes& jpeg) { return jpeg; });
  EXPECT_EQ(Call(whole, "--exposure 1").result, 0);

  // The seventh camera of the horizon and the one at the zenith, of which nobody else sees the middle.
  const auto gone = [](int camera) { return camera == 0 || camera == 14; };
  const Outcome without =
      Call(Without([&](int camera, int, const Bytes& jpeg) { return gone(camera) ? Bytes{} : jpeg; }), "--exposure 1");
  EXPECT_EQ(without.result, 1);
  EXPECT_THAT(without.text,
              AllOf(HasSubstr("every full picture of camera 0 is missing\n"),
                    HasSubstr("every full picture of camera 14 is missing\n"), Not(HasSubstr("camera 13"))));
  const shot::Rgb filled = Picture();
  ASSERT_EQ(filled.width, 256);
  EXPECT_GT(*std::min_element(filled.pixels.begin(), filled.pixels.end()), 20) << "a hole is left";

  // Cut short in the middle of their data they are no more than if they were not there.
  const Bytes expected = FileBytes(folder_ / "out.jpg");
  const Outcome cut = Call(Without([&](int camera, int, Bytes jpeg) {
                             if (gone(camera)) jpeg.resize(jpeg.size() / 2);
                             return jpeg;
                           }),
                           "--exposure 1");
  EXPECT_EQ(cut.result, 1);
  EXPECT_THAT(cut.text,
              HasSubstr("the full picture of camera 14, exposure 1 (Premature end of JPEG file) is missing\n"));
  EXPECT_EQ(FileBytes(folder_ / "out.jpg"), expected);
}

TEST_F(PanoramaCommand, MakesLightOfTheExposuresThatAreThere) {
  const MadeShot shot = Without([](int camera, int exposure, const Bytes& jpeg) {
    return camera == 12 && exposure == 0 ? Bytes{0xFF, 0xD8, 0xFF, 0xD9} : jpeg;
  });
  const Outcome light = Call(shot, "", "out.exr");
  EXPECT_EQ(light.result, 1);
  EXPECT_THAT(light.text, HasSubstr("the full picture of camera 12, exposure 0 ("));
  const Bytes exr = FileBytes(folder_ / "out.exr");
  EXPECT_EQ(Bytes(exr.begin(), exr.begin() + 4), (Bytes{0x76, 0x2F, 0x31, 0x01}));

  // The other form, in which a pixel can be read by hand: below the middle the longest exposure has level 210, and 1310
  // rows of 3888 cycles at a gain of 25/16 have gathered it.
  EXPECT_EQ(Call(shot, "", "out.hdr").result, 1);
  const Bytes hdr = FileBytes(folder_ / "out.hdr");
  const std::string head(hdr.begin(), hdr.begin() + 128);
  const size_t data = head.find("-Y 128 +X 256\n") + 14;
  ASSERT_EQ(hdr.size(), data + size_t{4} * 256 * 128) << head;
  const uint8_t* pixel = &hdr[data + size_t{4} * (256 * 67 + 128)];
  EXPECT_NEAR((pixel[1] + 0.5) * std::exp2(pixel[3] - 136), 0.6445 / (1310 * 3888 / 120e6 * 25 / 16), 0.25);

  MadeShot tilted = shot;  // the hole under the camera does not lie at the lower edge then
  tilted.vertexX = 30000000;
  EXPECT_EQ(Call(tilted, "--crop").result, 1);
  EXPECT_LT(Picture().height, 108);
  const Outcome cropped = Call(shot, "--crop");
  EXPECT_EQ(cropped.result, 1);
  const int height = Picture().height;
  EXPECT_TRUE(height > 108 && height < 120) << height;  // the stand-in cameras see down to -70 degrees all round
}

// Nothing is known of the light then, but there is something to see.
TEST_F(PanoramaCommand, ShowsABracketWhoseExposuresAreLost) {
  Bytes lost = Without([](int, int, const Bytes& jpeg) { return jpeg; }).Make();
  std::fill(lost.begin() + 48, lost.begin() + 96, 0);
  PutBytes(folder_ / "made.ori", lost);
  EXPECT_EQ(Run("'" + (folder_ / "made.ori") + "' '" + (folder_ / "out.jpg") + "' --width 256").result, 0);
  const shot::Rgb picture = Picture();
  EXPECT_GT(
      std::accumulate(picture.pixels.begin(), picture.pixels.end(), 0.0) / static_cast<double>(picture.pixels.size()),
      40);
}

TEST_F(PanoramaCommand, RefusesWhatNoPanoramaCanBeMadeOf) {
  const MadeShot whole = Without([](int, int, const Bytes& jpeg) { return jpeg; });
  MadeShot nonsense = whole;
  nonsense.cameraTable = {};
  MadeShot second = whole;
  second.deviceId = 10;
  second.cameraTable.resize(3 * 32);
  second.vignettingTable.resize(3 * 3080);
  const std::vector<std::tuple<const char*, MadeShot, std::string, std::string, int, std::string>> cases = {
      {"calibration", nonsense, "", "out.jpg", 1, "no panorama: the file's calibration makes no sense"},
      {"second form", second, "", "out.jpg", 1, "no panorama: the file calibrates 3 of its 36 cameras"},
      {"no picture", Without([](int, int, const Bytes&) { return Bytes{}; }), "", "out.jpg", 1,
       "no picture that can be used"},
      {"exposure", whole, "--exposure 3", "out.jpg", 2, "this shot has exposures 0 to 2"},
      {"width", whole, "--width 100", "out.jpg", 2, "must be a multiple of 128 from 256 to 13"},
      {"form", whole, "", "out.png", 2, "a panorama is a .jpg, or an .exr or .hdr"},
      {"place", whole, "--exposure 0", "none/out.jpg", 2, "cannot create"},
      {"place of light", whole, "", "none/out.exr", 2, "none/out.exr"},
  };
  for (const auto& [name, shot, options, out, result, text] : cases) {
    const Outcome outcome = Call(shot, options, out);
    EXPECT_EQ(outcome.result, result) << name;
    EXPECT_THAT(outcome.text, HasSubstr(text)) << name;
    EXPECT_FALSE(std::filesystem::exists(folder_ / out)) << name;
  }
  EXPECT_EQ(Run("'" + (folder_ / "none.ori") + "' '" + (folder_ / "out.jpg") + "'").result, 2);
}

// Whatever stands in the record, the tables and the index: a picture or a reason, and nothing that a sanitizer sees.
TEST_F(PanoramaCommand, WithstandsAnyDamageOfTheHead) {
  const Bytes sound = Without([](int, int, const Bytes& jpeg) { return jpeg; }).Make();
  std::mt19937 chance(12);
  for (int i = 0; i < 15; i++) {
    Bytes damaged = sound;
    const size_t begin = i % 3 == 0 ? 8 : i % 3 == 1 ? 264 : 78076, end = i % 3 == 0 ? 264 : i % 3 == 1 ? 4200 : 81082;
    for (int byte = 0; byte < 12; byte++)
      damaged[begin + chance() % (end - begin)] = static_cast<uint8_t>(i % 2 ? chance() : 0x7F + chance() % 2);
    PutBytes(folder_ / "made.ori", damaged);
    const Outcome outcome =
        Run("'" + (folder_ / "made.ori") + "' '" + (folder_ / "out.jpg") + "' --width 256 --exposure 1");
    EXPECT_THAT(outcome.result, testing::AnyOf(0, 1)) << i << outcome.text;
    EXPECT_THAT(outcome.text, AllOf(Not(HasSubstr("Sanitizer")), Not(HasSubstr("runtime error")))) << i;
    EXPECT_TRUE(outcome.result == 0 || outcome.text.find("missing") != std::string::npos ||
                outcome.text.find("no panorama: ") != std::string::npos)
        << i << outcome.text;
  }
}

}  // namespace
