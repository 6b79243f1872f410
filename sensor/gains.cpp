#include "sensor/gains.h"

#include <array>
#include <cstdio>

namespace {

constexpr HI_U32 AGAIN_STEP = 16;  // register values from one entry to the next

// Our own table, by the rule of a gain that the register's distance from 2048 divides. It starts at unity, and is the
// one of this form that ends at the highest gain with the highest value.
constexpr std::array<HI_U32, 123> MakeAnalogGains() {
  std::array<HI_U32, 123> gains{};
  for (HI_U32 i = 0; i < gains.size(); i++) gains[i] = IMX226_GAIN_UNITY * 2048 / (2048 - AGAIN_STEP * i);
  return gains;
}
constexpr std::array<HI_U32, 123> ad_gain_table = MakeAnalogGains();
static_assert(ad_gain_table.front() == IMX226_GAIN_UNITY && ad_gain_table.back() == IMX226_AGAIN_TOP);
static_assert((ad_gain_table.size() - 1) * AGAIN_STEP == IMX226_AGAIN_TOP_VALUE);

// Our own too: doublings, since the steps change at doublings and the last gain is eight times the first.
constexpr HI_U32 dgain_table[] = {0x400, 0x800, 0x1000, 0x2000};

}  // namespace

HI_S32 cmos_again_calc_table(HI_U32* pu32AgainLin, HI_U32* pu32AgainDb) {
  if (pu32AgainLin == nullptr || pu32AgainDb == nullptr) {
    printf("null pointer when get ae sensor gain value!\n");
    return HI_FAILURE;
  }
  if (*pu32AgainLin >= IMX226_AGAIN_TOP) {
    *pu32AgainLin = IMX226_AGAIN_TOP;
    *pu32AgainDb = IMX226_AGAIN_TOP_VALUE;
    return HI_SUCCESS;
  }
  HI_U32 i = 0;  // also for a gain below unity
  while (i + 1 < ad_gain_table.size() && ad_gain_table[i + 1] <= *pu32AgainLin) i++;
  *pu32AgainLin = ad_gain_table[i];
  *pu32AgainDb = i * AGAIN_STEP;
  return HI_SUCCESS;
}

HI_S32 cmos_dgain_calc_table(HI_U32* pu32DgainLin, HI_U32* pu32DgainDb) {
  if (pu32DgainLin == nullptr || pu32DgainDb == nullptr) {
    printf("null pointer when get ae sensor gain value!\n");
    return HI_FAILURE;
  }
  const HI_U32 step = *pu32DgainLin < 0x800 ? 0 : *pu32DgainLin < 0x1000 ? 1 : *pu32DgainLin < 0x2000 ? 2 : 3;
  *pu32DgainLin = dgain_table[step];
  *pu32DgainDb = step;
  return HI_SUCCESS;
}
