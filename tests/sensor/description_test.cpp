// The sensor description, asked as the ISP asks it: which mode it takes, what it makes of rates, exposures and gains,
// and what it refuses. What it does in a start, the road of the media set-up tells.
#include <gmock/gmock.h>

#include <cmath>

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
  static HI_S32 Want(HI_U32 width, HI_U32 height) {
    const ISP_CMOS_SENSOR_IMAGE_MODE_S picture = {width, height, 30};
    return cmos_set_image_mode(&picture);
  }
  uint32_t FramePeriod() { return board.registers.Read(FrameTiming::kFramePeriod); }

  twin::Board board{twin::BoardOptions{}};
};

TEST_F(Description, TakesItsModeFromThePictureAndWantsAStartOnlyForAnother) {
  using Row = std::tuple<HI_U32, HI_U32, HI_S32, int>;  // width and height; the answer, and the mode then
  const auto ask = [](const std::vector<Row>& rows) {
    for (const auto& [width, height, answer, mode] : rows) {
      EXPECT_EQ(Want(width, height), answer) << width << " " << height;
      EXPECT_EQ(gu8SensorImageMode, mode);
      EXPECT_EQ(cmos_set_wdr_mode(0), 0);
      EXPECT_EQ(gu32FullLinesStd, mode == 0 ? 3120u : 2200u);
    }
  };
  On([&] {
    EXPECT_EQ(gu8SensorImageMode, 2);
    ask({{3264, 2448, 0, 0}, {3264, 2448, 0, 0}});  // nothing has been started yet
    sensor_init();
    ask({{3264, 2448, -1, 0}, {4000, 3000, -1, 0}, {4196, 2160, 0, 2}});
    ask({{4001, 2161, -1, 2}, {4000, 3001, -1, 2}, {4197, 2160, -1, 2}, {4196, 2161, -1, 2}, {4000, 2161, 0, 0}});
    EXPECT_EQ(board.LogCount("Not support! Width:4001, Height:2161, Fps:30.000000\n"), 1u);
    EXPECT_EQ(board.LogCount("Not support!"), 4u);
    EXPECT_EQ(cmos_set_wdr_mode(1), -1);
    gu8SensorImageMode = 6;
    sensor_init();
    EXPECT_EQ(board.LogCount("NOT support this mode!\n"), 2u);

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
  struct Mode {
    uint32_t fastest, period, lines;  // rate, its period, lines at one frame a second
  };
  const Mode modes[] = {{35, 2059200, 109200}, {40, 3997696, 123200}, {30, 2402400, 66000},
                        {15, 4804800, 15552},  {60, 3997696, 132000}, {60, 3997696, 136500}};
  On([&] {
    AE_SENSOR_DEFAULT_S exposure = {};
    for (const Mode& mode : modes) {
      gu8SensorImageMode = static_cast<HI_U8>(&mode - modes);
      for (const HI_FLOAT rate : {static_cast<HI_FLOAT>(mode.fastest), 10.0f, 0.5f}) {
        SCOPED_TRACE(std::to_string(mode.fastest) + " " + std::to_string(rate));
        const auto lines = static_cast<uint32_t>(mode.lines / rate);
        EXPECT_EQ(cmos_fps_set(rate, &exposure), 0);
        EXPECT_EQ(FramePeriod(), static_cast<uint32_t>(static_cast<double>(mode.period) * mode.fastest / rate));
        EXPECT_THAT((std::array{gu32FullLines, exposure.u32FullLinesStd, exposure.u32MaxIntTime + 8}), Each(lines));
        EXPECT_EQ(exposure.u32LinesPer500ms, static_cast<uint32_t>(lines * rate / 2));
        EXPECT_EQ(exposure.f32Fps, rate);
      }
      for (const HI_FLOAT rate : {static_cast<HI_FLOAT>(mode.fastest) + 0.5f, -1.0f, 0.49f, NAN}) {
        EXPECT_EQ(cmos_fps_set(rate, &exposure), -1) << rate;
      }
    }
    EXPECT_EQ(board.LogCount("Not support Fps: "), 24u);
    EXPECT_EQ(board.LogCount("Not support Fps: 35.500000\n"), 1u);
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
    EXPECT_TRUE(changed().empty());
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

    const HI_U32 rows[][4] = {{0, 3120, 3111, 9}, {0, 3120, 3120, 8},  {0, 3120, ~0u, 8}, {0, 3120, 5, 3115},
                              {0, 3120, 4, 3115}, {5, 3120, 3111, 10}, {0, 2, 1, 0},      {0, 0x3FFFF, 1000, 0xFFFF}};
    for (const auto& [mode, lines, exposure, value] : rows) {
      gu8SensorImageMode = static_cast<HI_U8>(mode);
      gu32FullLines = lines;
      cmos_inttime_update(exposure);
      EXPECT_EQ(cmos_get_sns_regs_info(&list), 0);
      EXPECT_EQ(list.astRegs[0].u32Data | list.astRegs[1].u32Data << 8, value) << exposure;
    }
  });
}

TEST_F(Description, GivesTheNearestGainBelow) {
  using Answer = std::pair<HI_U32, HI_U32>;  // the gain and its register value
  const auto ask = [](HI_S32 (*of)(HI_U32*, HI_U32*), HI_U32 gain) {
    HI_U32 value = 0xDEAD;
    EXPECT_EQ(of(&gain, &value), 0);
    return Answer(gain, value);
  };
  On([&] {
    Answer below = {1024, 0};
    for (HI_U32 value = 0; value <= 0x7A0; value += 16) {
      const HI_U32 gain = 1024 * 2048 / (2048 - value);
      EXPECT_EQ(ask(cmos_again_calc_table, gain - 1), below);
      below = {gain, value};
      EXPECT_EQ(ask(cmos_again_calc_table, gain), below);
    }
    for (const HI_U32 gain : {22528u, ~0u}) EXPECT_EQ(ask(cmos_again_calc_table, gain), below);
    below = {0x400, 0};
    for (HI_U32 step = 0; step <= 3; step++) {
      EXPECT_EQ(ask(cmos_dgain_calc_table, (0x400 << step) - 1), below);
      below = {0x400 << step, step};
      EXPECT_EQ(ask(cmos_dgain_calc_table, 0x400 << step), below);
    }
    EXPECT_EQ(ask(cmos_dgain_calc_table, ~0u), below);
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

    HI_U32 gain = 0;
    EXPECT_EQ(cmos_get_isp_black_level(nullptr), -1);
    EXPECT_EQ(cmos_get_ae_default(nullptr), -1);
    EXPECT_THAT(
        (std::vector{cmos_get_awb_default(nullptr), cmos_get_isp_default(nullptr), cmos_set_image_mode(nullptr),
                     cmos_fps_set(30, nullptr), cmos_slow_framerate_set(3000, nullptr), cmos_get_sns_regs_info(nullptr),
                     cmos_again_calc_table(&gain, nullptr), cmos_dgain_calc_table(nullptr, &gain)}),
        Each(-1));
    EXPECT_EQ(board.LogCount("null pointer when "), 10u);
    EXPECT_EQ(board.LogCount("null pointer when get ae default value!\n"), 1u);
    EXPECT_LT(sensor_unregister_callback(), 0) << "nobody has registered";
    EXPECT_EQ(board.LogCount("sensor unregister callback function"), 3u);
  });
}

}  // namespace
