#include "sensor/registration.h"

#include <cstdio>

#include "sdk/hi_mpi_sensor.h"
#include "sensor/defaults.h"
#include "sensor/exposure.h"
#include "sensor/gains.h"
#include "sensor/modes.h"
#include "sensor/start.h"

namespace {

constexpr ISP_DEV ISP_DEV_0 = 0;
constexpr ALG_LIB_S AE_LIB = {0, "hisi_ae_lib"};
constexpr ALG_LIB_S AWB_LIB = {0, "hisi_awb_lib"};

constexpr ISP_SENSOR_REGISTER_S ISP_CALLBACKS = {
    sensor_init,           sensor_exit,          sensor_global_init,       cmos_set_image_mode,
    cmos_set_wdr_mode,     cmos_get_isp_default, cmos_get_isp_black_level, cmos_get_sns_regs_info,
    cmos_set_pixel_detect,
};
constexpr AE_SENSOR_REGISTER_S AE_CALLBACKS = {
    cmos_get_ae_default, cmos_fps_set,          cmos_slow_framerate_set, cmos_inttime_update,
    cmos_gains_update,   cmos_again_calc_table, cmos_dgain_calc_table,
};
constexpr AWB_SENSOR_REGISTER_S AWB_CALLBACKS = {cmos_get_awb_default};

}  // namespace

int sensor_set_inifile_path(const char* /*pcPath*/) { return 0; }

HI_S32 sensor_register_callback() {
  HI_S32 s32Ret = HI_MPI_ISP_SensorRegCallBack(ISP_DEV_0, IMX226_ID, &ISP_CALLBACKS);
  if (s32Ret != HI_SUCCESS) {
    printf("sensor register callback function failed!\n");
    return s32Ret;
  }
  s32Ret = HI_MPI_AE_SensorRegCallBack(ISP_DEV_0, &AE_LIB, IMX226_ID, &AE_CALLBACKS);
  if (s32Ret != HI_SUCCESS) {
    printf("sensor register callback function to ae lib failed!\n");
    return s32Ret;
  }
  s32Ret = HI_MPI_AWB_SensorRegCallBack(ISP_DEV_0, &AWB_LIB, IMX226_ID, &AWB_CALLBACKS);
  if (s32Ret != HI_SUCCESS) printf("sensor register callback function to awb lib failed!\n");
  return s32Ret;
}

HI_S32 sensor_unregister_callback() {
  HI_S32 s32Result = HI_SUCCESS;
  HI_S32 s32Ret = HI_MPI_ISP_SensorUnRegCallBack(ISP_DEV_0, IMX226_ID);
  if (s32Ret != HI_SUCCESS) {
    printf("sensor unregister callback function failed!\n");
    s32Result = s32Ret;
  }
  s32Ret = HI_MPI_AE_SensorUnRegCallBack(ISP_DEV_0, &AE_LIB, IMX226_ID);
  if (s32Ret != HI_SUCCESS) {
    printf("sensor unregister callback function to ae lib failed!\n");
    s32Result = s32Ret;
  }
  s32Ret = HI_MPI_AWB_SensorUnRegCallBack(ISP_DEV_0, &AWB_LIB, IMX226_ID);
  if (s32Ret != HI_SUCCESS) {
    printf("sensor unregister callback function to awb lib failed!\n");
    s32Result = s32Ret;
  }
  return s32Result;
}
