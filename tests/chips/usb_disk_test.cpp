#include "twin/devices/usb_disk/usb_disk.h"

#include <gtest/gtest.h>

namespace twin {
namespace {

namespace fs = std::filesystem;

constexpr uint64_t kCluster = 32 * 1024;

struct Disk : testing::Test {
  fs::path directory = fs::path(testing::TempDir()) / ("disk-" + std::to_string(getpid()));
  Kernel kernel;
  Faults faults{kernel};
  UsbDisk disk{kernel, faults, directory, 1024 * 1024};

  Disk() { disk.Mount(); }
  ~Disk() override { fs::remove_all(directory); }

  // Appends as a door does; returns how many of 32768 clusters are taken then.
  uint64_t Write(const std::string& path, uint64_t offset, uint64_t size) {
    const auto verdict = disk.BeforeWrite(path, offset, size);
    EXPECT_EQ(verdict.error, 0);
    disk.SizeChanged(path, offset + verdict.reported);
    return Taken();
  }
  uint64_t Taken() const { return 32768 - disk.FreeClusters(); }
};

TEST_F(Disk, CountsWholeClustersThroughEveryChange) {
  disk.DirectoryMade("DCIM");
  EXPECT_EQ(Write("DCIM/a.tmp", 0, 1), 2u);
  EXPECT_EQ(Write("DCIM/a.tmp", 1, kCluster - 1), 2u);
  EXPECT_EQ(Write("DCIM/a.tmp", kCluster, 1), 3u);
  disk.Renamed("DCIM/a.tmp", "DCIM/a.ori");
  EXPECT_EQ(Write("DCIM/b.ori", 0, 5 * kCluster), 8u);
  disk.Renamed("DCIM/a.ori", "DCIM/b.ori");  // replaces it
  EXPECT_EQ(Taken(), 3u);
  disk.Renamed("DCIM", "old");
  disk.SizeChanged("old/b.ori", 0);
  EXPECT_EQ(Taken(), 1u);
  for (const char* path : {"old/b.ori", "old", "never"}) disk.Removed(path);
  EXPECT_EQ(Taken(), 0u);
}

TEST_F(Disk, APulledDiskFailsUntilItIsMountedAnew) {
  disk.Pull();
  EXPECT_EQ(disk.BeforeWrite("a", 0, 1).error, EIO);
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
  for (const char* fault :
       {"value=100 nth=2", "silence nth=3", "fail=ENOSPC nth=4", "powercut nth=5", "delay=2s nth=6"})
    faults.Add("disk.write " + std::string(fault));
  struct Row {
    int error;
    uint64_t stored, reported;
    bool powerCut;
  };
  for (const Row& row : {Row{0, 1000, 1000, false}, Row{0, 100, 1000, false}, Row{0, 0, 1000, false},
                         Row{ENOSPC, 0, 0, false}, Row{0, 500, 1000, true}, Row{0, 1000, 1000, false}}) {
    const auto verdict = disk.BeforeWrite("a", 0, 1000);
    EXPECT_EQ(verdict.error, row.error);
    EXPECT_EQ(verdict.stored, row.stored);
    EXPECT_EQ(verdict.reported, row.reported);
    EXPECT_EQ(verdict.powerCut, row.powerCut);
    EXPECT_EQ(verdict.takes > 2s, disk.Writes() == 6);
  }
}

}  // namespace
}  // namespace twin
