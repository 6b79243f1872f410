#include "twin/devices/clock_chip/clock_chip.h"

#include <gtest/gtest.h>

namespace twin {
namespace {

struct Clock : testing::Test {
  Kernel kernel;
  Faults faults{kernel};
  ClockChip chip{kernel, faults};

  CivilTime Read() {
    CivilTime date;
    EXPECT_EQ(chip.Ioctl(0x801C7009, &date), 0);
    return date;
  }
};

TEST_F(Clock, RunsOnThroughMonthsLeapDaysAndYears) {
  CivilTime date{2028, 2, 28, 23, 59, 58, 0};
  EXPECT_EQ(chip.Ioctl(0x401C700A, &date), 0);
  kernel.Run(1999ms);
  EXPECT_EQ(Read(), (CivilTime{2028, 2, 28, 23, 59, 59, 1})) << "a Monday, whatever weekday was written";
  kernel.Run(1ms);
  EXPECT_EQ(Read(), (CivilTime{2028, 2, 29, 0, 0, 0, 2}));
  chip.SetDate({2026, 12, 31, 23, 0, 0, 0});
  kernel.Run(1h);
  EXPECT_EQ(Read(), (CivilTime{2027, 1, 1, 0, 0, 0, 5}));
}

TEST_F(Clock, RefusesWhatIsNoDateAndNoRequest) {
  const CivilTime before = Read();
  for (CivilTime bad : {CivilTime{2026, 2, 29, 0, 0, 0, 0}, CivilTime{2026, 13, 1, 0, 0, 0, 0},
                        CivilTime{2026, 1, 1, 24, 0, 0, 0}, CivilTime{0, 0, 0, 0, 0, 0, 0}}) {
    EXPECT_EQ(chip.Ioctl(0x401C700A, &bad), -EINVAL);
  }
  CivilTime record;
  EXPECT_EQ(chip.Ioctl(0x801C700A, &record), -ENOTTY);
  EXPECT_EQ(chip.Ioctl(0x801C7009, nullptr), -EFAULT);
  EXPECT_EQ(Read(), before);
}

}  // namespace
}  // namespace twin
