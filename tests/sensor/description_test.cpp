// The sensor description, asked as the ISP asks it: which mode it takes, what it makes of rates, exposures and gains,
// and what it refuses. What it does in a start, the road of the media set-up tells.
#include <gmock/gmock.h>

#include <cmath>
#include <map>

#include "sensor/defaults.h"
#include "sensor/exposure.h"
#include "sensor/gains.h"
#include "sensor/hv_sync.h"
#include "sensor/modes.h"
#include "sensor/registers.h"
#include "sensor/registration.h"
#include "sensor/start.h"
#include "tests/support/on_board.h"

using namespace std::chrono_literals;
using ::testing::Each;
using ::testing::ElementsAre;
using twin::FrameTiming;

namespace {

class Description : public ::testing::Test {
 protected:
  void On(const std::function<void()>& body) {
    OnBoard(board, [&] {
      sensor_global_init();
      body();
    });
  }
  // What has been printed since the last time.
  std::string Printed() {
    const std::string log = board.Log();
    const std::string text = log.substr(std::min(seen, log.size()));
    seen = log.size();
    return text;
  }
  int LinesPrinted() {
    const std::string printed = Printed();
    return static_cast<int>(std::count(printed.begin(), printed.end(), '\n'));
  }
  static HI_S32 Want(HI_U32 width, HI_U32 height) {
    const ISP_CMOS_SENSOR_IMAGE_MODE_S picture = {width, height, 30};
    return cmos_set_image_mode(&picture);
  }
  uint32_t FramePeriod() { return board.registers.Read(FrameTiming::kFramePeriod); }

