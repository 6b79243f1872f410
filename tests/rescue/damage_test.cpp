// Damaged shots: no picture is ever called certain in a place that is not its own, and what the damage has not touched
// is not lost.
#include <gmock/gmock.h>

#include <functional>
#include <map>
#include <random>
#include <set>
#include <string_view>
#include <unordered_map>

#include "tests/support/made_shot.h"
#include "tools/rescue/rescue.h"
#include "twin/light/cell_jpeg.h"

namespace {

using support::Bytes;
using support::MadeShot;

// A picture that shows its camera's scene in its exposure, and has a comment that says which it is.
Bytes SceneJpeg(const std::string& size, int camera, int exposure) {
  static std::map<std::string, Bytes> made;
  static const twin::CellJpeg full(twin::PictureSize::Full, 95), half(twin::PictureSize::Half, 85);
  const std::string comment = size + " " + std::to_string(camera) + " " + std::to_string(exposure);
  Bytes& jpeg = made[comment];
  if (!jpeg.empty()) return jpeg;
  const bool isFull = size == "full";
  jpeg = (isFull ? full : half).Compose([&](int row, int column) {
    std::mt19937 scene(static_cast<unsigned>(camera * 1000 + row / (isFull ? 16 : 8) * 10 + column));
    return std::min<int>(255, static_cast<int>(10 + scene() % 50) << exposure);
  });
  Bytes segment = {0xFF, 0xFE, 0, static_cast<uint8_t>(comment.size() + 2)};
  segment.insert(segment.end(), comment.begin(), comment.end());
  jpeg.insert(jpeg.begin() + 2, segment.begin(), segment.end());
  return jpeg;
}

std::string CommentOf(const Bytes& bytes, const rescue::Found& picture) {
  const auto at = bytes.begin() + picture.offset;
  return at[2] == 0xFF && at[3] == 0xFE ? std::string(at + 6, at + 4 + at[5]) : "";
}

// Where undamaged pictures stand, found by their comments alone.
std::vector<int64_t> Intact(const Bytes& bytes) {
  std::vector<int64_t> places;
  const Bytes start = {0xFF, 0xD8, 0xFF, 0xFE, 0};
  const std::boyer_moore_horspool_searcher search(start.begin(), start.end());
  for (auto at = bytes.begin(); (at = std::search(at, bytes.end(), search)) != bytes.end(); ++at) {
    int camera = 0, exposure = 0;
    char size[5] = {};
    const std::string comment(at + 6, std::min(at + 20, bytes.end()));
    if (sscanf(comment.c_str(), "%4s %d %d", size, &camera, &exposure) != 3 || camera > 24 || exposure > 2) continue;
    const Bytes picture = SceneJpeg(size, camera, exposure);
    if (bytes.end() - at >= static_cast<ptrdiff_t>(picture.size()) && std::equal(picture.begin(), picture.end(), at))
      places.push_back(at - bytes.begin());
  }
  return places;
}

std::string NameOf(const shot::Place& place) {
  return std::string(shot::NameOf(place.size)) + " " + std::to_string(place.camera) + " " +
         std::to_string(place.exposure);
}

// Decodes the same bytes once.
rescue::Look Remembered(std::span<const uint8_t> jpeg) {
  static std::unordered_map<size_t, rescue::Look> looks;
  const size_t key = std::hash<std::string_view>{}({reinterpret_cast<const char*>(jpeg.data()), jpeg.size()});
  const auto [found, isNew] = looks.try_emplace(key);
  if (isNew) found->second = rescue::LookAt(jpeg);
  return found->second;
}

class Chance {
 public:
  explicit Chance(unsigned seed) : engine_(seed) {}
  size_t Below(size_t end) { return std::uniform_int_distribution<size_t>(0, end - 1)(engine_); }
  // From 1 to about `most`, each order of size alike.
  size_t Length(double most) {
    return static_cast<size_t>(std::pow(most, std::uniform_real_distribution<double>(0, 1)(engine_)));
  }

