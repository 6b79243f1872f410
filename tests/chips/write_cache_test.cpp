// What a stick keeps when the power goes.
#include <gtest/gtest.h>

#include <fstream>

#include "tests/support/file_bytes.h"
#include "twin/board.h"
#include "twin/devices/usb_disk/write_cache.h"

namespace twin {
namespace {

namespace fs = std::filesystem;

constexpr uint64_t kCluster = 32 * 1024;
constexpr SectorOdds kNothingKept{0, 1, 0, 0}, kAllKept{1, 0, 0, 0};

struct Stick : testing::Test {
  fs::path directory = fs::path(testing::TempDir()) / ("stick-" + std::to_string(getpid()));
  Kernel kernel;
  WriteCache cache{kernel, directory, kCluster};

  Stick() { fs::create_directories(directory); }
  ~Stick() override { fs::remove_all(directory); }

  void Write(const std::string& name, uint64_t offset, const std::string& bytes) {
    cache.Writing(name, offset, bytes.size());
    std::ofstream(directory / name, std::ios::app).close();
    std::fstream file(directory / name, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(static_cast<std::streamoff>(offset));
    file << bytes << std::flush;
    cache.Sized(name, fs::file_size(directory / name));
  }
  void Rename(const std::string& from, const std::string& to) {
    cache.Replacing(to);
    fs::rename(directory / from, directory / to);
    cache.Renamed(from, to);
  }
  void Remove(const std::string& name) {
    cache.Replacing(name);
    fs::remove(directory / name);
    cache.Removed(name);
  }
  // "a=3 b=70000": what is there, with its size; "a!" where the bytes are not those of `text` in front.
  std::string Left(const std::string& text) {
    std::map<std::string, std::string> found;
    for (const auto& entry : fs::directory_iterator(directory)) {
      const auto bytes = FileBytes(entry.path());
      const bool same =
          std::equal(bytes.begin(), bytes.end(), text.begin(), text.begin() + std::min(text.size(), bytes.size()));
      found[entry.path().filename().string()] = (same ? "=" : "!") + std::to_string(bytes.size());
    }
    std::string line;
    for (const auto& [name, what] : found) line += (line.empty() ? "" : " ") + name + what;
    return line;
  }
};

// A file as a shot is made: written under one name, patched in its head, renamed. What each point of time leaves.
TEST_F(Stick, KeepsWhatWasSyncedOrIsOldEnoughAndNothingElse) {
  const std::string text(3 * kCluster, 'x');
  struct Row {
    const char* what;
    bool syncBefore, syncAfter;
    Duration waits;
    std::string missing, kept;
  };
  const std::string whole = "=" + std::to_string(text.size());
  // A renamed entry is empty until its file has been written back.
  for (const Row& row :
       {Row{"at once", false, false, 0s, "", "b=0"}, Row{"file synced, name not", true, false, 0s, "a" + whole, "b=0"},
        Row{"all synced", true, true, 0s, "b" + whole, "b" + whole},
        Row{"not old enough", false, false, 29s, "", "b=0"}, Row{"old", false, false, 36s, "b" + whole, "b" + whole}}) {
    for (const bool keeps : {false, true}) {
      SCOPED_TRACE(std::string(row.what) + (keeps ? ", kept" : ", missing"));
      fs::remove_all(directory);
      fs::create_directories(directory);
      cache.Begin(kCluster);
      Write("a", 0, text);
      if (row.syncBefore) cache.Synced();
      Rename("a", "b");
      if (row.syncAfter) cache.Synced();
      kernel.Run(row.waits);
      cache.Lose(keeps ? kAllKept : kNothingKept);
      EXPECT_EQ(Left(text), keeps ? row.kept : row.missing);
    }
  }
}

TEST_F(Stick, GivesBackWhatWasChangedRemovedOrReplaced) {
  const std::string old(700, 'o');
  for (const char* name : {"changed", "removed", "replaced", "untouched"}) Write(name, 0, old);
  cache.Synced();
  Write("changed", 600, std::string(50, 'n'));
  Write("untouched", 700, "behind");
  Remove("removed");
  Write("new", 0, "n");
  Rename("new", "replaced");
  cache.Lose(kNothingKept);
  EXPECT_EQ(Left(old), "changed=700 removed=700 replaced=700 untouched=700");
}

// Chance: each sector is whole, as before, torn or garbage, in the shares that were asked for; what was synced is not
// touched but for files that share a sector of the folder that became garbage, and those are named.
TEST_F(Stick, TearsEachSectorByChanceAndNamesTheBystanders) {
  const std::string text(8 * 1024 * 1024, 'x');
  Write("old", 0, text);
  Write("shot", 0, text.substr(0, text.size() / 2));
  cache.Synced();
  Write("shot", text.size() / 2, text.substr(text.size() / 2));
  cache.Synced();
  Write("shot", 0, std::string(text.size(), 'y'));
  const DiskLoss loss = cache.Lose({.kept = 45, .missing = 45, .torn = 8, .garbage = 2});
  const uint64_t sectors = text.size() / 512;
  EXPECT_EQ(loss.kept + loss.missing + loss.torn + loss.garbage, sectors) << "folder and table have not changed";
  EXPECT_NEAR(static_cast<double>(loss.torn), 0.08 * static_cast<double>(sectors), 200);
  uint64_t found[4] = {};
  const auto bytes = FileBytes(directory / "shot");
  for (uint64_t at = 0; at < bytes.size(); at += 512) {
    const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(at);
    const auto split = std::find_if(begin, begin + 512, [](auto byte) { return byte != 'y'; });
    const bool oldBehind = std::all_of(split, begin + 512, [](auto byte) { return byte == 'x'; });
    found[!oldBehind ? 3 : split == begin ? 1 : split == begin + 512 ? 0 : 2]++;
  }
  EXPECT_EQ(found[0], loss.kept);
  EXPECT_EQ(found[1], loss.missing);
  EXPECT_EQ(found[2], loss.torn);
  EXPECT_EQ(found[3], loss.garbage);

  cache.Begin(kCluster);
  Write("another", 0, "z");
  EXPECT_EQ(cache.Lose({0, 0, 0, 1}).bystanders, (std::vector<std::string>{"old", "shot"}));
  EXPECT_EQ(Left(text), "") << "the folder's one sector is garbage";
}

}  // namespace
}  // namespace twin