  twin::Board board{twin::BoardOptions{}};
  size_t seen = 0;
};

TEST_F(Description, TakesItsModeFromThePictureAndWantsAStartOnlyForAnother) {
  struct Row {
    HI_U32 width, height;
    HI_S32 answer;
    int mode;
  };
  const auto ask = [](const std::vector<Row>& rows) {
    for (const Row& row : rows) {
      EXPECT_EQ(Want(row.width, row.height), row.answer) << row.width << " " << row.height;
      EXPECT_EQ(gu8SensorImageMode, row.mode);
      EXPECT_EQ(cmos_set_wdr_mode(0), 0);
      EXPECT_EQ(gu32FullLinesStd, row.mode == 0 ? 3120u : 2200u);
    }
  };
  On([&] {
    EXPECT_EQ(gu8SensorImageMode, 2);
    ask({{3264, 2448, 0, 0}, {3264, 2448, 0, 0}});  // nothing has been started yet
    sensor_init();
    ask({{3264, 2448, -1, 0},
         {4000, 3000, -1, 0},
         {4196, 2160, 0, 2},
         {4001, 2161, -1, 2},
         {4000, 3001, -1, 2},
         {4197, 2160, -1, 2},
         {4196, 2161, -1, 2},
         {4000, 2161, 0, 0}});
    EXPECT_EQ(board.LogCount("Not support! Width:4001, Height:2161, Fps:30.000000\n"), 1u);
    EXPECT_EQ(board.LogCount("Not support!"), 4u);
    Printed();
    EXPECT_EQ(cmos_set_wdr_mode(1), -1);
    EXPECT_EQ(Printed(), "NOT support this mode!\n");
    gu8SensorImageMode = 6;
    sensor_init();
    EXPECT_EQ(Printed(), "NOT support this mode!\n");

    const twin::Time start = board.Now();
    const HI_U32 words[] = {0x00010002, 0xFFFE0007, 0xFFFF0000, 0xFFFE0100};
    sensor_prog(words);
    EXPECT_EQ((board.Now() - start) / 1ms, 7);
    EXPECT_EQ(sensor_spi_init() | sensor_spi_exit() | sensor_write_register(0, 1) | sensor_read_register(0), 0);
  });
}

// A mapping that is refused: nothing is written, and what was mapped is given back.
TEST_F(Description, WritesAllOfTheChipsTimingOrNothing) {
  On([&] {
    for (const char* which : {"sys.map fail", "sys.map fail nth=2"}) {
      board.faults.Clear();
      board.faults.Add(which);
      gau32HvSync[HV_SYNC_CONTROL] = 7;
      EXPECT_EQ(IMX226_MasterHvSyncWrite(), -1) << which;
    }
    EXPECT_EQ(board.registers.Read(FrameTiming::kControl), 0u);
    EXPECT_EQ(board.media.timing.Mapped(), 0u);
  });
}

TEST_F(Description, TurnsRatesIntoPeriodAndLines) {
  struct Row {
    HI_U8 mode;
    HI_FLOAT rate;
    uint32_t period, lines;
  };
  const Row rows[] = {{0, 30, 2402400, 3640},      {0, 35, 2059200, 3120}, {0, 0.5, 144144000, 218400},
                      {1, 40, 3997696, 3080},      {1, 20, 7995392, 6160}, {2, 30, 2402400, 2200},
                      {2, 0.5, 144144000, 132000}, {3, 15, 4804800, 1036}, {3, 0.5, 144144000, 31104},
                      {4, 60, 3997696, 2200},      {4, 30, 7995392, 4400}, {5, 30, 7995392, 4550},
                      {5, 0.5, 479723520, 273000}};
  const std::pair<HI_U8, HI_FLOAT> refused[] = {{0, 35.5f}, {1, 41}, {2, 31},    {3, 15.5f}, {4, 60.5f},
                                                {5, 60.5f}, {0, -1}, {0, 0.49f}, {0, NAN}};
  On([&] {
    AE_SENSOR_DEFAULT_S exposure = {};
    for (const Row& row : rows) {
      SCOPED_TRACE(std::to_string(row.mode) + " " + std::to_string(row.rate));
      gu8SensorImageMode = row.mode;
      EXPECT_EQ(cmos_fps_set(row.rate, &exposure), 0);
      EXPECT_EQ(FramePeriod(), row.period);
      EXPECT_EQ(gu32FullLinesStd, row.lines);
      EXPECT_EQ(exposure.u32FullLinesStd, row.lines);
      EXPECT_EQ(exposure.u32MaxIntTime, row.lines - 8);
      EXPECT_EQ(exposure.u32LinesPer500ms, static_cast<uint32_t>(row.lines * row.rate / 2));
      EXPECT_EQ(exposure.f32Fps, row.rate);
    }
    Printed();
    for (const auto& [mode, rate] : refused) {
      gu8SensorImageMode = mode;
      EXPECT_EQ(cmos_fps_set(rate, &exposure), -1) << rate;
    }
    EXPECT_EQ(board.LogCount("Not support Fps: 35.500000\n"), 1u);
    EXPECT_EQ(LinesPrinted(), 9);
    EXPECT_EQ(FramePeriod(), 479723520u);
    EXPECT_EQ(exposure.u32FullLinesStd, 273000u);

    gu8SensorImageMode = 0;
    for (const auto& [asked, lines] : {std::pair{3000u, 3000u}, {0x40000u, 0x3FFFFu}, {8u, 8u}, {2u, 2u}}) {
      EXPECT_EQ(cmos_slow_framerate_set(asked, &exposure), 0);
      EXPECT_EQ(FramePeriod(), 660u * lines);
      EXPECT_EQ(exposure.u32MaxIntTime, std::max(lines, 8u) - 8);
    }
  });
}

TEST_F(Description, BoundsExposuresAndOffersWhatHasChanged) {
  On([&] {
    ISP_SNS_REGS_INFO_S list = {};
    const auto changed = [&] {
      EXPECT_EQ(cmos_get_sns_regs_info(&list), 0);
      EXPECT_EQ(list.u32RegNum, 11u);
      std::vector<HI_U32> entries;
      for (HI_U32 i = 0; i < list.u32RegNum; i++) {
        if (list.astRegs[i].bUpdate) entries.push_back(i);
      }
      return entries;
    };
    EXPECT_EQ(Want(3264, 2448), 0);
    EXPECT_EQ(cmos_set_wdr_mode(0), 0);
    EXPECT_EQ(changed().size(), 11u);
    EXPECT_THAT(changed(), ElementsAre());
    cmos_inttime_update(3120 - 0x0123);
    EXPECT_THAT(changed(), ElementsAre(0, 1));
    cmos_inttime_update(3120 - 0x0124);
    EXPECT_THAT(changed(), ElementsAre(0));
    cmos_gains_update(0x710, 0);
    EXPECT_THAT(changed(), ElementsAre(2, 3, 5, 6));
    EXPECT_EQ(list.astRegs[2].u32Data | list.astRegs[3].u32Data << 8, 0x710u);
    cmos_gains_update(0x710, 3);
    EXPECT_THAT(changed(), ElementsAre(4));
    EXPECT_EQ(Want(3264, 2448), 0);
    EXPECT_EQ(changed().size(), 11u) << "all of it for another start";

    struct Row {
      HI_U8 mode;
      HI_U32 lines, exposure, value;
    };
    for (const Row& row : std::vector<Row>{{0, 3120, 1000, 2120},
                                           {0, 3120, 3111, 9},
                                           {0, 3120, 3120, 8},
                                           {0, 3120, ~0u, 8},
                                           {0, 3120, 5, 3115},
                                           {0, 3120, 4, 3115},
                                           {0, 3120, 0, 3115},
                                           {5, 3120, 3111, 10},
                                           {0, 0x3FFFF, 1000, 0xFFFF},
                                           {0, 2, 1, 0}}) {
      gu8SensorImageMode = row.mode;
      gu32FullLines = row.lines;
      cmos_inttime_update(row.exposure);
      EXPECT_EQ(cmos_get_sns_regs_info(&list), 0);
      EXPECT_EQ(list.astRegs[0].u32Data | list.astRegs[1].u32Data << 8, row.value) << row.exposure;
    }
  });
}

// Every gain that is asked for, against the gains that are there at all.
TEST_F(Description, GivesTheNearestGainBelow) {
  On([] {
    const auto analog = [](HI_U32 gain) {
      HI_U32 value = 0xDEAD;
      EXPECT_EQ(cmos_again_calc_table(&gain, &value), 0);
      return std::pair(gain, value);
    };
    std::map<HI_U32, HI_U32> gains;
    for (HI_U32 gain = 1024; gain <= 22528; gain++) gains.insert(analog(gain));
    ASSERT_EQ(gains.size(), 123u);
    for (HI_U32 i = 0; const auto& [gain, value] : gains) {
      EXPECT_EQ(value, 16 * i++) << gain;
      EXPECT_EQ(analog(gain).first, gain);
      EXPECT_LT(analog(gain - 1).first, gain == 1024 ? 1025 : gain);
    }
    EXPECT_EQ(analog(0).first, 1024u);
    EXPECT_EQ(analog(0x5554).second, 0x790u);
    for (const HI_U32 gain : {0x5555u, 22528u, ~0u}) EXPECT_EQ(analog(gain), std::pair(0x5555u, 0x7A0u));

    const HI_U32 steps[][3] = {{0, 0x400, 0},       {0x7FF, 0x400, 0},   {0x800, 0x800, 1},   {0xFFF, 0x800, 1},
                               {0x1000, 0x1000, 2}, {0x1FFF, 0x1000, 2}, {0x2000, 0x2000, 3}, {~0u, 0x2000, 3}};
    for (const auto& [wanted, given, step] : steps) {
      HI_U32 gain = wanted, its = 9;
      EXPECT_EQ(cmos_dgain_calc_table(&gain, &its), 0);
      EXPECT_EQ(gain, given) << wanted;
      EXPECT_EQ(its, step) << wanted;
    }
  });
}

TEST_F(Description, HasItsDefaultsAndRefusesToFillNothing) {
  On([&] {
    ISP_CMOS_BLACK_LEVEL_S black = {HI_TRUE, {1, 2, 3, 4}};
    EXPECT_EQ(cmos_get_isp_black_level(&black), 0);
    EXPECT_FALSE(black.bUpdate);
    EXPECT_THAT(black.au16BlackLevel, Each(0));
    EXPECT_EQ(Want(3264, 2448), 0);
    EXPECT_EQ(cmos_set_wdr_mode(0), 0);
    for (const HI_U8 mode : {0, 5}) {
      gu8SensorImageMode = mode;
      AE_SENSOR_DEFAULT_S e = {};
      EXPECT_EQ(cmos_get_ae_default(&e), 0);
      EXPECT_THAT((std::vector{e.u32FullLinesStd, e.u32LinesPer500ms, e.u32MinIntTime, e.u32MaxIntTime, e.u32MinAgain,
                               e.u32MaxAgain, e.u32MinDgain, e.u32MaxDgain}),
                  ElementsAre(3120, 46800, 4, mode == 5 ? 3110 : 3112, 1024, 22528, 1024, 8192));
    }
    AWB_SENSOR_DEFAULT_S white = {};
    EXPECT_EQ(cmos_get_awb_default(&white), 0);
    EXPECT_EQ(white.u16WbRefTemp, 4900);
    EXPECT_THAT(white.au16GainOffset, ElementsAre(523, 256, 256));

    Printed();
    HI_U32 gain = 0;
    EXPECT_EQ(cmos_get_isp_black_level(nullptr), -1);
    EXPECT_EQ(cmos_get_ae_default(nullptr), -1);
    EXPECT_EQ(Printed(), "null pointer when get isp black level value!\nnull pointer when get ae default value!\n");
    EXPECT_THAT(
        (std::vector{cmos_get_awb_default(nullptr), cmos_get_isp_default(nullptr), cmos_set_image_mode(nullptr),
                     cmos_fps_set(30, nullptr), cmos_slow_framerate_set(3000, nullptr), cmos_get_sns_regs_info(nullptr),
                     cmos_again_calc_table(&gain, nullptr), cmos_dgain_calc_table(nullptr, &gain)}),
        Each(-1));
    EXPECT_EQ(LinesPrinted(), 8);
    EXPECT_LT(sensor_unregister_callback(), 0) << "nobody has registered";
    EXPECT_EQ(LinesPrinted(), 3);
  });
}

}  // namespace
