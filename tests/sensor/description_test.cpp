// The sensor description, asked as the ISP asks it: which mode it takes, what it makes of rates, exposures and gains,
// what it writes to the chip, and what it refuses.
#include <gmock/gmock.h>

#include <cmath>
#include <map>

#include "common/sample_comm_sys/sample_comm_sys.h"
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
using ::testing::EndsWith;
using ::testing::HasSubstr;
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
  uint32_t Chip(uint32_t address) { return board.registers.Read(address); }
  static HI_S32 Want(HI_U32 width, HI_U32 height) {
    const ISP_CMOS_SENSOR_IMAGE_MODE_S picture = {width, height, 30};
    return cmos_set_image_mode(&picture);
  }

  twin::Board board{twin::BoardOptions{}};
  size_t seen = 0;
};

TEST_F(Description, TakesItsModeFromThePictureAndWantsAStartOnlyForAnother) {
  On([&] {
    EXPECT_EQ(gu8SensorImageMode, 2);
    EXPECT_EQ(Want(3264, 2448), 0);
    EXPECT_EQ(gu8SensorImageMode, 0);
    EXPECT_EQ(Want(3264, 2448), 0) << "nothing has been started yet";
    EXPECT_EQ(cmos_set_wdr_mode(0), 0);
    EXPECT_EQ(gu32FullLinesStd, 3120u);
    Printed();
    sensor_init();
    EXPECT_THAT(Printed(), EndsWith("IMX226 12M_10CH_12BIT_35FPS init succuss!\n"));
    EXPECT_EQ(Want(3264, 2448), -1);
    EXPECT_EQ(Want(4000, 3000), -1);
    EXPECT_EQ(Want(4196, 2160), 0);
    EXPECT_EQ(gu8SensorImageMode, 2);
    EXPECT_EQ(cmos_set_wdr_mode(0), 0);
    EXPECT_EQ(gu32FullLinesStd, 2200u);
    EXPECT_EQ(Printed(), "linear mode\n");

    EXPECT_EQ(Want(4001, 2161), -1);
    EXPECT_EQ(Printed(), "Not support! Width:4001, Height:2161, Fps:30.000000\n");
    EXPECT_EQ(Want(4000, 3001), -1);
    EXPECT_EQ(Want(4197, 2160), -1);
    EXPECT_EQ(gu8SensorImageMode, 2);
    Printed();
    EXPECT_EQ(cmos_set_wdr_mode(1), -1);
    EXPECT_EQ(Printed(), "NOT support this mode!\n");
  });
}

// The start: the timing is stopped, 203 ms go by in which no device hears a word, and the mode's timing runs.
TEST_F(Description, StartsTheChipsTimingAndNothingElse) {
  On([&] {
    EXPECT_EQ(Want(3264, 2448), 0);
    gau32HvSync[HV_SYNC_CONTROL] = 0xC0030000;
    board.faults.Add("sys.map fail nth=3");  // the start of the timing, so what stopped it stays to be seen
    sensor_init();
    EXPECT_EQ(Chip(FrameTiming::kControl), 0x00030000u);

    const twin::Time before = board.Now();
    sensor_init();
    EXPECT_GE(board.Now() - before, 202ms);
    EXPECT_LT(board.Now() - before, 220ms);
    EXPECT_EQ(Chip(FrameTiming::kControl), 0xC0030000u);
    EXPECT_EQ(Chip(FrameTiming::kFramePeriod), 2059200u);
    EXPECT_EQ(Chip(FrameTiming::kLinePeriod), 660u);
    EXPECT_EQ(Chip(FrameTiming::kFramePulse), 3u);
    EXPECT_EQ(Chip(FrameTiming::kLinePulse), 3u);

    for (const char* which : {"sys.map fail", "sys.map fail nth=2"}) {
      board.faults.Clear();
      board.faults.Add(which);
      gau32HvSync[HV_SYNC_CONTROL] = 7;
      EXPECT_EQ(IMX226_MasterHvSyncWrite(), -1) << which;
    }
    EXPECT_EQ(Chip(FrameTiming::kControl), 0xC0030000u);
    EXPECT_EQ(board.media.timing.Mapped(), 0);

    const twin::Time start = board.Now();
    const HI_U32 words[] = {0x00010002, 0xFFFE0007, 0xFFFF0000};
    sensor_prog(words);
    EXPECT_GE(board.Now() - start, 7ms);
    EXPECT_LT(board.Now() - start, 8ms);
    gu8SensorImageMode = 6;
    Printed();
    sensor_init();
    EXPECT_EQ(Printed(), "NOT support this mode!\n");
    EXPECT_EQ(board.descriptors.OpenCount(), 0u);
  });
  EXPECT_THAT(board.Complaints(), ::testing::IsEmpty());
}

