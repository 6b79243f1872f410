// A disk whose folders are gone: each shot is found at whatever byte it begins, and what belongs to none is kept too.
#include <gmock/gmock.h>

#include <filesystem>
#include <random>

#include "tests/support/call_program.h"
#include "tests/support/file_bytes.h"
#include "tests/support/made_shot.h"
#include "tools/lumora-shot/shot_file.h"

namespace {

using support::Bytes;
using support::JpegOf;
using support::MadeShot;
using testing::HasSubstr;

void Append(Bytes& to, const Bytes& some) { to.insert(to.end(), some.begin(), some.end()); }

TEST(RescueFromADisk, FindsEachShotAtAnyByteAndKeepsLoosePictures) {
  const Bytes finished = MadeShot{.captureMode = 2, .hasLogo = true, .logo = {'L'}}.Make();
  const Bytes other = MadeShot{.fileType = 0x73C2, .half = 3}.Make();
  // Interrupted: its index is empty, and a picture is broken off where an older shot's bytes follow.
  Bytes interrupted = MadeShot{}.Make();
  std::fill_n(interrupted.begin() + 78082, 3000, uint8_t{0});
  std::fill_n(interrupted.begin() + 81084, 4, uint8_t{0});
  const int64_t seven = 81088 + 7 * static_cast<int64_t>(JpegOf("full", 0, 0).size() + JpegOf("half", 0, 0).size());
  interrupted.resize(static_cast<size_t>(seven) + 50000);
  const size_t older = other.size() / 2;

  std::mt19937 noise(4);
  Bytes disk(1234567);
  for (uint8_t& byte : disk) byte = static_cast<uint8_t>(noise());
  Append(disk, finished);
  disk.resize(disk.size() + 4321, 0xFF);
  Append(disk, interrupted);
  disk.insert(disk.end(), other.begin() + static_cast<ptrdiff_t>(older), other.end());
  disk.push_back(0);
  Append(disk, other);

  const support::TestFolder folder;
  PutBytes(folder / "disk.img", disk);
  const auto outcome = support::CallProgram(LUMORA_BINARY_DIR "/bin/lumora-shot rescue --scan " +
                                            (folder / "disk.img") + " " + (folder / "found"));
  EXPECT_EQ(outcome.result, 1);
  EXPECT_THAT(outcome.text, HasSubstr("3 shots, 2 of them complete; "));
  EXPECT_EQ(FileBytes(folder / "found/2026-11-24_20.34.56.ori"), finished);
  EXPECT_EQ(FileBytes(folder / "found/2026-11-24_20.34.56.dwo"), other);
  const shot::File left(folder / "found/2026-11-24_20.34.56-2.ori");
  int pictures = 0;
  for (const shot::Entry& entry : left.Get().entries) {
    const auto [size, camera, exposure] = left.Get().PlaceOf(entry.number);
    if (!entry.Filled()) continue;
    EXPECT_EQ(left.Jpeg(entry), JpegOf(shot::NameOf(size), camera, exposure));
    pictures++;
  }
  EXPECT_EQ(pictures, 14) << "the first seven frames, and none of the older shot's";
  int loose = 0;
  const shot::File whole(folder / "found/2026-11-24_20.34.56.dwo");
  for (const shot::Entry& entry : whole.Get().entries) {
    const shot::Span span = whole.Get().SpanOf(entry);
    if (span.offset < static_cast<int64_t>(older)) continue;
    const auto at = static_cast<size_t>(span.offset) - older + 1234567 + finished.size() + 4321 + interrupted.size();
    EXPECT_EQ(FileBytes(folder / ("found/loose_" + std::to_string(at) + ".jpg")), whole.Jpeg(entry));
    loose++;
  }
  EXPECT_THAT(outcome.text, HasSubstr("; " + std::to_string(loose) + " pictures outside of them\n"));
  EXPECT_EQ(FileBytes(folder / "disk.img"), disk) << "the disk is only read";
}

}  // namespace
