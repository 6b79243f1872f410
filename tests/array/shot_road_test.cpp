// The order of a shot on the bus, against layers that answer as the test says.
#include "common/fpga_ctrl/capture/capture_sequencer.h"
#include "tests/array/road_bench.h"

using namespace std::chrono_literals;

namespace {

// A shot, what its layers answer by pass of the sampling loop, and what it must come to.
struct Scene {
  const char* what;
  BYTE mode = 0, half = 0;
  int manualUs = 0;
  int stored = -1;                // exposure of the first half
  std::vector<int> averages;      // by count; each pass finds one more, until the last
  int exposure = 0;               // that the layers report
  int setAt = 0;                  // pass that decides; 0: none
  int passes = 0;                 // until the layers have taken all
  std::vector<int> shutter = {};  // of the six sets, sixteenths of a row at unity gain
  int base = -1;                  // exposure kept for a second half
  int columns = 1944;
  std::vector<int> rowErrors = {};  // of layer 0, by attempt; -1: cannot be read
  int result = 0;
};

struct ShotRoad : RoadBench {
  Scene scene;
  int pass = 0, attempt = 0;
  ShotRoad() {
    board.gpio.At(0, 2).OnChange([this](bool high) { attempt += high ? 1 : 0; });
  }
  ~ShotRoad() override { board.PowerOff(); }  // the pins fall, and are still listened to
  std::array<int, 6> shutterLines{}, totalLines{}, gain{};
  int totalColumns = -1, vertexX = -1, vertexY = -1, finalExposure = -1;

  int Count(int at) const { return std::min<int>(at, static_cast<int>(scene.averages.size()) - 1); }
  int Average(int at) const { return scene.averages[static_cast<size_t>(Count(at))]; }
  // The FIFO is full in each third pass and cannot be asked in each fifth.
  static int Full(int at) { return at % 5 == 0 ? -1 : at % 3 == 0 ? 1 : 0; }
  // The layers take the last exposure one behind the other. In the second pass one cannot be asked.
  int Taken(int layer, int at) const { return at == 2 && layer == 2 ? -1 : at + 2 - layer >= scene.passes ? 1 : 0; }
  int RowErrors(int at) const {
    return static_cast<size_t>(at) < scene.rowErrors.size() ? scene.rowErrors[static_cast<size_t>(at)] : 0;
  }

  int Answer(int layer, int code) override {
    switch (code) {
      case 0x41: return layer == 1 ? Full(pass) : 0;
      case 0x43: return Taken(layer, pass);
      case 0x44: return 1;
      case 0x49: return layer == 0 ? RowErrors(attempt) : 0;
      case 0x4D: return Count(++pass);
      case 0x4E: return Average(pass);
      case 0x50: return scene.exposure >> 16;
      case 0x51: return scene.exposure >> 8 & 0xFF;
      case 0x52: return scene.exposure & 0xFF;
      default: return RoadBench::Answer(layer, code);
    }
  }
  int Take(const Scene& wanted) {
    scene = wanted;
    pass = attempt = 0;
    shutterLines.fill(-1);
    vertexX = vertexY = -1;
    finalExposure = scene.stored;
    ctrlSigs->usbMode = scene.mode == 1 ? kUsbSerial : 0;
    return LumoCapture(ctrlSigs.get(), &totalColumns, shutterLines.data(), totalLines.data(), gain.data(), &vertexX,
                       &vertexY, 0, &finalExposure, scene.half, scene.mode, 0, 0, 0, scene.manualUs, 100);
  }