TEST_F(Description, IsRegisteredAtThreePlacesAndTakenBackFromThem) {
  On([&] {
    VB_CONF_S pools = {};
    pools.u32MaxPoolCnt = 1;
    pools.astCommPool[0] = {1 << 20, 1};
    EXPECT_EQ(SAMPLE_COMM_SYS_Init(&pools), 0);
    EXPECT_EQ(sensor_set_inifile_path("configs/"), 0);
    EXPECT_EQ(sensor_set_inifile_path(nullptr), 0);
    gu8SensorImageMode = 5;
    EXPECT_EQ(sensor_register_callback(), 0);
    EXPECT_EQ(gu8SensorImageMode, 2);
    for (const char* place : {"isp.sensor fail", "ae.sensor fail", "awb.sensor fail"}) board.faults.Add(place);
    Printed();
    EXPECT_LT(sensor_register_callback(), 0);
    EXPECT_EQ(Printed(), "sensor register callback function failed!\n");
    EXPECT_LT(sensor_register_callback(), 0);
    EXPECT_EQ(Printed(), "sensor register callback function to ae lib failed!\n");
    EXPECT_LT(sensor_register_callback(), 0);
    EXPECT_EQ(Printed(), "sensor register callback function to awb lib failed!\n");
    EXPECT_EQ(sensor_unregister_callback(), 0);
    EXPECT_LT(sensor_unregister_callback(), 0);
    const std::string printed = Printed();
    EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'), 3);
  });
}

struct Rate {
  HI_U8 mode;
  HI_FLOAT rate;
  uint32_t period, lines;
};

TEST_F(Description, TurnsRatesIntoPeriodAndLines) {
  const Rate rates[] = {{0, 30, 2402400, 3640},      {0, 35, 2059200, 3120}, {0, 0.5, 144144000, 218400},
                        {1, 40, 3997696, 3080},      {1, 20, 7995392, 6160}, {2, 30, 2402400, 2200},
                        {2, 0.5, 144144000, 132000}, {3, 15, 4804800, 1036}, {3, 0.5, 144144000, 31104},
                        {4, 60, 3997696, 2200},      {4, 30, 7995392, 4400}, {5, 30, 7995392, 4550},
                        {5, 0.5, 479723520, 273000}};
  On([&] {
    for (const Rate& rate : rates) {
      SCOPED_TRACE(std::to_string(rate.mode) + " " + std::to_string(rate.rate));
      gu8SensorImageMode = rate.mode;
      AE_SENSOR_DEFAULT_S exposure = {};
      EXPECT_EQ(cmos_fps_set(rate.rate, &exposure), 0);
      EXPECT_EQ(Chip(FrameTiming::kFramePeriod), rate.period);
      EXPECT_EQ(exposure.u32FullLinesStd, rate.lines);
      EXPECT_EQ(exposure.u32MaxIntTime, rate.lines - 8);
      EXPECT_EQ(exposure.u32LinesPer500ms, static_cast<uint32_t>(rate.lines * rate.rate / 2));
      EXPECT_EQ(exposure.f32Fps, rate.rate);
    }

    const Rate refused[] = {{0, 35.5f, 0, 0}, {1, 41, 0, 0}, {2, 31, 0, 0},    {3, 15.5f, 0, 0}, {5, 60.5f, 0, 0},
                            {0, 0, 0, 0},     {0, -1, 0, 0}, {0, 0.49f, 0, 0}, {0, NAN, 0, 0}};
    Printed();
    for (const Rate& rate : refused) {
      gu8SensorImageMode = rate.mode;
      AE_SENSOR_DEFAULT_S exposure = {};
      EXPECT_EQ(cmos_fps_set(rate.rate, &exposure), -1) << rate.rate;
      EXPECT_EQ(exposure.u32FullLinesStd, 0u);
    }
    const std::string printed = Printed();
    EXPECT_THAT(printed, HasSubstr("Not support Fps: 35.500000\n"));
    EXPECT_THAT(printed, HasSubstr("Not support Fps: 0.000000\n"));
    EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'), 9);
    EXPECT_EQ(Chip(FrameTiming::kFramePeriod), 479723520u);
    EXPECT_EQ(gu32FullLinesStd, 273000u);
  });
}

