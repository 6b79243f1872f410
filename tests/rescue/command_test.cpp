// The rescue of a shot as a person calls it.
#include <gmock/gmock.h>

#include <filesystem>

#include "tests/support/call_program.h"
#include "tests/support/file_bytes.h"
#include "tests/support/made_shot.h"
#include "tools/lumora-shot/verify.h"

namespace {

using support::CallProgram;
using support::Outcome;
using testing::AllOf;
using testing::HasSubstr;

Outcome Call(const std::string& arguments) { return CallProgram(LUMORA_BINARY_DIR "/bin/lumora-shot " + arguments); }

class RescueCommand : public testing::Test {
 protected:
  support::TestFolder folder_;
};

TEST_F(RescueCommand, ACutShotBecomesAWholeOneOfWhatIsLeft) {
  support::Bytes bytes = support::MadeShot{.hasLogo = true, .logo = {'L'}}.Make();
  constexpr int indexAt = 78089;
  std::fill_n(bytes.begin() + indexAt, 3000, uint8_t{0});
  std::fill_n(bytes.begin() + indexAt + 3002, 4, uint8_t{0});
  bytes.resize(bytes.size() / 2);
  const std::string wreck = folder_ / "wreck.tmp", out = folder_ / "out.ori";
  PutBytes(wreck, bytes);

  EXPECT_THAT(Call("verify " + wreck).text, HasSubstr("`lumora-shot rescue " + wreck + " OUT.ori`"));
  const Outcome outcome = Call("rescue --list " + wreck + " " + out);
  EXPECT_EQ(outcome.result, 1);
  const shot::File file(out);
  size_t pictures = 0, bytesOfPictures = 0;
  for (const shot::Entry& entry : file.Get().entries) {
    const auto [size, camera, exposure] = file.Get().PlaceOf(entry.number);
    if (!entry.Filled()) continue;
    EXPECT_EQ(file.Jpeg(entry), support::JpegOf(shot::NameOf(size), camera, exposure));
    bytesOfPictures += static_cast<size_t>(entry.jpgFileSize);
    pictures++;
  }
  EXPECT_GT(bytesOfPictures + 200000, bytes.size() - indexAt - 3006) << "no more than one picture is missing";
  EXPECT_THAT(outcome.text, AllOf(HasSubstr(std::to_string(pictures) + " of 150 pictures\n"),
                                  HasSubstr("full  camera 23  exposure 2  lost\n"),
                                  HasSubstr("half  camera  0  exposure 0  certain ")));
  for (const shot::Finding& finding : shot::Verify(file))
    EXPECT_THAT(finding.text, HasSubstr("is empty: the picture is missing"));
  EXPECT_EQ(file.Read(shot::Part::Logo), shot::Bytes{'L'});
  EXPECT_THAT(Call("verify " + out).text, testing::Not(HasSubstr("rescue")));
  EXPECT_EQ(FileBytes(wreck), bytes) << "the source is as it was";
}

TEST_F(RescueCommand, RefusesAndLeavesNothingBehind) {
  const std::string shot = folder_ / "shot.ori", text = folder_ / "text.ori", single = folder_ / "05.tmp";
  const support::Bytes bytes = support::MadeShot{}.Make();
  PutBytes(shot, bytes);
  PutBytes(text, support::Bytes(100000, 'x'));
  PutBytes(single, support::JpegOf("full", 5, 1));
  const struct {
    std::string arguments, said;
  } refused[] = {{(folder_ / "none.ori") + " " + (folder_ / "out.ori"), "No such file"},
                 {shot + " " + shot, "is there already"},
                 {text + " " + (folder_ / "out.ori"), "no whole picture is left"},
                 {single + " " + (folder_ / "out.ori"), "a single picture and no shot"},
                 {std::string("/dev/null ") + (folder_ / "out.ori"), "neither a regular file nor a disk"},
                 {shot + " " + (folder_ / "no/out.ori"), "cannot create"}};
  for (const auto& one : refused) {
    const Outcome outcome = Call("rescue " + one.arguments);
    EXPECT_EQ(outcome.result, 2) << one.arguments;
    EXPECT_THAT(outcome.text, HasSubstr(one.said));
  }
  EXPECT_EQ(FileBytes(shot), bytes);
  const auto files = std::filesystem::directory_iterator(std::filesystem::path(shot).parent_path());
  EXPECT_EQ(std::distance(begin(files), end(files)), 3);

  EXPECT_EQ(Call("rescue " + shot + " " + (folder_ / "same.ori")).result, 0);
  EXPECT_EQ(FileBytes(folder_ / "same.ori"), bytes) << "a whole shot comes out as it went in";
}

}  // namespace
