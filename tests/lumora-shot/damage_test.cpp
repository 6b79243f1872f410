// Damaged files: nothing crashes, and every damage that can be noticed is named, with its place.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include "tests/support/file_bytes.h"
#include "tests/support/made_shot.h"
#include "tools/lumora-shot/info.h"
#include "tools/lumora-shot/verify.h"

namespace {

using shot::Depth;
using shot::Finding;
using support::Bytes;
using support::JpegFrom;
using support::JpegOf;
using support::MadeShot;
using testing::HasSubstr;

constexpr int64_t indexAt = 78082;  // first entry, without a logo
constexpr int64_t picturesAt = indexAt + 3000 + 6;

// A made shot on the disk, of which single bytes can be changed for a moment.
class Sample {
 public:
  explicit Sample(const MadeShot& shot = {}, const std::string& name = "made.ori")
      : path(folder_ / name), bytes(shot.Make()) {
    PutBytes(path, bytes);
  }
  int64_t Size() const { return static_cast<int64_t>(bytes.size()); }
  uint8_t At(int64_t at) const { return bytes[static_cast<size_t>(at)]; }
  void Put(int64_t at, const Bytes& some) const {
    const int fd = open(path.c_str(), O_WRONLY);
    ASSERT_EQ(pwrite(fd, some.data(), some.size(), at), static_cast<ssize_t>(some.size()));
    close(fd);
  }
  // By everything that reads files.
  std::vector<Finding> Findings(Depth depth = Depth::Structure) const {
    const shot::File file(path);
    const auto findings = shot::Verify(file, depth);
    EXPECT_FALSE(shot::InfoText(file, findings).empty() || shot::InfoJson(file, findings).dump().empty());
    return findings;
  }
  std::string Said(Depth depth = Depth::Structure) const { return shot::Text(Findings(depth)); }

 private:
  support::TestFolder folder_;