TEST_F(Description, BoundsExposuresAndOffersWhatHasChanged) {
  On([&] {
    const auto changed = [] {
      ISP_SNS_REGS_INFO_S list = {};
      EXPECT_EQ(cmos_get_sns_regs_info(&list), 0);
      EXPECT_EQ(list.u32RegNum, 11u);
      std::vector<HI_U32> entries;
      for (HI_U32 i = 0; i < list.u32RegNum; i++) {
        if (list.astRegs[i].bUpdate) entries.push_back(i);
      }
      return entries;
    };
    // The exposure's register value, as it is offered.
    const auto after = [](HI_U32 exposure) {
      ISP_SNS_REGS_INFO_S list = {};
      cmos_inttime_update(exposure);
      EXPECT_EQ(cmos_get_sns_regs_info(&list), 0);
      return list.astRegs[0].u32Data | list.astRegs[1].u32Data << 8;
    };
    EXPECT_EQ(Want(3264, 2448), 0);
    EXPECT_EQ(cmos_set_wdr_mode(0), 0);
    EXPECT_EQ(changed().size(), 11u);
    EXPECT_THAT(changed(), ElementsAre());
    cmos_inttime_update(3120 - 0x0123);
    EXPECT_THAT(changed(), ElementsAre(0, 1));
    cmos_inttime_update(3120 - 0x0124);
    EXPECT_THAT(changed(), ElementsAre(0));
    cmos_gains_update(0x10, 0);
    EXPECT_THAT(changed(), ElementsAre(2));
    cmos_gains_update(0x10, 3);
    EXPECT_THAT(changed(), ElementsAre(4));
    EXPECT_EQ(Want(3264, 2448), 0);
    EXPECT_EQ(changed().size(), 11u) << "all of it for another start";

    EXPECT_EQ(after(1000), 2120u);
    EXPECT_EQ(after(3111), 9u);
    EXPECT_EQ(after(3120), 8u);
    EXPECT_EQ(after(0xFFFFFFFF), 8u);
    EXPECT_EQ(after(4), 3115u);
    EXPECT_EQ(after(0), 3115u);
    gu8SensorImageMode = 5;
    EXPECT_EQ(after(3111), 10u);
    gu8SensorImageMode = 0;

    AE_SENSOR_DEFAULT_S slow = {};
    EXPECT_EQ(cmos_slow_framerate_set(0x40000, &slow), 0);
    EXPECT_EQ(Chip(FrameTiming::kFramePeriod), 660u * 0x3FFFF);
    EXPECT_EQ(slow.u32MaxIntTime, 0x3FFFFu - 8);
    EXPECT_EQ(after(1000), 0xFFFFu);
    EXPECT_EQ(cmos_slow_framerate_set(2, &slow), 0);
    EXPECT_EQ(slow.u32MaxIntTime, 0u);
    EXPECT_EQ(after(1), 0u);
  });
}

