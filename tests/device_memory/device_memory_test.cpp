#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "common/fpga_ctrl/array/registers.h"
#include "common/log.h"

// The calls of the code under test, and of everything else in this program, led through here by the linker.
extern "C" {
int __real_open(const char* path, int flags, ...);
void* __real_mmap(void* address, size_t length, int protection, int flags, int fd, off_t offset);
void* __real_malloc(size_t size);
}

namespace {

using Mapping = std::pair<off_t, size_t>;  // start and length

int memory = -1;  // the file
int opens = 0;    // of /dev/mem
int openFlags = 0;
bool openFails = false;
bool mmapFails = false;
bool mallocFails = false;
std::vector<Mapping> mappings;  // of the file

}  // namespace

extern "C" int __wrap_open(const char* path, int flags, ...) {
  if (strcmp(path, "/dev/mem") != 0) return __real_open(path, flags, 0600);
  if (openFails) return -1;
  opens++;
  openFlags = flags;
  return dup(memory);
}

extern "C" void* __wrap_mmap(void* address, size_t length, int protection, int flags, int fd, off_t offset) {
  if (mmapFails) return MAP_FAILED;
  mappings.emplace_back(offset, length);
  return __real_mmap(address, length, protection, flags, fd, offset);
}

extern "C" void* __wrap_malloc(size_t size) { return mallocFails ? nullptr : __real_malloc(size); }

namespace {

struct DeviceMemory : testing::Test {
  static void SetUpTestSuite() {
    char path[] = "/tmp/lumora-memory-XXXXXX";
    memory = mkstemp(path);
    unlink(path);
    ASSERT_EQ(ftruncate(memory, 0x12200000), 0);  // a hole but for what is written
    mappings.reserve(100);
  }
  void SetUp() override {
    g_lumoDebug = tmpfile();
    mappings.clear();
  }
  void TearDown() override { fclose(g_lumoDebug); }

  static uint32_t Stored(off_t address) {
    uint32_t value = 0;
    EXPECT_EQ(pread(memory, &value, sizeof(value), address), static_cast<ssize_t>(sizeof(value)));
    return value;
  }
  static std::string Log() {
    rewind(g_lumoDebug);
    char text[200] = {};
    return {text, fread(text, 1, sizeof(text), g_lumoDebug)};
  }
};

}  // namespace

// First of all, while the file has not been opened.
TEST_F(DeviceMemory, FailuresAreLoggedAndGiveNull) {
  openFails = true;
  EXPECT_EQ(memmap(0x12010000, 4), nullptr);
  openFails = false;
  EXPECT_EQ(memmap(0x12010000, 0), nullptr);
  mmapFails = true;
  EXPECT_EQ(memmap(0x12010044, 4), nullptr);
  mmapFails = false;
  mallocFails = true;
  EXPECT_EQ(memmap(0x12010000, 4), nullptr);
  unsigned int value = 0x55;
  EXPECT_EQ(himm(1, 0x12010000, &value), -1) << "and the process goes on";
  EXPECT_EQ(himm(0, 0x12010000, &value), -1);
  EXPECT_EQ(value, 0u);
  mallocFails = false;
  EXPECT_EQ(Log(),
            "memmap():open /dev/mem error!\n"
            "memmap():size can't be zero!\n"
            "memmap():mmap @ 0x12010000 error!\n"
            "memmap():malloc new node failed!\n"
            "memmap():malloc new node failed!\n"
            "memmap():malloc new node failed!\n");
  // None of them stands in the way of the next.
  EXPECT_NE(memmap(0x12010000, 4), nullptr);
  EXPECT_EQ(opens, 1);
  EXPECT_EQ(openFlags, 0x1002) << "read and write, synchronous";
}

TEST_F(DeviceMemory, OnlyTheFirstTouchOfAPageMapsIt) {
  unsigned int value = 0xFF;
  himm(1, 0x12140040, &value);
  value = 0xA5;
  himm(1, 0x121403FC, &value);
  EXPECT_THAT(mappings, testing::ElementsAre(Mapping{0x12140000, 4096}));
  EXPECT_EQ(Stored(0x12140040), 0xFFu);
  EXPECT_EQ(Stored(0x121403FC), 0xA5u);

  const uint32_t outside = 0x12345678;
  ASSERT_EQ(pwrite(memory, &outside, sizeof(outside), 0x12140400), static_cast<ssize_t>(sizeof(outside)));
  himm(0, 0x12140400, &value);
  EXPECT_EQ(value, outside);
  EXPECT_EQ(mappings.size(), 1u);
}

TEST_F(DeviceMemory, RangePastTheEndOfAMappingGetsItsOwn) {
  char* first = static_cast<char*>(memmap(0x10000100, 0x100));
  EXPECT_EQ(memmap(0x10000000, 4096), first - 0x100) << "the whole page was mapped";
  EXPECT_EQ(memmap(0x10000FFC, 4), first - 0x100 + 0xFFC);
  EXPECT_EQ(mappings.size(), 1u);
  // Begins inside and ends outside: two pages, from the start of the first.
  char* second = static_cast<char*>(memmap(0x10000FFC, 8));
  EXPECT_THAT(mappings, testing::ElementsAre(Mapping{0x10000000, 4096}, Mapping{0x10000000, 8192}));
  second[4] = 'x';
  EXPECT_EQ(Stored(0x10001000) & 0xFF, static_cast<uint32_t>('x'));
}
