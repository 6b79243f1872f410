// lumora-shot as a person calls it: results, texts, files.
#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "tests/support/call_program.h"
#include "tests/support/file_bytes.h"
#include "tests/support/made_shot.h"
#include "tools/lumora-shot/pictures.h"

namespace {

using support::CallProgram;
using support::MadeShot;
using support::Outcome;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

Outcome Call(const std::string& arguments) { return CallProgram(LUMORA_BINARY_DIR "/bin/lumora-shot " + arguments); }

class Program : public testing::Test {
 protected:
  std::string Make(const std::string& name, const MadeShot& shot = {}) const {
    PutBytes(folder_ / name, shot.Make());
    return folder_ / name;
  }
  std::vector<std::string> Files(const std::string& directory) const {
    std::vector<std::string> names;
    for (const auto& file : std::filesystem::directory_iterator(directory)) names.push_back(file.path().filename());
    std::sort(names.begin(), names.end());
    return names;
  }
  support::TestFolder folder_;
};

TEST_F(Program, VerifyTellsGoodBadAndUnreadableApart) {
  const std::string good = Make("good.ori");
  const std::string bad = Make("bad.dwo");
  ASSERT_EQ(truncate(bad.c_str(), 5000000), 0);
  const Outcome both = Call("verify " + good + " " + bad);
  EXPECT_EQ(both.result, 1);
  EXPECT_THAT(both.text, AllOf(HasSubstr(good + ": good\n"), HasSubstr(bad + ": BAD\n"),
                               HasSubstr("file ends at 5000000, before the end of the picture section")));
  EXPECT_EQ(Call("verify " + good).result, 0);
  const Outcome none = Call("verify " + bad + " " + (folder_ / "none.ori") + " " + good);
  EXPECT_EQ(none.result, 2);
  EXPECT_THAT(none.text, AllOf(HasSubstr("No such file"), HasSubstr(good + ": good\n")));
}

TEST_F(Program, WrongUseIsTwoAndHelpIsZero) {
  const std::string good = Make("good.ori");
  const std::string extract = "extract " + good + " " + (folder_ / "x");
  for (const std::string& arguments :
       {std::string(), std::string("verify"), "polish " + good, "extract " + good, extract + " --size huge",
        extract + " --camera 25", extract + " --exposure 3", "extract " + good + " " + good,
        "sheet " + good + " " + (folder_ / "no/such/folder.jpg"), "info " + (folder_ / "none.ori")}) {
    const Outcome outcome = Call(arguments);
    EXPECT_EQ(outcome.result, 2) << arguments;
    EXPECT_FALSE(outcome.text.empty()) << arguments;
  }
  for (const char* arguments : {"--help", "verify --help", "extract --help"}) EXPECT_EQ(Call(arguments).result, 0);
}

TEST_F(Program, InfoTellsTheRecordToPersonsAndPrograms) {
  const std::string path = Make("six.ori", {.captureMode = 2});
  const Outcome text = Call("info " + path);
  EXPECT_EQ(text.result, 0);
  EXPECT_THAT(text.text, AllOf(HasSubstr("2026-11-24 20:34:56.789"), HasSubstr("six steps, automatic"),
                               HasSubstr("1/60 s    ISO 100"),  // 512 rows of 32.4 us
                               HasSubstr("150 of 150 half"), HasSubstr("nothing wrong")));
  const Outcome json = Call("info --json " + path);
  EXPECT_EQ(json.result, 0);
  const auto info = nlohmann::json::parse(json.text);
  EXPECT_EQ(info["record"].size(), 64U);
  EXPECT_EQ(info["record"]["hdrMode"], 4);
  EXPECT_EQ(info["record"]["evBiasMode"], -2);
  EXPECT_EQ(info["record"]["compassValue"], -9000);
  EXPECT_NEAR(info["bracket"][3]["seconds"].get<double>(), 512 * 32.4e-6, 1e-9);
  EXPECT_EQ(info["index"].size(), 300U);
  EXPECT_EQ(info["index"][150 + 6 * 24 + 5]["camIdx"], 24);
  EXPECT_EQ(info["sections"].back()["name"], "thumbnail");
  EXPECT_TRUE(info["findings"].empty());
  ASSERT_EQ(truncate(path.c_str(), 90000), 0);
  EXPECT_EQ(Call("info " + path).result, 1);
}

// What exiftool, a program that others wrote, reads: a line a tag, in the order asked for; after that what it finds
// wrong.
std::string ReadTags(const std::string& path, const std::string& tags) {
  const Outcome outcome = CallProgram("exiftool -n -s3 " + tags + " -Warning -Error -validate " + path);
  return outcome.text;
}

TEST_F(Program, ExtractWritesTheChosenPictures) {
  const MadeShot shot{.hasLogo = true, .logo = {'L'}};
  const std::string path = Make("shot.ori", shot);
  const std::string all = folder_ / "all", one = folder_ / "deep/one", row = folder_ / "row";
  EXPECT_EQ(Call("extract --plain " + path + " " + all).result, 0);
  EXPECT_EQ(Files(all).size(), 152U);
  EXPECT_EQ(FileBytes(all + "/shot_cam24_exp2_full.jpg"), support::JpegOf("full", 24, 2));
  EXPECT_EQ(FileBytes(all + "/shot_thumbnail.jpg"), shot.thumbnail);
  EXPECT_EQ(FileBytes(all + "/shot_logo.jpg"), shot.logo);
  EXPECT_EQ(Call("extract " + path + " " + one + " --camera 9 --exposure 2 --size half").result, 0);
  EXPECT_THAT(Files(one), ElementsAre("shot_cam09_exp2_half.jpg"));
  const std::string described = one + "/shot_cam09_exp2_half.jpg";
  const auto tagged = FileBytes(described), stored = support::JpegOf("half", 9, 2);
  EXPECT_TRUE(std::equal(stored.rbegin(), stored.rend() - 40, tagged.rbegin())) << "all but the head is as it was";
  EXPECT_EQ(ReadTags(described,
                     "-Orientation -ExposureTime -ISO -ExposureCompensation -DateTimeOriginal -SubSecTimeOriginal "
                     "-GPSLatitude -GPSLongitude -ImageDescription"),
            "3\n0.042444\n156\n-0.6666666667\n2026:11:24 20:34:56\n789\n31.2\n121.4\ncamera 9, exposure 2\n0 0 0\n");

  // Entry 28 is camera 9, exposure 1; the index stands behind the logo of one byte.
  auto bytes = FileBytes(path);
  std::fill_n(bytes.begin() + 78089 + 28 * 20, 20, uint8_t{0});
  PutBytes(path, bytes);
  const Outcome holed = Call("extract " + path + " " + row + " --camera 9 --size half");
  EXPECT_EQ(holed.result, 1);
  EXPECT_THAT(holed.text, HasSubstr("cam09_exp1_half is missing"));
  EXPECT_THAT(Files(row), ElementsAre("shot_cam09_exp0_half.jpg", "shot_cam09_exp2_half.jpg"));
}

TEST_F(Program, SheetShowsThePicturesUprightAndMarksHoles) {
  const std::string path = Make("shot.ori");
  auto bytes = FileBytes(path);
  std::fill_n(bytes.begin() + 78082 + 20, 20, uint8_t{0});  // camera 0, exposure 1
  PutBytes(path, bytes);
  ASSERT_EQ(Call("sheet " + path + " " + (folder_ / "sheet.jpg")).result, 0);
  const shot::Rgb page = shot::DecodeRgb(FileBytes(folder_ / "sheet.jpg"));
  const auto at = [&](int x, int y) { return &page.pixels[3 * static_cast<size_t>(y * page.width + x)]; };
  const int left = 16 + 48, top = 16 + 44 + 24;  // of the first picture
  EXPECT_NEAR(at(left + 100, top + 30)[1], 50, 8) << "the sensor's lower half is the room's upper half";
  EXPECT_NEAR(at(left + 100, top + 120)[1], 210, 8);
  const uint8_t* frame = at(left + 208 + 100, top + 1);
  EXPECT_GT(frame[0], 150) << "a red frame round the hole";
  EXPECT_LT(frame[1], 120);
}

}  // namespace