  // --- the road ---
  int Scaled(int delay) const { return scene.columns * delay / 1944; }
  void Step(Road& road) const {
    const auto queued = [&](int code, int h = 0) { road.Write(3, 15, code, h); };
    road.Delay(3, 15, 0);
    queued(0xE3);
    road.Delay(3, 15, Scaled(0x17BB));
    queued(0xE2);
    int byte = 0;
    for (const int address : {0x3500, 0x3501, 0x3502, 0x380E, 0x380F, 0x3508, 0x3509}) {
      queued(0xB0, byte++ << 3);
      road.Write(3, 15, 0xF1, address >> 8, address & 0xFF);
    }
    queued(0xB0, 7 << 3);
  }
  void Prepare(Road& road) const {
    road.Awake();
    road.FifoReset();
    if (scene.mode == 1) road.Position();
    road.SetUp();
    const int three[] = {0x77, 0x56, 0x55}, six[] = {0xAA, 0x89, 0x88};
    for (int layer = 0; layer < 3; layer++) road.Write(layer, 15, 0x17, scene.mode < 2 ? three[layer] : six[layer]);
    road.Write(3, 0, 0xDD, 0, 0x20);
    road.Write(3, 0, 0xD2);
    road.Write(3, 0, 0x16, scene.columns >> 8);
    road.Sensor(0x380C, scene.columns >> 8);
    road.Sensor(0x380D, scene.columns & 0xFF);
    const int start[] = {0x350000, 0x350102, 0x350200, 0x380E09, 0x380FA6, 0x350800, 0x350980};  // register and value
    for (const int word : start) road.Sensor(word >> 8, word & 0xFF);
    road.Delay(0, 15, Scaled(0x100));
    road.Delay(1, 0, Scaled(0x54E));
    road.Delay(1, 7, Scaled(0x99C));
    road.Delay(2, 15, Scaled(0x99C));
    road.Write(3, 15, 0xE2);
    road.Sensor(0x0100, 1);
    for (const int edge : {0xE4, 0xE3, 0xE3}) {
      road.Delay(3, 15, 0);
      road.Write(3, 15, edge);
    }
    road.Delay(3, 15, Scaled(0x50));
    road.Write(3, 15, 0xE2);
    road.Write(3, 0, 0xD0);
    road.Write(3, 0, 0xD1);
    for (int i = 0; i < 12; i++) Step(road);
  }
  void Sets(Road& road) const {
    const bool measures = scene.mode % 2 == 0 && scene.half != 2;
    for (const int code : {0x52, 0x51, 0x50}) {
      if (measures) road.Read(1, code, scene.exposure >> (0x52 - code) * 8 & 0xFF);
    }
    Road told;
    for (int i = 0; i < 6; i++) {
      const int shutter = scene.shutter[static_cast<size_t>(i)], rows = shutter / 16;
      const int frame = rows < 2465 ? 2470 : rows + 6;
      int byte = 0;
      for (const int value : {shutter >> 16, shutter >> 8 & 0xFF, shutter & 0xFF, frame >> 8, frame & 0xFF, 0, 0x80,
                              i < (scene.mode < 2 ? 2 : 5) ? 0 : 0xFF}) {
        road.Write(1, 0, 0x15, (i + 1) << 5 | byte++ << 2, value);
      }
      told.Add("log - \"shutter%d:%d  total%d:%d  gain%d:16\\n\"", i, rows, i, frame, i);
    }
    road.Add("log - \"column:%d\\n\"", scene.columns);
    road.lines.insert(road.lines.end(), told.lines.begin(), told.lines.end());
  }
  void Attempt(Road& road, int number, int firstPass) const {
    Prepare(road);
    // Only the first attempt finds passes to make: after it the layers have taken all.
    for (int at = firstPass;; at++) {
      road.Read(1, 0x4D, Count(at));
      road.Read(1, 0x4E, Average(at));
      if (at == scene.setAt || (number > 0 && scene.setAt > 0)) Sets(road);
      for (int layer = 0; layer < 3; layer++) road.Read(layer, 0x43, Taken(layer, at));
      if (at >= scene.passes) break;
      road.Read(0, 0x41, 0);
      road.Read(1, 0x41, Full(at));
      road.Read(2, 0x41, 0);
      if (Full(at) == 0) Step(road);
    }
    for (int layer = 2; layer >= 0; layer--) {
      road.Read(layer, 0x49, layer == 0 ? RowErrors(number) : 0);
      road.Read(layer, 0x4A, 0);
    }
  }
  void Finish(Road& road) const {
    road.FifoReset();
    road.ReadAll(0x44, 1);
    road.Temperatures();
    road.Write(3, 0, 0xE6);
    road.Write(3, 0, 0xE6);
    road.Write(2, 0, 0xD9);
    road.Write(1, 0, 0xDA);
    road.Write(1, 0, 0xD9);
    road.Write(0, 0, 0xDA);
    road.Write(0, 0, 0xD8);
  }
};

const std::vector<int> kThree = {700, 2800, 11200, 11200, 11200, 11200}, kSix = {350, 700, 1400, 2800, 5600, 11200};
const std::vector<int> kHand = {1234, 4938, 19752, 19752, 19752, 19752};
const std::vector<int> kStretched = {0x3F80, 0x7F00, 0xFE00, 0x1FC00, 0x3F800, 0x7F000};

TEST_F(ShotRoad, InEachMode) {
  std::vector<int> restless(1, 0);
  for (int i = 1; i < 40; i++) restless.push_back((i / 2) % 2 == 0 ? 20 : 200);  // any two, two apart, disagree
  const Scene scenes[] = {// The fourth measures 48 against 40, just 6/5, which is too much; the fifth 47 against 40.
                          {"settled", 0, 0, 0, -1, {0, 200, 40, 40, 48, 47, 47}, 4700, 5, 8, kThree, 2800},
                          {"falling", 0, 0, 0, -1, {0, 200, 48, 47, 40, 40, 40}, 4000, 5, 7, kThree, 2800},
                          {"three are too few", 0, 0, 0, -1, {0, 28, 28, 28, 28}, 2800, 4, 6, kThree, 2800},
                          {"never settled", 2, 0, 0, -1, restless, 2000, 32, 34, kSix, 2800},
                          // Its own light would decide otherwise.
                          {"second half", 0, 2, 0, 2800, {0, 90, 90, 90, 90, 90}, 4700, 1, 6, kThree, 2800},
                          {"by hand", 1, 0, 10000, 777, {0, 99}, 4700, 1, 4, kHand, 777},
                          {"stretched", 3, 0, 8'000'000, 777, {0, 99}, 4700, 1, 4, kStretched, 777, 59055},
                          {"done before it was set", 0, 0, 0, -1, {0, 28, 28, 28}, 2800, 0, 8},
                          {"rows unread", 0, 0, 0, -1, {0, 28, 28, 28, 28}, 2800, 4, 6, kThree, 2800, 1944, {-1}, -1}};
  for (const Scene& one : scenes) {
    SCOPED_TRACE(one.what);
    const auto made = RoadOf([&] { EXPECT_EQ(Take(one), one.result); });
    Road road;
    Attempt(road, 0, 1);
    Finish(road);
    EXPECT_TRUE(SameRoad(road.lines, made));
    EXPECT_EQ(totalColumns, 2 * one.columns);
    EXPECT_EQ(finalExposure, one.base);
    EXPECT_EQ(vertexX, one.setAt > 0 ? 0 : -1);
    for (size_t i = 0; i < 6; i++) EXPECT_EQ(shutterLines[i], one.setAt > 0 ? one.shutter[i] / 16 : -1);
  }
}

TEST_F(ShotRoad, BrokenRowsAreTriedThreeTimesEachAfterAPowerCycle) {
  for (const size_t broken : {1, 2, 3}) {
    Scene one = {"broken rows", 1, 0, 10000, -1, {0, 99}, 0, 1, 4, kHand};
    one.rowErrors.assign(broken, 3);
    Road road;
    const auto made = RoadOf([&] { EXPECT_EQ(Take(one), broken < 3 ? 0 : -2); });
    for (int number = 0; number < 3; number++) {
      Attempt(road, number, number == 0 ? 1 : 4 + number);
      if (RowErrors(number) == 0) {
        Finish(road);
        break;
      }
      road.ReadAll(0x43, 1);
      road.Log("LumoCapture", "Retry hasCapLoadStart Finish0:1  Finish1:1  Finish2:1 Hsync0:3  Hsync1:0  Hsync2:0 ");
      road.ReInit(number > 0);
    }
    if (broken == 3) {
      road.Log("LumoCapture", "LumoSpiIsCapConfFinish error");
      road.Sleep(100'000);
      road.Standby();
    }
    EXPECT_TRUE(SameRoad(road.lines, made)) << broken;
  }
}

// From the first look at what is awaited to the line that gives it up, in whole passes of up to 10 ms.
TEST_F(ShotRoad, GivesUpAfterItsLimits) {
  struct Case {
    BYTE mode;
    bool saves;
    int milliseconds;
  };
  for (const Case& one :
       {Case{0, false, 4000}, {0, true, 5000}, {2, false, 7000}, {4, true, 8000}, {1, false, 5440}, {1, true, 5480}}) {
    tap.answer = [&](int layer, int code) {
      return code == 0x44 ? 0 : code == 0x41 ? 1 : ShotRoad::Answer(layer, code);
    };
    OnBoard(board, [&] {
      LumoGpioInit();
      ASSERT_EQ(LumoSpiInit(), 0);
      twin::Transcript transcript(board.kernel, "spi log");
      tap.cost = 1ms;
      const Scene taken = {"", one.mode, 0, 10000, -1, {0, 99}, 4700, 0, one.saves ? 1 : 1 << 30};
      EXPECT_EQ(Take(taken), one.saves ? -3 : -2);
      twin::Time from{0}, told{0};
      for (const auto& line : transcript.Lines()) {
        const bool begins = line.text == (one.saves ? "spi read 0 44 = 00" : "spi read 1 4D = 01");
        if (begins && from == twin::Time{0}) from = line.at;
        if (line.text.starts_with("log LumoCapture \"Retry") && told == twin::Time{0}) told = line.at;
      }
      EXPECT_NEAR((told - from) / 1ms, one.milliseconds, 20) << int{one.mode};
      EXPECT_EQ(transcript.Lines().back().text, "spi 3/0 E6 00 00 00");
    });
  }
}

TEST_F(ShotRoad, LoadsWaitForTheOneBeforeAndStepAlongTheChain) {
  int polls = 0;
  tap.answer = [&](int layer, int code) {
    if (code != 0x48) return 0;
    polls += layer == 0 ? 1 : 0;
    return polls == 1 && layer == 2 ? 1 : polls == 2 && layer == 1 ? -1 : 0;  // one runs; one cannot be read
  };
  struct Load {
    int layer, slot;
    std::vector<std::array<int, 2>> switches;  // layer and code
  };
  const Load walk[] = {{0, 48, {}},
                       {1, 0, {{0, 0xDB}, {1, 0xD8}}},
                       {1, 42, {}},
                       {2, 5, {{1, 0xDB}, {2, 0xD8}}},
                       {1, 6, {{2, 0xD9}, {1, 0xDA}}},
                       {0, 0, {{1, 0xD9}, {0, 0xDA}}},
                       {2, 1, {}},  // no such step
                       {0, 2, {}}};
  Road road;
  for (const auto& [second, third] : {std::pair{0, 1}, {-1, 0}}) {
    road.Read(0, 0x48, 0);
    road.Read(1, 0x48, second);
    road.Read(2, 0x48, third);
    road.Sleep(1000);
  }
  for (const Load& load : walk) {
    road.ReadAll(0x48, 0);
    for (const auto& [layer, code] : load.switches) road.Write(layer, 0, code);
    road.Write(load.layer, 0, 0xD6, load.slot);
  }
  road.Sleep(100'000);
  road.Standby();
  EXPECT_TRUE(SameRoad(road.lines, RoadOf([&] {
                         for (const Load& load : walk)
                           LumoLoadNew(static_cast<BYTE>(load.layer), static_cast<BYTE>(load.slot));
                         LumoCaptureEnd();
                       })));
}

}  // namespace