// Every gain that is asked for, against the gains that are there at all.
TEST_F(Description, GivesTheNearestGainBelow) {
  On([&] {
    struct Answer {
      HI_U32 gain, value;
    };
    const auto analog = [](HI_U32 gain) {
      Answer answer = {gain, 0xDEAD};
      EXPECT_EQ(cmos_again_calc_table(&answer.gain, &answer.value), 0);
      return answer;
    };
    std::map<HI_U32, HI_U32> gains;
    for (HI_U32 gain = 1024; gain <= 22528; gain++) gains[analog(gain).gain] = analog(gain).value;
    ASSERT_EQ(gains.size(), 123u);
    HI_U32 value = 0;
    for (const auto& [gain, its] : gains) {
      EXPECT_EQ(its, value) << gain;
      EXPECT_EQ(analog(gain).gain, gain);
      value += 16;
    }
    for (HI_U32 gain = 1024; gain <= 22528; gain++)
      ASSERT_EQ(analog(gain).gain, std::prev(gains.upper_bound(gain))->first);
    EXPECT_EQ(gains.begin()->first, 1024u);
    EXPECT_EQ(analog(0x5554).value, 0x790u);
    for (const HI_U32 gain : {0x5555u, 22528u, 0xFFFFFFFFu}) {
      EXPECT_EQ(analog(gain).gain, 0x5555u);
      EXPECT_EQ(analog(gain).value, 0x7A0u);
    }
    EXPECT_EQ(analog(0).gain, 1024u);

    const HI_U32 steps[][3] = {{0, 0x400, 0},       {0x400, 0x400, 0},   {0x7FF, 0x400, 0},
                               {0x800, 0x800, 1},   {0xFFF, 0x800, 1},   {0x1000, 0x1000, 2},
                               {0x1FFF, 0x1000, 2}, {0x2000, 0x2000, 3}, {~0u, 0x2000, 3}};
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
    AE_SENSOR_DEFAULT_S exposure = {};
    EXPECT_EQ(cmos_get_ae_default(&exposure), 0);
    EXPECT_EQ(exposure.u32FullLinesStd, 3120u);
    EXPECT_EQ(exposure.u32LinesPer500ms, 46800u);
    EXPECT_EQ(exposure.u32MinIntTime, 4u);
    EXPECT_EQ(exposure.u32MaxIntTime, 3112u);
    EXPECT_EQ(exposure.u32MinAgain, 1024u);
    EXPECT_EQ(exposure.u32MaxAgain, 22528u);
    EXPECT_EQ(exposure.u32MinDgain, 1024u);
    EXPECT_EQ(exposure.u32MaxDgain, 8192u);
    gu8SensorImageMode = 5;
    EXPECT_EQ(cmos_get_ae_default(&exposure), 0);
    EXPECT_EQ(exposure.u32MaxIntTime, 3110u);
    AWB_SENSOR_DEFAULT_S white = {};
    EXPECT_EQ(cmos_get_awb_default(&white), 0);
    EXPECT_EQ(white.u16WbRefTemp, 4900);
    EXPECT_THAT(white.au16GainOffset, ElementsAre(523, 256, 256));

    Printed();
    HI_U32 gain = 0;
    EXPECT_EQ(cmos_get_isp_black_level(nullptr), -1);
    EXPECT_EQ(cmos_get_ae_default(nullptr), -1);
    EXPECT_EQ(Printed(), "null pointer when get isp black level value!\nnull pointer when get ae default value!\n");
    EXPECT_EQ(cmos_get_awb_default(nullptr), -1);
    EXPECT_EQ(cmos_get_isp_default(nullptr), -1);
    EXPECT_EQ(cmos_set_image_mode(nullptr), -1);
    EXPECT_EQ(cmos_fps_set(30, nullptr), -1);
    EXPECT_EQ(cmos_slow_framerate_set(3000, nullptr), -1);
    EXPECT_EQ(cmos_get_sns_regs_info(nullptr), -1);
    EXPECT_EQ(cmos_again_calc_table(&gain, nullptr), -1);
    EXPECT_EQ(cmos_dgain_calc_table(nullptr, &gain), -1);
    const std::string printed = Printed();
    EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'), 8);
  });
}

}  // namespace
