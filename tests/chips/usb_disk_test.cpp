#include "twin/devices/usb_disk/usb_disk.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

namespace twin {
namespace {

namespace fs = std::filesystem;

constexpr uint64_t kCluster = 32 * 1024;

struct Disk : testing::Test {
  fs::path directory = fs::path(testing::TempDir()) / ("disk-" + std::to_string(getpid()));
  Kernel kernel;
  Faults faults{kernel};
  UsbDisk disk{faults, directory, 1024 * 1024};

  Disk() { disk.Mount(); }
  ~Disk() override { fs::remove_all(directory); }

  // Appends as a door does, until all is written or an error comes.
  int Write(const std::string& path, uint64_t offset, uint64_t size) {
    while (size > 0) {
      const auto verdict = disk.BeforeWrite(path, offset, size);
      if (verdict.error != 0) return verdict.error;
      offset += verdict.reported;
      size -= verdict.reported;
      disk.SizeChanged(path, offset);
    }
    return 0;
  }
};

TEST_F(Disk, CountsWholeClustersThroughEveryChange) {
  EXPECT_EQ(disk.FreeKBs(), 1024u * 1024);
  disk.DirectoryMade("DCIM");
  EXPECT_EQ(Write("DCIM/a.tmp", 0, 1), 0);
  EXPECT_EQ(disk.FreeClusters(), 32768u - 2);
  EXPECT_EQ(Write("DCIM/a.tmp", 1, kCluster - 1), 0);
  EXPECT_EQ(disk.FreeClusters(), 32768u - 2);
  EXPECT_EQ(Write("DCIM/a.tmp", kCluster, 1), 0);
  EXPECT_EQ(disk.FreeClusters(), 32768u - 3);
  disk.Renamed("DCIM/a.tmp", "DCIM/a.ori");
  EXPECT_EQ(Write("DCIM/b.ori", 0, 5 * kCluster), 0);
  disk.Renamed("DCIM/a.ori", "DCIM/b.ori");  // replaces it
  EXPECT_EQ(disk.FreeClusters(), 32768u - 3);
  disk.Renamed("DCIM", "old");
  disk.SizeChanged("old/b.ori", 0);
  EXPECT_EQ(disk.FreeClusters(), 32768u - 1);
  disk.Removed("old/b.ori");
  disk.Removed("old");
  disk.Removed("never");
  EXPECT_EQ(disk.FreeClusters(), 32768u);
}

TEST_F(Disk, AFullDiskTakesWhatFitsAndThenNoMore) {
  disk.FillTo(100);
  EXPECT_EQ(disk.FreeKBs(), 96u) << "three clusters";
  const auto verdict = disk.BeforeWrite("a", 0, 4 * kCluster);
  EXPECT_EQ(verdict.error, 0);
  EXPECT_EQ(verdict.reported, 3 * kCluster);
  disk.SizeChanged("a", verdict.reported);
  EXPECT_EQ(disk.BeforeWrite("a", 3 * kCluster, 1).error, ENOSPC);
  EXPECT_EQ(disk.BeforeWrite("a", kCluster, kCluster).error, 0) << "over what it has already";
  EXPECT_EQ(disk.BeforeMakeDirectory("d").error, ENOSPC);
  EXPECT_EQ(disk.FreeKBs(), 0u);
  disk.FillTo(262144);
  EXPECT_EQ(disk.FreeKBs(), 262144u);
}

TEST_F(Disk, APulledDiskFailsUntilItIsMountedAnew) {
  disk.Pull();
  EXPECT_EQ(disk.BeforeWrite("a", 0, 1).error, EIO);
  EXPECT_EQ(disk.BeforeOpen("a", false, false).error, EIO);
  disk.Plug();
  EXPECT_EQ(disk.BeforeRename("a", "b").error, EIO) << "the mount is stale";
  EXPECT_EQ(disk.Mount(), EBUSY);
  EXPECT_EQ(disk.Unmount(), 0);
  EXPECT_EQ(disk.Mount(), 0);
  EXPECT_EQ(disk.BeforeRename("a", "b").error, 0);
  disk.Pull();
  disk.Unmount();
  EXPECT_EQ(disk.Mount(), ENODEV);
  EXPECT_EQ(disk.Format(), ENODEV);
}

TEST_F(Disk, WritesAreTornForgottenRefusedOrCutOff) {
  faults.Add("disk.write value=100 nth=2");
  faults.Add("disk.write silence nth=3");
  faults.Add("disk.write fail=ENOSPC nth=4");
  faults.Add("disk.write powercut nth=5");
  faults.Add("disk.write delay=2s nth=6");
  int cuts = 0;
  faults.SetPowerCut([&] { cuts++; });
  auto next = [&] { return disk.BeforeWrite("a", 0, 1000); };
  auto verdict = next();
  EXPECT_EQ(verdict.stored, 1000u);
  verdict = next();
  EXPECT_EQ(verdict.stored, 100u);
  EXPECT_EQ(verdict.reported, 1000u);
  verdict = next();
  EXPECT_EQ(verdict.stored, 0u);
  EXPECT_EQ(verdict.reported, 1000u);
  EXPECT_EQ(next().error, ENOSPC);
  verdict = next();
  EXPECT_EQ(verdict.stored, 500u);
  EXPECT_TRUE(verdict.powerCut);
  disk.CutPower();
  EXPECT_EQ(cuts, 1);
  EXPECT_GT(next().takes, 2s);
  EXPECT_EQ(disk.Writes(), 6u);
}

}  // namespace
}  // namespace twin