 public:
  const std::string path;
  const Bytes bytes;
};

bool NamesPlace(const std::vector<Finding>& findings, int64_t at) {
  for (const Finding& finding : findings)
    if (finding.at <= at && at < finding.at + 8) return true;
  return false;
}

// Bytes of the record that hold what no rule ties down, so that another value is as good. All else must be noticed when
// its bit 6 turns over.
bool IsFree(int64_t at) {
  const int64_t byte = (at - 8) % 4;
  switch ((at - 8) / 4 * 4) {
    case 32: return byte == 0;  // milliseconds
    case 36: return byte <= 1;  // shot number
    case 168:
    case 172: return byte <= 2;  // tilt
    case 176: return true;       // longitude
    case 180: return byte <= 2;  // latitude
    case 236: return byte == 0;  // compass
    default: return false;
  }
}

TEST(Damage, EveryByteOfHeadAndSizesIsNoticedUnlessFree) {
  const Sample sample;
  const int64_t thumbnailHead = sample.Size() - static_cast<int64_t>(MadeShot{}.thumbnail.size()) - 6;
  std::vector<int64_t> places;
  for (int64_t at = 0; at < 270; ++at) places.push_back(at);
  for (const int64_t head : {int64_t{1070}, indexAt - 6, picturesAt - 6, thumbnailHead})
    for (int64_t i = 0; i < 6; ++i) places.push_back(head + i);
  for (const int64_t at : places) {
    sample.Put(at, {static_cast<uint8_t>(sample.At(at) ^ 0x40)});
    const auto findings = sample.Findings();
    const bool inRecord = at >= 8 && at < 264;
    if (inRecord && IsFree(at)) {
      EXPECT_FALSE(shot::HasFault(findings)) << "byte " << at << "\n" << shot::Text(findings);
    } else {
      EXPECT_FALSE(findings.empty()) << "byte " << at;
      // A wrong thumbnail size shows where the file ends; a wrong exposure can show at the exposure that it is compared
      // with; a wrong device number changes where everything else is looked for.
      const bool elsewhere =
          at >= thumbnailHead + 2 || (inRecord && at < 12) || (at >= 48 && at < 96) || (at >= 192 && at < 240);
      EXPECT_TRUE(elsewhere || NamesPlace(findings, at)) << "byte " << at << "\n" << shot::Text(findings);
    }
    sample.Put(at, {sample.At(at)});
  }
  EXPECT_EQ(sample.Said(), "") << "the sample is whole again";
}

TEST(Damage, AShotThatIsNotWholeIsNamedOnce) {
  MadeShot holed;
  holed.jpeg = [](const std::string& size, int camera, int exposure) {
    return size == "full" && camera == 7 && exposure == 2 ? Bytes{} : JpegOf(size, camera, exposure);
  };
  MadeShot twice;
  twice.jpeg = [](const std::string& size, int camera, int exposure) {
    return JpegOf(size, camera, size == "half" && camera == 7 && exposure == 2 ? 1 : exposure);
  };
  const struct {
    MadeShot shot;
    const char *name, *said;
    int64_t at = 0;
    size_t zeros = 0;  // there
  } cases[] = {
      {{}, "made.tmp", "at 0: not finished: the name still ends in \"tmp\"\n"},
      {{.half = 1}, "made.ori", "its first half only"},
      {{.half = 2}, "made.ori", "its second half only"},
      {{.thumbnail = support::TwoToneJpeg(306, 408, 80)},
       "made.ori",
       "thumbnail: JPEG of 306 x 408, must be 408 x 306"},
      {{.fileType = 0x73C2}, "made.ori", "(remark)"},
      {{.fileType = 0x73C2}, "made.dwo", ""},
      {holed, "made.ori", "at 80042: entry 98 (full, camera 7, exposure 2) is empty: the picture is missing\n",
       indexAt + 98 * 20, 20},
      {twice, "made.ori",
       "(remark) 1 picture came twice, the first: half picture of camera 7, exposure 2 is, to the byte, the half "
       "picture of camera 7, exposure 1; "},
      {{}, "made.ori", "at 78082: not finished: the index is empty", indexAt, 3000},
  };
  for (const auto& one : cases) {
    const Sample sample(one.shot, one.name);
    sample.Put(one.at, one.zeros == 0 ? Bytes{sample.At(one.at)} : Bytes(one.zeros, 0));
    EXPECT_THAT(sample.Said(), HasSubstr(one.said));
    EXPECT_LE(sample.Findings().size(), *one.said == 0 ? 0U : 1U) << sample.Said();
  }
  const Sample longer;
  longer.Put(longer.Size(), {0});
  EXPECT_THAT(longer.Said(), HasSubstr("at " + std::to_string(longer.Size()) + ": 1 bytes behind the thumbnail"));
}

TEST(Damage, ACutFileIsNamedAtEveryLength) {
  const MadeShot shot{.hasLogo = true, .logo = Bytes(1000, 7)};
  const Sample sample(shot);
  const int64_t data = picturesAt + 1006, thumbnail = sample.Size() - static_cast<int64_t>(shot.thumbnail.size());
  const std::pair<int64_t, std::string> cuts[] = {{sample.Size() - 1, "the thumbnail"},
                                                  {thumbnail - 1, "the head of the thumbnail"},
                                                  {thumbnail - 7, "the picture section"},
                                                  {data - 7, "the index"},
                                                  {78083, "the logo"},
                                                  {1069, "the head of the vignetting table"},
                                                  {8, "the record"},
                                                  {1, "the file type"}};
  for (const auto& [length, inside] : cuts) {
    ASSERT_EQ(truncate(sample.path.c_str(), length), 0);
    EXPECT_TRUE(shot::HasFault(sample.Findings()));
    EXPECT_THAT(sample.Said(), HasSubstr("file ends at " + std::to_string(length) + ", before the end of " + inside));
  }
  ASSERT_EQ(truncate(sample.path.c_str(), 0), 0);
  EXPECT_THAT(sample.Said(), HasSubstr("empty file"));
}

// The half picture of camera 12, exposure 1 is replaced, and the file is otherwise as it should be.
TEST(Damage, APictureThatIsNotWhatItsPlaceAsksForIsNamed) {
  const Bytes good = JpegOf("half", 12, 1), gray(1632 * 1224 * 3, 90);
  Bytes longer = good, huge = good, hollow = good;
  longer.push_back(0);
  // Sound at both ends, but half of the data are gone: only decoding tells.
  hollow.erase(hollow.begin() + static_cast<ptrdiff_t>(hollow.size() / 2), hollow.end() - 2);
  const Bytes frame = {0xFF, 0xC0};
  std::fill_n(std::ranges::search(huge, frame).begin() + 5, 4, uint8_t{0xFF});  // 65535 x 65535
  const struct {
    Bytes picture;
    const char* said;
    Depth depth = Depth::Structure;
  } cases[] = {{good, "", Depth::Pictures},
               {JpegOf("full", 12, 1), "JPEG of 3264 x 2448, must be 1632 x 1224"},
               {JpegFrom(gray, 1632, 1224, 0, 85), "JPEG is not YCbCr 4:2:0"},
               {JpegFrom(gray, 1632, 1224, 3, 85), "JPEG is not YCbCr 4:2:0"},
               {support::TwoToneJpeg(1632, 1224, 70), "(remark)"},
               {Bytes(1000, 'x'), "no JPEG begins here"},
               {{0xFF}, "no JPEG begins here"},
               {longer, "does not end with its end mark"},
               {hollow, ""},
               {hollow, "bad JPEG data", Depth::Pictures},
               {huge, "bad head of the JPEG"}};
  for (const auto& one : cases) {
    SCOPED_TRACE(one.said);
    const Sample sample({.jpeg = [&](const std::string& size, int camera, int exposure) {
      return size == "half" && camera == 12 && exposure == 1 ? one.picture : JpegOf(size, camera, exposure);
    }});
    for (const Finding& finding : sample.Findings(one.depth))
      EXPECT_THAT(finding.text, HasSubstr("half picture of camera 12, exposure 1"));
    EXPECT_THAT(sample.Said(one.depth), HasSubstr(one.said));
    EXPECT_EQ(sample.Said(one.depth).empty(), *one.said == 0);
  }
}

TEST(Damage, NumbersOfGigabytesTakeNoMemory) {
  // A file that is as long as its wrong sizes say, without the blocks.
  const Sample sample;
  ASSERT_EQ(truncate(sample.path.c_str(), int64_t{6} << 30), 0);
  sample.Put(indexAt + 16, {0xFF, 0xFF, 0xFF, 0x7F});
  sample.Put(picturesAt - 4, {0xFF, 0xFF, 0xFF, 0x7F});
  const shot::File file(sample.path);
  EXPECT_EQ(file.Read({0, int64_t{4} << 30}).size(), static_cast<size_t>(shot::File::longestRead));
  EXPECT_TRUE(file.Jpeg(file.Get().entries[0]).empty());
  EXPECT_THAT(sample.Said(), HasSubstr("2147483647 bytes, more than any picture has"));
}

}  // namespace
