// The array's way into life and back to rest, on the board.
#include "common/fpga_ctrl/array/bring_up.h"
#include "common/fpga_ctrl/device/device.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>

#include "common/fpga_ctrl/array/camera_sensors.h"
#include "common/fpga_ctrl/array/fpga_commands.h"
#include "common/fpga_ctrl/array/gpio.h"
#include "tests/support/on_board.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StrEq;
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

TEST_F(BringUp, OpensTheWholeDeviceIntoStandby) {
  board.clockChip.SetDate({.year = 2031, .month = 2, .day = 3, .hour = 4, .minute = 5, .second = 6});
  EXPECT_EQ(DeviceOpen(), 0);
  EXPECT_THAT(board.array.StateName(), StrEq("suspended"));
  EXPECT_EQ(ctrlSigs->stcSpiMode, 1);
  EXPECT_EQ(board.panel.Colour(), "blue");
  EXPECT_TRUE(std::filesystem::is_directory(board.disk.Directory() / "DCIM"));
  EXPECT_TRUE(SharedPinIsOutput());
  EXPECT_EQ(board.registers.Read(0x12010040), 0x14u);
  EXPECT_THAT(board.Log(), Not(HasSubstr("error")));
  EXPECT_THAT(board.Complaints(), IsEmpty());
}

TEST(BringUpBare, DeviceWithoutCoProcessorIsKnownByItsSilence) {
  twin::Board board{twin::BoardOptions{.coProcessor = false}};
  const auto ctrlSigs = std::make_unique<ControlSignals>();
  ctrlSigs->stcSpiMode = 1;
  OnBoard(board, [&] { EXPECT_EQ(LumoDeviceOpen(ctrlSigs.get()), 0); });
  EXPECT_EQ(ctrlSigs->stcSpiMode, 0);
}

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

TEST_F(BringUp, PowerCycleBringsBackAnArrayThatForgotItself) {
  OnBoard(board, [&] {
    ASSERT_EQ(LumoDeviceOpen(ctrlSigs.get()), 0);
    board.faults.Add("array.power silence");
    EXPECT_LT(LumoFpgaAwake(), 0);
    LumoFpgaReInit();
    EXPECT_EQ(LumoFpgaAwake(), 0);
    EXPECT_THAT(board.array.StateName(), StrEq("running"));
    LumoDeviceClose();
  });
  EXPECT_THAT(board.array.StateName(), StrEq("suspended"));
  EXPECT_EQ(board.faults.Fired(), 1u);
}

// --- sensors ---

// Reads registers of one camera after a set-up, and puts the array to rest.
std::vector<int> AfterSetUp(twin::Board& board, ControlSignals* ctrlSigs, BYTE layIdx,
                            const std::vector<int>& registers) {
  std::vector<int> values;
  OnBoard(board, [&] {
    ASSERT_EQ(LumoDeviceOpen(ctrlSigs), 0);
    ASSERT_EQ(LumoFpgaAwake(), 0);
    ASSERT_EQ(LumoInitAllCameras(), 0);
    for (const int address : registers) {
      values.push_back(LumoSpiCciRead(layIdx, 7, static_cast<uint16_t>(address), 500));
    }
    LumoFpgaStandby();
  });
  return values;
}

TEST_F(BringUp, SensorsGetTheirModeAndLayerZeroItsOwnOrientation) {
  const std::vector<int> registers = {0x3808, 0x3809, 0x380A, 0x380B, 0x380E, 0x380F, 0x3820, 0x3821, 0x4000};
  EXPECT_THAT(AfterSetUp(board, ctrlSigs.get(), 0, registers),
              ElementsAre(0x0C, 0xC0, 0x09, 0x90, 0x09, 0xA6, 0x06, 0x46, 0xF3));
  EXPECT_THAT(AfterSetUp(board, ctrlSigs.get(), 2, registers),
              ElementsAre(0x0C, 0xC0, 0x09, 0x90, 0x09, 0xA6, 0x00, 0x40, 0xF3));
}

TEST_F(BringUp, LensTypesTwelveAndThirteenHaveTheirOwnWhiteBalance) {
  const std::vector<int> registers = {0x5018, 0x5019, 0x501A, 0x501B, 0x501C, 0x501D, 0x501E};
  for (const int lensType : {11, 12, 13, 14}) {
    std::fstream conf(board.paths.Local() / "CameraConf_800", std::ios::in | std::ios::out | std::ios::binary);
    conf.seekp(2);
    conf.put(static_cast<char>(lensType));
    conf.put(0);
    conf.close();
    const auto values = AfterSetUp(board, ctrlSigs.get(), 1, registers);
    if (lensType == 12 || lensType == 13) {
      EXPECT_THAT(values, ElementsAre(0x1D, 0x7B, 0x10, 0x00, 0x14, 0xE5, 0x00)) << lensType;
    } else {
      EXPECT_THAT(values, ElementsAre(0x19, 0x31, 0x10, 0x00, 0x16, 0x0F, 0x00)) << lensType;
    }
  }
}

TEST_F(BringUp, TemperaturesAreReadByImageNumberAndTheArrayRestsAgain) {
  for (int camera = 0; camera < 25; camera++) board.array.SetTemperature(camera, 20 + camera);
  board.array.SetTemperature(9, -5);
  OnBoard(board, [&] {
    ASSERT_EQ(LumoDeviceOpen(ctrlSigs.get()), 0);
    ReadCameraTemperature(ctrlSigs.get());
  });
  for (size_t camera = 0; camera < 25; camera++) {
    EXPECT_EQ(ctrlSigs->camTemp[camera], camera == 9 ? -5 : static_cast<int>(20 + camera)) << camera;
  }
  EXPECT_THAT(board.array.StateName(), StrEq("suspended"));
  EXPECT_THAT(board.Complaints(), IsEmpty());

  // An array that does not wake leaves them.
  board.array.SetTemperature(0, 99);
  OnBoard(board, [&] {
    ASSERT_EQ(LumoDeviceOpen(ctrlSigs.get()), 0);
    board.faults.Add("layer.ready silence times=always");
    ReadCameraTemperature(ctrlSigs.get());
  });
  EXPECT_THAT(board.Log(), HasSubstr(": LumoFpgaAwake error\n"));
  EXPECT_EQ(ctrlSigs->camTemp[0], 20);
  EXPECT_THAT(board.array.StateName(), StrEq("suspended"));
}

}  // namespace