 private:
  std::mt19937 engine_;
};

// What a broken stick does to a file: bits turned over, sectors of zeros or of noise, sectors that belong elsewhere,
// and clusters that are missing or too many. Returns what was done, in words.
std::string Damage(Bytes& bytes, Chance& chance) {
  const size_t at = chance.Below(chance.Below(3) == 0 ? 90000 : bytes.size());
  const size_t length = std::min(chance.Length(1e6), bytes.size() - at), from = chance.Below(bytes.size() - length);
  const auto begin = bytes.begin() + static_cast<ptrdiff_t>(at), end = begin + static_cast<ptrdiff_t>(length);
  const Bytes other(bytes.begin() + static_cast<ptrdiff_t>(from),
                    bytes.begin() + static_cast<ptrdiff_t>(from + length));
  const std::string where = " at " + std::to_string(at) + ", " + std::to_string(length) + " bytes";
  switch (chance.Below(6)) {
    case 0: *begin ^= static_cast<uint8_t>(1 << chance.Below(8)); return "bit" + where;
    case 1: std::fill(begin, end, uint8_t{0}); return "zeros" + where;
    case 2: std::generate(begin, end, [&] { return static_cast<uint8_t>(chance.Below(256)); }); return "noise" + where;
    case 3: std::copy(other.begin(), other.end(), begin); return "bytes from " + std::to_string(from) + where;
    case 4: bytes.erase(begin, end); return "missing" + where;
    default:
      bytes.insert(begin, other.begin(), other.end());
      return "bytes from " + std::to_string(from) + " more" + where;
  }
}

// A shot after one damage or two, finished or as a power cut leaves it.
Bytes Damaged(const Bytes& whole, bool unfinished, Chance& chance, std::string& done) {
  Bytes bytes = whole;
  if (unfinished) {
    std::fill_n(bytes.begin() + 78082, 3000, uint8_t{0});
    std::fill_n(bytes.begin() + 81084, 4, uint8_t{0});
    bytes.resize(81088 + chance.Below(bytes.size() - 81088));
    done = "unfinished, ";
  }
  for (size_t n = chance.Below(2) + 1; n > 0; --n) done += Damage(bytes, chance) + "; ";
  return bytes;
}

TEST(RescueOfADamagedShot, AWrongPlaceIsNeverCalledCertainAndNothingIntactIsLost) {
  Chance chance(13);
  int certain = 0, doubtful = 0, right = 0;
  for (const int half : {0, 3}) {
    const Bytes whole = MadeShot{.jpeg = SceneJpeg, .half = half}.Make();
    for (int i = 0; i < 500; ++i) {
      std::string done;
      const Bytes bytes = Damaged(whole, i % 3 == 0, chance, done);
      SCOPED_TRACE(done + (half == 0 ? "" : "two halves, ") + std::to_string(i));
      const auto rescued = rescue::Rescue(bytes, Remembered);
      const auto& [placed, unplaced] = rescued.placement;
      std::set<int64_t> found;
      for (const size_t picture : unplaced) found.insert(rescued.finds.pictures[picture].offset);
      for (const rescue::Placed& one : placed) {
        const rescue::Found& picture = rescued.finds.pictures[one.picture];
        found.insert(picture.offset);
        const bool own = CommentOf(bytes, picture) == NameOf(one.place);
        const bool sure = one.certainty == rescue::Certainty::Certain;
        (sure ? certain : doubtful)++;
        right += own && !sure;
        ASSERT_TRUE(own || !sure) << CommentOf(bytes, picture) << " is called " << NameOf(one.place);
      }
      for (const int64_t at : Intact(bytes))  // what stands in front of the section is none of its pictures
        ASSERT_TRUE(at < rescued.head.picturesAt || found.contains(at)) << "the picture at " << at << " is lost";
    }
  }
  EXPECT_GT(certain, 3 * doubtful);
  EXPECT_GT(right, doubtful * 2 / 3) << "what is doubtful is mostly right all the same";
}

// In the last row nothing comes behind that would give a late frame away, but the camera's other exposures do.
TEST(RescueOfADamagedShot, TwoCamerasInEachOthersPlacesAreNoticedByWhatTheyShow) {
  const Bytes bytes = MadeShot{.jpeg = [](const std::string& size, int camera, int exposure) {
                        const bool exchanged = camera >= 22 && camera <= 23 && exposure == 2;
                        return SceneJpeg(size, exchanged ? 45 - camera : camera, exposure);
                      }}.Make();
  const auto rescued = rescue::Rescue(bytes, Remembered);
  EXPECT_EQ(rescued.placement.placed.size(), 150U);
  for (const rescue::Placed& one : rescued.placement.placed)
    EXPECT_EQ(one.certainty == rescue::Certainty::Certain,
              one.place.camera < 22 || one.place.camera > 23 || one.place.exposure < 2)
        << NameOf(one.place);
}

}  // namespace
