// Each way in which the array does not come to life, on the board.
#include "common/fpga_ctrl/array/bring_up.h"
#include "common/fpga_ctrl/device/device.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>

#include "common/fpga_ctrl/array/gpio.h"
#include "common/fpga_ctrl/array/spi_link.h"
#include "tests/support/on_board.h"

using testing::HasSubstr;
using namespace std::chrono_literals;

namespace {

class BringUp : public testing::Test {
 protected:
  int DeviceOpen() {
    int result = -100;
    OnBoard(board, [&] { result = LumoDeviceOpen(ctrlSigs.get()); });
    return result;
  }
  // LumoFpgaInit on a board whose pins and bus are up.
  int Init() {
    int result = -100;
    OnBoard(board, [&] {
      LumoGpioInit();
      ASSERT_EQ(LumoSpiInit(), 0);
      const twin::Time from = board.Now();
      result = LumoFpgaInit();
      EXPECT_LT(board.Now() - from, 2s);
    });
    return result;
  }
  bool SharedPinIsOutput() { return (board.registers.Read(0x12145400) & 0x80) != 0; }

  twin::Board board{twin::BoardOptions{}};
  std::unique_ptr<ControlSignals> ctrlSigs = std::make_unique<ControlSignals>();
};

TEST_F(BringUp, UnusableDiskIsSignalledBeforeTheArrayIsTouched) {
  board.disk.SetReadOnly(true);
  std::filesystem::remove_all(board.disk.Directory() / "DCIM");
  EXPECT_EQ(DeviceOpen(), -1);
  EXPECT_THAT(board.Log(), HasSubstr(": mkdir error\n"));
  EXPECT_EQ(board.array.Transfers(), 0u);
  // Low in rounds 0, 2 and 4 of 100 ms.
  ASSERT_EQ(board.panel.BuzzerPulses().size(), 3u);
  for (const twin::Pulse& pulse : board.panel.BuzzerPulses()) EXPECT_NEAR(pulse.length / 1ms, 100, 1);
}

TEST_F(BringUp, BusAndArrayFailuresHaveTheirCodes) {
  board.descriptors.RemoveNode("/dev/spidev0.0");
  EXPECT_EQ(DeviceOpen(), -2);
  EXPECT_THAT(board.Log(), HasSubstr(": LumoSpiInit error\n"));
  board.descriptors.AddNode("/dev/spidev0.0", board.array.Spi());
  board.faults.Add("config.done silence");
  EXPECT_EQ(DeviceOpen(), -3);
  EXPECT_THAT(board.Log(), HasSubstr(": LumoFpgaInit error\n"));
  // Calibration comes last, and a file that is short is taken.
  std::filesystem::remove(board.paths.Local() / "CameraConf_800");
  EXPECT_EQ(DeviceOpen(), -4);
  EXPECT_THAT(board.Log(), HasSubstr(": Read CameraConf_800 error\n"));
  std::ofstream(board.paths.Local() / "CameraConf_800") << "short";
  EXPECT_EQ(DeviceOpen(), 0);
}

TEST_F(BringUp, EachWayOfFailingToConfigureIsNamedAndUndone) {
  const auto expectFailure = [&](const char* fault, int result, const std::string& message) {
    SCOPED_TRACE(fault);
    const size_t from = board.Log().size(), blocks = board.heap.Blocks();
    board.faults.Clear();
    board.faults.Add(fault);
    EXPECT_EQ(Init(), result);
    EXPECT_GE(board.faults.Fired(), 1u);
    EXPECT_THAT(board.Log().substr(from), HasSubstr(message));
    EXPECT_EQ(board.Log().find(": LumoSpiFpgaConf error\n", from) != std::string::npos, result == -1);
    EXPECT_TRUE(SharedPinIsOutput());
    EXPECT_EQ(board.heap.Blocks(), blocks);
    EXPECT_TRUE(board.gpio.At(6, 2).Level());  // suspended
  };
  expectFailure("config.done silence", -1, "LumoGpioGetFpgaDone error, rlt = 0\n");
  expectFailure("config.stream value=4000000", -1, "LumoGpioGetFpgaDone error, rlt = 0\n");
  expectFailure("gpio.stuck value=0 detail=47 times=always", -1, "LumoGpioGetFpgaInitD error, rlt = 0\n");
  expectFailure("spi.message fail=EIO detail=4", -1, "ioctl SPI_IOC_MESSAGE error, bufSize = 524288\n");
  expectFailure("spi.message fail=EIO detail=4 nth=2", -1, "ioctl SPI_IOC_MESSAGE error, bufSize = 173852\n");
  expectFailure("heap.malloc fail detail=1048576", -1, "malloc error, size = 1048576\n");
  expectFailure("heap.malloc fail detail=1048576 nth=2", -1, "malloc error, size = 1048576\n");
  expectFailure("layer.ready silence times=always detail=2", -3, "LumoSpiIsReady error, rlt = 0\n");
}

}  // namespace
