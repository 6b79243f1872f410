// The array's way into life, to its sensors and back to rest, call by call.
#include <fstream>
#include <map>

#include "common/fpga_ctrl/array/bring_up.h"
#include "common/fpga_ctrl/array/camera_sensors.h"
#include "common/fpga_ctrl/array/fpga_commands.h"
#include "common/fpga_ctrl/array/gps_compass.h"
#include "common/fpga_ctrl/capture/capture_sequencer.h"
#include "common/fpga_ctrl/device/clock.h"
#include "common/fpga_ctrl/device/device.h"
#include "tests/array/road_bench.h"
#include "tests/support/stc_frame.h"

using namespace std::chrono_literals;

namespace {

using ArrayRoad = RoadBench;

// Function, pad, clock and direction registers, then the outputs' rest.
void Pins(Road& road) {
  road.Reg(0x12040000, 1);
  for (const uint32_t pin :
       {0x10, 0x14, 0x8C, 0x90, 0x94, 0x98, 0x9C, 0xA0, 0xC8, 0xCC, 0xD0, 0xD8, 0xDC, 0xE0, 0xE4}) {
    road.Reg(0x12040000 + pin, 0);
  }
  std::map<uint32_t, uint32_t> pads;
  for (const uint32_t pad : {0x00, 0x7C, 0x80}) pads[pad] = 0x100;
  for (const uint32_t pad : {0x88, 0x90, 0x98, 0x9C, 0xA0}) pads[pad] = 0x110;
  for (const uint32_t pad : {0x14, 0xDC, 0xE0, 0xE8, 0xEC, 0xF0, 0xF4}) pads[pad] = 0x130;
  for (const auto& [pad, value] : pads) road.Reg(0x12040800 + pad, value);
  road.Reg(0x12010040, 4);
  for (const auto& [bank, outputs] : {std::pair{2, 0x02}, {5, 0x00}, {6, 0x05}, {0, 0xF6}}) {
    const uint32_t direction = 0x12140400 + static_cast<uint32_t>(bank) * 0x1000;
    const uint32_t before = bank == 2 ? 0x81 : 0;  // what stands there is kept
    road.RegIs(direction, before);
    road.Reg(direction, (before & 0x80) | static_cast<uint32_t>(outputs));
  }
  for (const uint32_t pin :
       {0x12140010, 0x12146004, 0x12146010, 0x12142008, 0x12140008, 0x12140040, 0x12140080, 0x12140100, 0x12140200}) {
    road.Pin(pin, true);
  }
}

TEST_F(ArrayRoad, TheDeviceOpensAndCloses) {
  std::fstream(board.paths.Local() / "CameraConf_800", std::ios::in | std::ios::out | std::ios::binary)
      .seekp(2)
      .put(12);
  ctrlSigs->stcSpiMode = 1;
  Road road;
  Pins(road);
  for (int exchange = 0; exchange < 2; exchange++)
    std::ranges::copy(StcFrame(0xE01F, 0xFFFF), std::back_inserter(road.lines));
  road.Add("log - \"LumoStcSpiReadWrite:0\\n\"");
  for (const auto& [pin, high] : {std::pair{0x12140200u, true}, {0x12140080u, false}, {0x12140100u, false}}) {
    road.Pin(pin, high);  // a roomy disk is blue
  }
  road.Add("file access \"/mnt/udisk/DCIM/\" 2 failed");
  road.Add("file mkdir \"/mnt/udisk/DCIM/\" 777");
  for (const uint32_t pin : {0x7C, 0x80, 0x84, 0x88}) road.Reg(0x12040000 + pin, 1);
  for (const char* setting : {"open 0", "0x40016B01 0", "0x40016B03 16", "0x40046B04 25000000"}) {
    road.Add("spi %s", setting);
  }
  road.Init(false);
  for (const char* step : {"open \"CameraConf_800\" rb", "read 800", "close"}) road.Add("file %s", step);
  road.SetUp(12);
  road.Standby();
  std::vector<std::string> made;
  OnBoard(board, [&] {
    board.registers.Write(0x12142400, 0x81);
    const size_t open = board.descriptors.OpenCount();
    const twin::Transcript transcript(board.kernel, "reg delay spi sleep cipher log file");
    EXPECT_EQ(LumoDeviceOpen(ctrlSigs.get()), 0);
    EXPECT_EQ(LumoInitAllCameras(), 0);
    LumoDeviceClose();
    made = transcript.Texts();
    EXPECT_EQ(board.descriptors.OpenCount(), open);
  });
  EXPECT_TRUE(SameRoad(road.lines, made));
  EXPECT_EQ(ctrlSigs->stcSpiMode, 0);
}

TEST_F(ArrayRoad, MuteKeepsTheBuzzerFromSoundingAndNothingElse) {
  Road road;
  for (const bool high : {true, false, true}) road.Pin(0x12140008, high);
  EXPECT_TRUE(SameRoad(road.lines, RoadOf([] {
                         for (const BYTE mute : {1, 0}) LumoGpioSetBuzzerOff(0, mute), LumoGpioSetBuzzerOff(1, mute);
                       })));
}

TEST_F(ArrayRoad, WakesRestsAndComesBackFromAPowerCycle) {
  Road road;
  road.Awake();
  road.Standby();
  road.Init(false);
  road.ReInit(true);
  road.Standby();
  EXPECT_TRUE(SameRoad(road.lines, RoadOf([] {
                         EXPECT_EQ(LumoFpgaAwake(), 0);
                         LumoFpgaStandby();
                         EXPECT_EQ(LumoFpgaInit(), 0);
                         LumoFpgaReInit();
                         LumoFpgaStandby();
                       })));
}

TEST_F(ArrayRoad, WrongChipIdsAreAskedForTwiceAndTold) {
  int asked = 0;
  tap.answer = [&](int layer, int code) {
    const bool odd = tap.askedLayer == 0 && tap.askedCamera == 8 && (code == 0x45 || code == 0x46);
    return odd && asked++ != 1 ? 0x77 : Answer(layer, code);  // its first byte once, its second twice
  };
  Road road;
  for (const char* what : {"0x300B(0x88) error", "0x300C(0x65) error", "0x300C(0x65) error again"}) {
    road.Log("LumoFpgaInit", std::string("LumoSpiCciRead ") + what + ", layIdx = 0, camIdx = 8, readReg = 119");
  }
  EXPECT_TRUE(SameRoad(road.lines, RoadOf([] { EXPECT_EQ(LumoFpgaInit(), 0); }, "log")));
  EXPECT_EQ(asked, 4);
}

TEST_F(ArrayRoad, InitIsAwaitedForAHundredMilliseconds) {
  board.faults.Clear();
  board.faults.Add("gpio.stuck value=0 detail=47 times=always");
  OnBoard(board, [&] {
    LumoGpioInit();
    board.kernel.Spend(1ms - board.Now() % 1ms);
    const twin::Transcript looks(board.kernel, "sleep");
    const twin::Time from = board.Now();
    const BYTE stream = 0;
    EXPECT_EQ(LumoSpiFpgaConf(&stream, 1), -1);
    EXPECT_EQ((board.Now() - from) / 1ms, 100);
    EXPECT_THAT(looks.Texts(), testing::AllOf(testing::Contains("sleep 10"), testing::Each("sleep 10")));
  });
}

TEST_F(ArrayRoad, SetsUpTheSensorsByLens) {
  for (const int lensType : {11, 12, 13, 14}) {
    Road road;
    road.SetUp(lensType);
    EXPECT_TRUE(SameRoad(road.lines, RoadOf([lensType] {
                           LumoSetSensorTableLens(lensType);
                           EXPECT_EQ(LumoInitAllCameras(), 0);
                         })));
  }
}

TEST_F(ArrayRoad, ReadsTemperaturesOutOfStandby) {
  Road road;
  road.Awake();
  road.FifoReset();
  road.Ready();
  road.Table("reg20_table_a.bin", 0);
  road.Table("reg20_table_b.bin", 0);
  road.Sensor(0x0100, 1);
  road.Ready();
  road.Sleep(100'000);
  road.Temperatures();
  road.Write(3, 0, 0xE6);
  road.Write(3, 0, 0xE6);
  road.Standby();
  EXPECT_TRUE(SameRoad(road.lines, RoadOf([this] { ReadCameraTemperature(ctrlSigs.get()); })));
  for (size_t image = 0; image < 25; image++) EXPECT_EQ(ctrlSigs->camTemp[image], static_cast<int>(10 + image));
}

TEST_F(ArrayRoad, ReadsPositionAndHeadingAndStartsTheCompassCalibration) {
  ctrlSigs->usbMode = kUsbSerial;
  int first = 0;  // what the module's first byte is
  tap.answer = [&](int layer, int code) {
    return code == 0x45 && tap.askedRegister == 0xFF00 ? first : Answer(layer, code);
  };
  Road road;
  const auto wake = [&] { road.Awake(), road.FifoReset(); };
  wake();
  road.Position();
  road.Standby();
  for (const int end : {0x0F, 0x0E}) {
    wake();
    road.SensorIs(0, 0, 0xFF00, end == 0x0F ? 0 : 5);
    road.Write(0, 0, 0xF0, 0xFF, end, 0xFF);
    road.Standby();
  }
  EXPECT_TRUE(SameRoad(road.lines, RoadOf([&] {
                         EXPECT_EQ(LumoGetGpsState(ctrlSigs.get()), 0);
                         EXPECT_EQ(LumoCompassCalibrate(0), 0);
                         first = 5;
                         EXPECT_EQ(LumoCompassCalibrate(7), -2);  // an answer that is not 0
                       })));
}

// Layers that never become ready, or no more: every step gives up with the array at rest.
TEST_F(ArrayRoad, WhatFindsNoReadyLayersSaysSoAndRests) {
  struct Case {
    int readyPolls;  // that still succeed
    std::function<int()> call;
    int result;
    std::vector<std::pair<const char*, const char*>> log;  // behind the wait's own line
  };
  const auto read = [this] { return ReadCameraTemperature(ctrlSigs.get()), 0; };
  const auto inShot = [this] { return GetCameraTemperature(ctrlSigs.get()), 0; };
  const auto prepare = [this] { return LumoCapturePrepare(ctrlSigs.get(), 0x20, 1, 0, 1944); };
  const auto position = [] {
    const auto module = std::make_unique<ControlSignals>();
    module->usbMode = kUsbSerial;
    return LumoGetGpsState(module.get());
  };
  const char *wait = "LumoSpiWaitReady error", *awake = "LumoFpgaAwake error";
  const Case cases[] = {
      {0, LumoFpgaInit, -3, {{"LumoFpgaInit", wait}}},
      {0, LumoInitAllCameras, -1, {{"LumoInitAllCameras", wait}}},
      {1, LumoInitAllCameras, -3, {{"LumoInitAllCameras", wait}}},
      {0, read, 0, {{"ReadCameraTemperature", awake}}},
      {1, read, 0, {{"ReadCameraTemperature", wait}}},
      {2, read, 0, {{"ReadCameraTemperature", wait}}},
      {0, inShot, 0, {{"GetCameraTemperature", wait}}},
      {0, prepare, -1, {{"LumoCapturePrepare", awake}}},
      {1, prepare, -1, {{"LumoInitAllCameras", wait}, {"LumoCapturePrepare", "LumoInitAllCameras error"}}},
      {0, position, -2, {{"LumoGetGpsState", awake}}},
      {0, [] { return LumoCompassCalibrate(1); }, -1, {{"LumoCompassCalibrate", awake}}},
  };
  ctrlSigs->camTemp[0] = 99;
  for (const Case& one : cases) {
    int polls = 0;
    tap.answer = [&](int layer, int code) {
      if (code == 0x40) return layer == 2 && polls++ >= one.readyPolls ? 0 : 1;
      return Answer(layer, code);
    };
    Road road;
    road.Log("LumoSpiWaitReady", "LumoSpiIsReady error, rlt = 0");
    for (const auto& [function, text] : one.log) road.Log(function, text);
    EXPECT_TRUE(SameRoad(road.lines, RoadOf([&] { EXPECT_EQ(one.call(), one.result); }, "log")));
    EXPECT_TRUE(board.gpio.At(6, 2).Level()) << one.log[0].first << ": not suspended";
  }
  EXPECT_EQ(ctrlSigs->camTemp[0], 99);
}

}  // namespace
