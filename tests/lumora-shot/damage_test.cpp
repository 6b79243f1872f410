// Damaged files: nothing crashes, and every damage that can be noticed is named, with its place.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <random>

#include "tests/support/made_shot.h"
#include "tools/lumora-shot/extract.h"
#include "tools/lumora-shot/info.h"
#include "tools/lumora-shot/pictures.h"
#include "tools/lumora-shot/sheet.h"
#include "tools/lumora-shot/verify.h"

namespace {

using shot::Depth;
using shot::Finding;
using support::Bytes;
using support::JpegOf;
using support::MadeShot;
using support::NoiseJpeg;
using testing::HasSubstr;
using testing::Not;

constexpr int64_t indexAt = 78082;  // first entry, without a logo
constexpr int64_t picturesAt = indexAt + 3000 + 6;

// A made shot on the disk, of which single bytes can be changed for a moment.
class Sample {
 public:
  explicit Sample(const MadeShot& shot = {}, const std::string& name = "made.ori")
      : path_(folder_ / name), bytes_(shot.Make()) {
    support::WriteFile(path_, bytes_);
  }

  const std::string& Path() const { return path_; }
  int64_t Size() const { return static_cast<int64_t>(bytes_.size()); }
  uint8_t At(int64_t at) const { return bytes_[static_cast<size_t>(at)]; }

  void Put(int64_t at, const Bytes& bytes) const {
    const int fd = open(path_.c_str(), O_WRONLY);
    ASSERT_EQ(pwrite(fd, bytes.data(), bytes.size(), at), static_cast<ssize_t>(bytes.size()));
    close(fd);
  }
  void Restore(int64_t at) const { Put(at, {At(at)}); }

 private:
  support::TestFolder folder_;
  std::string path_;
  Bytes bytes_;
};

// Everything that reads files, on this file; the results do not matter, only that they come.
void UseAll(const std::string& path) {
  const shot::File file(path);
  const auto findings = shot::Verify(file, Depth::Structure);
  EXPECT_FALSE(shot::InfoText(file, findings).empty());
  EXPECT_FALSE(shot::InfoJson(file, findings).dump().empty());
}

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
    const auto findings = shot::Verify(sample.Path(), Depth::Structure);
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
    UseAll(sample.Path());
    sample.Restore(at);
  }
  EXPECT_TRUE(shot::Verify(sample.Path(), Depth::Structure).empty()) << "the sample is whole again";
}

// What `change` makes of a sound shot, and the one thing that is said of it then.
TEST(Damage, AShotThatIsNotWholeIsNamedOnce) {
  const auto said = [](const std::function<void(MadeShot&)>& change, const std::string& name = "made.ori",
                       int emptied = -1) {
    MadeShot shot;
    change(shot);
    const Sample sample(shot, name);
    if (emptied >= 0) sample.Put(indexAt + emptied * 20, Bytes(20, 0));
    const auto findings = shot::Verify(sample.Path(), Depth::Structure);
    EXPECT_LE(findings.size(), 1U) << shot::Text(findings);
    return shot::Text(findings);
  };
  const auto plain = [](MadeShot&) {};
  EXPECT_EQ(said(plain, "made.tmp"), "at 0: not finished: the name still ends in \"tmp\"\n");
  EXPECT_THAT(said([](MadeShot& shot) { shot.half = 1; }), HasSubstr("its first half only"));
  EXPECT_THAT(said([](MadeShot& shot) { shot.half = 2; }), HasSubstr("its second half only"));
  EXPECT_THAT(said([](MadeShot& shot) { shot.thumbnail = NoiseJpeg(306, 408, 2); }),
              HasSubstr("thumbnail: JPEG of 306 x 408, must be 408 x 306"));
  EXPECT_THAT(said([](MadeShot& shot) { shot.fileType = 0x73C2; }), HasSubstr("(remark)"));
  EXPECT_EQ(said([](MadeShot& shot) { shot.fileType = 0x73C2; }, "made.dwo"), "");
  const auto holed = [](MadeShot& shot) {
    shot.jpeg = [](const std::string& size, int camera, int exposure) {
      return size == "full" && camera == 7 && exposure == 2 ? Bytes{} : JpegOf(size, camera, exposure);
    };
  };
  EXPECT_EQ(said(holed, "made.ori", 75 + 23),
            "at " + std::to_string(indexAt + 98 * 20) +
                ": entry 98 (full, camera 7, exposure 2) is empty: the picture is missing\n");

  const Sample sample({}, "made.tmp");
  sample.Put(indexAt, Bytes(3000, 0));
  sample.Put(picturesAt - 4, Bytes(4, 0));
  EXPECT_THAT(shot::Text(shot::Verify(sample.Path())), HasSubstr("at 78082: not finished: the index is empty"));
  const Sample longer;
  longer.Put(longer.Size(), {0});
  EXPECT_THAT(shot::Text(shot::Verify(longer.Path(), Depth::Structure)),
              HasSubstr("at " + std::to_string(longer.Size()) + ": 1 bytes behind the thumbnail"));
}

TEST(Damage, RandomBytesAnywhereInTheHeadNeverCrash) {
  MadeShot shot;
  shot.hasLogo = true;
  shot.logo = Bytes(100, 7);
  const Sample sample(shot);
  std::mt19937 random(20);
  const auto below = [&](int64_t limit) { return static_cast<int64_t>(random()) % limit; };
  for (int round = 0; round < 300; ++round) {
    std::vector<int64_t> places;
    for (int64_t i = 0; i <= below(4); ++i) {
      // Half of the blows fall where sizes and counts stand.
      const int64_t telling[] = {8 + below(4),
                                 120 + below(4),
                                 78076 + below(6),
                                 78182 + below(6),
                                 indexAt + 106 + below(3000),
                                 picturesAt + 100 + below(6)};
      places.push_back(below(2) ? below(picturesAt + 106) : telling[below(6)]);
      sample.Put(places.back(), {static_cast<uint8_t>(random())});
    }
    UseAll(sample.Path());
    for (const int64_t at : places) sample.Restore(at);
  }
}

