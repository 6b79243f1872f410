#include "sensor/start.h"

#include <unistd.h>

#include <cstdio>

#include "sensor/hv_sync.h"
#include "sensor/modes.h"
#include "sensor/registers.h"

void sensor_init() {
  const IMX226_MODE_S* mode = imx226_current_mode();
  if (mode == nullptr) return;
  gau32HvSync[HV_SYNC_CONTROL] &= ~HV_SYNC_RUNS;
  IMX226_MasterHvSyncWrite();

  sensor_spi_init();
  imx226_sensor_linear_common_init();
  for (const HI_U32 setting : mode->au32Setting) sensor_write_register(setting >> 16, setting & 0xFFFF);
  sensor_write_register(0, 6);
  usleep(2000);
  sensor_write_register(0, 4);
  usleep(200000);

  gau32HvSync[HV_SYNC_CONTROL] = 0xC0030000;
  gau32HvSync[HV_SYNC_VERT_PERIOD] = mode->u32VertPeriod;
  gau32HvSync[HV_SYNC_HOR_PERIOD] = mode->u32HorPeriod;
  gau32HvSync[HV_SYNC_VERT_WIDTH] = 3;
  gau32HvSync[HV_SYNC_HOR_WIDTH] = 3;
  IMX226_MasterHvSyncWrite();

  printf("IMX226 %s init succuss!\n", mode->pcName);
  bSensorInit = HI_TRUE;
}

void sensor_exit() {
  sensor_spi_exit();
  bSensorInit = HI_FALSE;
}

void cmos_set_pixel_detect(HI_BOOL /*bEnable*/) {}
