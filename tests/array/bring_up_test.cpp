// Each way in which the array does not come to life, on the board: its code, its words, and what it leaves.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>

#include "common/fpga_ctrl/device/device.h"
#include "tests/support/on_board.h"

using namespace std::chrono_literals;

namespace {

struct BringUp : testing::Test {
  void ExpectOpen(int result, const std::string& said) {
    SCOPED_TRACE(said);
    const size_t from = board.Log().size(), blocks = board.heap.Blocks();
    const twin::Time begin = board.Now();
    OnBoard(board, [&] { EXPECT_EQ(LumoDeviceOpen(ctrlSigs.get()), result); });
    EXPECT_LT(board.Now() - begin, 10s);
    EXPECT_THAT(board.Log().substr(from), testing::HasSubstr(said));
    EXPECT_EQ(board.heap.Blocks(), blocks);
  }

  twin::Board board{twin::BoardOptions{}};
  std::unique_ptr<ControlSignals> ctrlSigs = std::make_unique<ControlSignals>();
};

TEST_F(BringUp, UnusableDiskIsSignalledBeforeTheArrayIsTouched) {
  board.disk.SetReadOnly(true);
  std::filesystem::remove_all(board.disk.Directory() / "DCIM");
  ExpectOpen(-1, ": mkdir error\n");
  EXPECT_EQ(board.array.Transfers(), 0u);
  // Low in rounds 0, 2 and 4 of 100 ms.
  ASSERT_EQ(board.panel.BuzzerPulses().size(), 3u);
  for (const twin::Pulse& pulse : board.panel.BuzzerPulses()) EXPECT_NEAR(pulse.length / 1ms, 100, 1);
}

TEST_F(BringUp, EachFailureHasItsCodeAndItsWordsAndIsUndone) {
  board.descriptors.RemoveNode("/dev/spidev0.0");
  ExpectOpen(-2, ": LumoSpiInit error\n");
  board.descriptors.AddNode("/dev/spidev0.0", board.array.Spi());
  for (const auto& [fault, message] :
       {std::pair{"config.done silence", "LumoGpioGetFpgaDone error, rlt = 0"},
        {"config.stream value=4000000", "LumoGpioGetFpgaDone error, rlt = 0"},
        {"gpio.stuck value=0 detail=47 times=always", "LumoGpioGetFpgaInitD error, rlt = 0"},
        {"spi.message fail=EIO detail=4", "ioctl SPI_IOC_MESSAGE error, bufSize = 524288"},
        {"spi.message fail=EIO detail=4 nth=2", "MESSAGE error, bufSize = 173852"},
        {"heap.malloc fail detail=1048576", "malloc error, size = 1048576"},
        {"heap.malloc fail detail=1048576 nth=2", "malloc error, size = 1048576"},
        {"layer.ready silence detail=2 times=always", "LumoSpiIsReady error, rlt = 0"}}) {
    board.faults.Clear();
    board.faults.Add(fault);
    ExpectOpen(-3, message);
    EXPECT_TRUE(board.registers.Read(0x12145400) & 0x80) << "the shared pin is no output";
    EXPECT_TRUE(board.gpio.At(6, 2).Level()) << "not suspended";
  }
  EXPECT_EQ(board.LogCount(": LumoSpiFpgaConf error\n"), 7u) << "all but the last";
  EXPECT_EQ(board.LogCount(": LumoFpgaInit error\n"), 8u);
  // Calibration comes last, and a file that is short is taken.
  board.faults.Clear();
  std::filesystem::remove(board.paths.Local() / "CameraConf_800");
  ExpectOpen(-4, ": Read CameraConf_800 error\n");
  std::ofstream(board.paths.Local() / "CameraConf_800") << "short";
  ExpectOpen(0, "");
}

}  // namespace