TEST(Damage, ACutFileIsNamedAtEveryLength) {
  MadeShot shot;
  shot.hasLogo = true;
  shot.logo = Bytes(1000, 7);
  const Sample sample(shot);
  const int64_t data = picturesAt + 1006;
  const int64_t thumbnail = static_cast<int64_t>(shot.thumbnail.size());
  const struct {
    int64_t length;
    const char* inside;
  } cuts[] = {{sample.Size() - 1, "thumbnail"},
              {sample.Size() - thumbnail - 1, "the head of the thumbnail"},
              {sample.Size() - thumbnail - 7, "picture section"},
              {data + 1, "picture section"},
              {data - 1, "the head of the picture section"},
              {data - 7, "the index"},
              {data - 3007, "the head of the index"},
              {78083, "the logo"},
              {78081, "the head of the logo"},
              {78076, "the vignetting table"},
              {1069, "the head of the vignetting table"},
              {263, "the record"},
              {8, "the record"},
              {3, "the head of the record"},
              {1, "the file type"}};
  for (const auto& cut : cuts) {
    ASSERT_EQ(truncate(sample.Path().c_str(), cut.length), 0);
    const auto findings = shot::Verify(sample.Path(), Depth::Structure);
    EXPECT_TRUE(shot::HasFault(findings));
    EXPECT_THAT(shot::Text(findings), HasSubstr("file ends at " + std::to_string(cut.length) + ", before the end of"));
    EXPECT_THAT(shot::Text(findings), HasSubstr(cut.inside)) << cut.length;
    UseAll(sample.Path());
  }
  ASSERT_EQ(truncate(sample.Path().c_str(), 0), 0);
  EXPECT_THAT(shot::Text(shot::Verify(sample.Path())), HasSubstr("empty file"));
}

// The half picture of camera 12, exposure 1 is replaced, and the file is otherwise as it should be.
std::string Judgement(const Bytes& picture, Depth depth = Depth::Structure) {
  MadeShot shot;
  shot.jpeg = [&](const std::string& size, int camera, int exposure) {
    return size == "half" && camera == 12 && exposure == 1 ? picture : JpegOf(size, camera, exposure);
  };
  const Sample sample(shot);
  const auto findings = shot::Verify(sample.Path(), depth);
  for (const Finding& finding : findings) EXPECT_THAT(finding.text, HasSubstr("half picture of camera 12, exposure 1"));
  return shot::Text(findings);
}

TEST(Damage, APictureThatIsNotWhatItsPlaceAsksForIsNamed) {
  EXPECT_EQ(Judgement(JpegOf("half", 12, 1), Depth::Pictures), "");
  EXPECT_THAT(Judgement(JpegOf("full", 12, 1)), HasSubstr("JPEG of 3264 x 2448, must be 1632 x 1224"));
  EXPECT_THAT(Judgement(NoiseJpeg(1632, 1224, 0)), HasSubstr("JPEG is not YCbCr 4:2:0"));
  EXPECT_THAT(Judgement(NoiseJpeg(1632, 1224, 3)), HasSubstr("JPEG is not YCbCr 4:2:0"));
  EXPECT_THAT(Judgement(support::TwoToneJpeg(1632, 1224, 70)), HasSubstr("(remark)"));
  EXPECT_THAT(Judgement(Bytes(1000, 'x')), HasSubstr("no JPEG begins here"));
  EXPECT_THAT(Judgement({0xFF}), HasSubstr("no JPEG begins here"));

  Bytes longer = JpegOf("half", 12, 1);
  longer.push_back(0);
  EXPECT_THAT(Judgement(longer), HasSubstr("does not end with its end mark"));

  // Sound at both ends, but half of the data are gone: only decoding tells.
  Bytes hollow = NoiseJpeg(1632, 1224, 2);
  hollow.erase(hollow.begin() + static_cast<ptrdiff_t>(hollow.size() / 2), hollow.end() - 2);
  EXPECT_THAT(Judgement(hollow), Not(HasSubstr("bad")));
  EXPECT_THAT(Judgement(hollow, Depth::Pictures), HasSubstr("bad JPEG data"));

  Bytes huge = JpegOf("half", 12, 1);
  for (size_t i = 0; i + 9 < huge.size(); ++i)
    if (huge[i] == 0xFF && huge[i + 1] == 0xC0) {
      for (size_t k = 5; k < 9; ++k) huge[i + k] = 0xFF;  // 65535 x 65535
      break;
    }
  EXPECT_THAT(Judgement(huge), HasSubstr("bad head of the JPEG"));
}

TEST(Damage, NumbersOfGigabytesTakeNoMemory) {
  // A file that is as long as its wrong sizes say, without the blocks.
  const Sample sample;
  ASSERT_EQ(truncate(sample.Path().c_str(), int64_t{6} << 30), 0);
  sample.Put(indexAt + 16, {0xFF, 0xFF, 0xFF, 0x7F});
  sample.Put(picturesAt - 4, {0xFF, 0xFF, 0xFF, 0x7F});
  const shot::File file(sample.Path());
  EXPECT_EQ(file.Read({0, int64_t{4} << 30}).size(), static_cast<size_t>(shot::File::longestRead));
  EXPECT_TRUE(file.Jpeg(file.Get().entries[0]).empty());
  EXPECT_THAT(shot::Text(shot::Verify(file, Depth::Structure)),
              HasSubstr("2147483647 bytes, more than any picture has"));
}

}  // namespace
