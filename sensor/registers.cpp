#include "sensor/registers.h"

#include <unistd.h>

namespace {

// Our own stand-in for the list: it holds registers of our numbering at 0, and one wait, as such a list has.
constexpr HI_U32 COMMON_INIT[] = {
    0x00000004,  // standby
    0x00010000, 0x00020000, SENSOR_PROG_WAIT << 16 | 1, 0x00030000, 0x00040000, SENSOR_PROG_END << 16,
};

}  // namespace

int sensor_spi_init() { return 0; }
int sensor_spi_exit() { return 0; }
HI_S32 sensor_write_register(HI_U32 /*u32Addr*/, HI_U32 /*u32Data*/) { return 0; }
int sensor_read_register(HI_U32 /*u32Addr*/) { return 0; }

void sensor_prog(const HI_U32* rom) {
  for (; *rom >> 16 != SENSOR_PROG_END; rom++) {
    const HI_U32 value = *rom & 0xFFFF;
    if (*rom >> 16 == SENSOR_PROG_WAIT) {
      usleep(value * 1000);
    } else {
      sensor_write_register(*rom >> 16, value);
    }
  }
}

void imx226_sensor_linear_common_init() { sensor_prog(COMMON_INIT); }
