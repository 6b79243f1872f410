// Shots that end early: whatever was whole comes back, each picture to its place, and nothing more.
#include <gmock/gmock.h>

#include <map>
#include <random>

#include "tests/support/file_bytes.h"
#include "tests/support/made_shot.h"
#include "tools/rescue/rescue.h"

namespace {

using rescue::Certainty;
using support::MadeShot;

// A shot and the truth about it, by the index that the camera would write.
struct Sample {
  explicit Sample(const MadeShot& shot) {
    bytes = shot.Make();
    const support::TestFolder folder;
    PutBytes(folder / "whole.ori", bytes);
    const shot::File file(folder / "whole.ori");
    for (const shot::Entry& entry : file.Get().entries) pictures.emplace(entry.number, file.Get().SpanOf(entry));
    numbering = file.Get();
    indexAt = file.Get().Find(shot::Part::Index)->body.offset;
    unfinished = bytes;
    std::fill_n(unfinished.begin() + indexAt, file.Get().Find(shot::Part::Index)->body.size + 6, uint8_t{0});
    for (const int at : {0, 1})  // the token of the picture section stays
      unfinished[static_cast<size_t>(file.Get().Find(shot::Part::Pictures)->tokenAt + at)] = at == 0 ? 0xD3 : 0xFF;
  }
  support::Bytes bytes, unfinished;  // finished, and as it is until its index is written
  std::map<int, shot::Span> pictures;
  shot::Shot numbering;
  int64_t indexAt = 0;
};

// Decodes the same bytes once.
class Memory {
 public:
  rescue::Looker Looker() {
    return [this](std::span<const uint8_t> jpeg) {
      const auto [found, isNew] = looks_.try_emplace({jpeg.data(), jpeg.size()});
      if (isNew) found->second = rescue::LookAt(jpeg);
      return found->second;
    };
  }

 private:
  std::map<std::pair<const uint8_t*, size_t>, rescue::Look> looks_;
};

void ExpectExactly(const Sample& sample, const support::Bytes& bytes, int64_t cut, Memory& memory) {
  SCOPED_TRACE("cut at " + std::to_string(cut));
  const auto rescued = rescue::Rescue(rescue::Source(bytes).first(static_cast<size_t>(cut)), memory.Looker());
  std::map<int, shot::Span> found, whole;
  for (const rescue::Placed& placed : rescued.placement.placed) {
    EXPECT_EQ(placed.certainty, Certainty::Certain) << placed.why;
    const rescue::Found& picture = rescued.finds.pictures[placed.picture];
    found.emplace(sample.numbering.NumberOf(placed.place), shot::Span{picture.offset, picture.size});
  }
  for (const auto& [number, span] : sample.pictures)
    if (span.End() <= cut) whole.emplace(number, span);
  EXPECT_EQ(found.size(), whole.size());
  EXPECT_TRUE(found == whole);
  EXPECT_TRUE(rescued.placement.unplaced.empty());
  EXPECT_EQ(rescued.Certain(), static_cast<int>(whole.size()));
  EXPECT_EQ(rescued.Complete(), static_cast<int>(whole.size()) == rescued.Places());
  EXPECT_EQ(rescued.thumbnail.empty(), whole.empty());
}

TEST(RescueOfACutShot, CountIsExactAtEachBoundaryAndAtDrawnPlaces) {
  const MadeShot modes[] = {{.captureMode = 0, .hasLogo = true, .logo = support::Bytes(12345, 0xD9)},
                            {.captureMode = 2},
                            {.captureMode = 0, .half = 3},
                            {.fileType = 0x73C2, .captureMode = 2, .half = 3}};
  std::mt19937 chance(25);
  for (const MadeShot& mode : modes) {
    SCOPED_TRACE(std::to_string(mode.Exposures()) + " exposures" + (mode.half != 0 ? " in two halves" : ""));
    const Sample sample(mode);
    Memory memory;
    for (const auto& [number, span] : sample.pictures)
      for (const int64_t cut : {span.End() - 1, span.End(), span.End() + 1})
        ExpectExactly(sample, sample.unfinished, cut, memory);
    std::uniform_int_distribution<int64_t> anywhere(0, static_cast<int64_t>(sample.bytes.size()));
    for (int i = 0; i < 250; ++i)  // with the index or without
      ExpectExactly(sample, i % 2 == 0 ? sample.unfinished : sample.bytes, anywhere(chance), memory);
    if (HasFailure()) return;
  }
}

}  // namespace
