// Damaged shots in the hands of the rescue. The first bytes choose a shot and cut it, each seven more damage it. The
// shot that comes out must be one: its reader finds each picture in its place, byte for byte as it was.
//
// The pictures have the camera's size and next to no data, so what a decoder would say of them is drawn.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>

#include "fuzz/memory_file.h"
#include "fuzz/require.h"
#include "tests/support/made_shot.h"
#include "tools/lumora-shot/verify.h"
#include "tools/rescue/rescue.h"

using fuzz::Require;
using support::Bytes;

namespace {

constexpr size_t kDamage = 7;
constexpr size_t kIndexAt = 78082;

// The head of a picture, a few bytes of data, and an end.
Bytes TinyJpeg(const std::string& size, int camera, int exposure) {
  const Bytes whole = support::JpegOf(size, camera, exposure);
  const Bytes scan = {0xFF, 0xDA, 0, 12};
  const auto data = std::search(whole.begin(), whole.end(), scan.begin(), scan.end()) + 14;
  Bytes jpeg(whole.begin(), data);
  const auto mark = static_cast<uint8_t>(camera * 6 + exposure);
  for (const uint8_t byte : {mark, uint8_t{0x11}, mark, uint8_t{0xFF}, uint8_t{0xD9}}) jpeg.push_back(byte);
  return jpeg;
}

const Bytes& Shot(unsigned which) {
  static const std::array<Bytes, 4> shots = [] {
    std::array<Bytes, 4> made;
    for (unsigned i = 0; i < made.size(); i++) {
      support::MadeShot shot;
      shot.jpeg = TinyJpeg;
      shot.half = i == 1 ? 3 : 0;
      shot.captureMode = i == 2 ? 2 : 0;
      shot.deviceId = i == 3 ? 12 : 2;
      made[i] = shot.Make();
    }
    return made;
  }();
  return shots[which % shots.size()];
}

size_t Number(const uint8_t* bytes, size_t size) {
  size_t value = 0;
  for (size_t i = 0; i < size; i++) value |= size_t{bytes[i]} << 8 * i;
  return value;
}

// A place in the head, the index, or the pictures, and what is done there with four bytes.
void Damage(Bytes& bytes, const uint8_t* damage) {
  const size_t place = Number(damage + 1, 2), value = Number(damage + 3, 4);
  const size_t at = damage[0] % 3 == 0   ? place % 1200
                    : damage[0] % 3 == 1 ? kIndexAt - 12 + place % 6100
                                         : kIndexAt + place * 3;
  if (at + 4 > bytes.size()) return;
  const auto begin = bytes.begin() + static_cast<ptrdiff_t>(at);
  const auto length = std::min<ptrdiff_t>(static_cast<ptrdiff_t>(value & 0xFFFF), bytes.end() - begin);
  const auto from = bytes.begin() + static_cast<ptrdiff_t>(value % (bytes.size() - static_cast<size_t>(length) + 1));
  switch (damage[0] / 3 % 5) {
    case 0:
      for (int i = 0; i < 4; i++) begin[i] = damage[3 + i];
      return;
    case 1: bytes.erase(begin, begin + length); return;
    case 2: std::fill(begin, begin + length, uint8_t{0}); return;
    case 3: {
      const Bytes other(from, from + length);
      std::copy(other.begin(), other.end(), begin);
      return;
    }
    default: {
      const Bytes other(from, from + length);
      bytes.insert(begin, other.begin(), other.end());
      return;
    }
  }
}

rescue::Look Drawn(std::span<const uint8_t> jpeg) {
  rescue::Look look;
  const uint8_t mark = jpeg.size() > 4 ? jpeg[jpeg.size() - 3] : 0;
  if (mark % 16 == 15) look.wrong = "drawn";
  for (size_t i = 0; i < look.small.pixels.size(); i++) look.small.pixels[i] = static_cast<uint8_t>(mark * (i % 7));
  return look;
}

// What was rescued, in the eyes of the shots' reader.
void RequireShot(const Bytes& source, const rescue::Rescued& rescued) {
  Bytes out;
  rescue::ComposeShot(source, rescued,
                      [&](rescue::Source piece) { out.insert(out.end(), piece.begin(), piece.end()); });
  const fuzz::MemoryFile stored(out);
  const shot::File file(stored.Path());
  const shot::Shot& shot = file.Get();
  Require(shot.Whole(), "what was rescued can be read to its end");
  Require(shot.cameras == rescued.head.cameras && shot.exposures == rescued.head.exposures, "so many places");
  size_t filled = 0;
  for (const shot::Entry& entry : shot.entries) filled += entry.Filled();
  Require(filled == rescued.placement.placed.size(), "each placed picture has its entry");
  for (const rescue::Placed& placed : rescued.placement.placed) {
    const rescue::Found& found = rescued.finds.pictures[placed.picture];
    const auto at = source.begin() + found.offset;
    Require(file.Jpeg(placed.place) == Bytes(at, at + found.size), "a picture as it was");
  }
  Require(file.Read(shot::Part::Thumbnail) == rescued.thumbnail, "the thumbnail");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 4) return 0;
  Bytes bytes = Shot(data[0]);
  if (data[0] / 4 % 2 == 1) std::fill_n(bytes.begin() + kIndexAt, 3000, uint8_t{0});  // unfinished
  // Mostly a short shot, which is looked through faster.
  const size_t most = data[0] / 8 % 4 == 3 ? bytes.size() : std::min<size_t>(bytes.size(), kIndexAt + 20000);
  bytes.resize(kIndexAt - 2 + Number(data + 1, 3) % (most - kIndexAt + 3));
  for (size_t at = 4; at + kDamage <= size; at += kDamage) Damage(bytes, data + at);

  const rescue::Rescued rescued = rescue::Rescue(bytes, Drawn);
  Require(!rescue::ListOf(rescued).empty() && !rescue::SummaryOf(rescued).empty(), "something to tell");
  const auto& [placed, unplaced] = rescued.placement;
  std::set<size_t> pictures(unplaced.begin(), unplaced.end());
  for (const rescue::Placed& one : placed) pictures.insert(one.picture);
  Require(pictures.size() == placed.size() + unplaced.size(), "a picture has one place or none");
  int64_t end = 0;
  for (size_t i = 0; i < rescued.finds.pictures.size(); i++) {
    const rescue::Found& found = rescued.finds.pictures[i];
    Require(found.offset >= end && found.size > 0, "pictures do not overlap");
    end = found.End();
    Require(found.ended == pictures.contains(i), "each picture that ends is told of");
  }
  Require(end <= static_cast<int64_t>(bytes.size()), "pictures lie in the source");
  RequireShot(bytes, rescued);
  return 0;
}
