#include "tests/support/told_sensor.h"

ToldSensor toldSensor;

namespace {

HI_S32 Answer(const char* question, HI_S32 result = HI_SUCCESS) {
  toldSensor.asked.push_back(question);
  return result;
}

void Start() {
  Answer("start");
  if (!toldSensor.starts) return;
  auto* control = static_cast<HI_U32*>(HI_MPI_SYS_Mmap(0x113800A0, 4));
  auto* periods = static_cast<HI_U32*>(HI_MPI_SYS_Mmap(0x113800B0, 16));
  *control = toldSensor.timing[0];
  for (size_t i = 1; i < toldSensor.timing.size(); i++) periods[i - 1] = toldSensor.timing[i];
  HI_MPI_SYS_Munmap(control, 4);
  HI_MPI_SYS_Munmap(periods, 16);
}

const ISP_SENSOR_REGISTER_S kIsp = {
    Start,
    [] { Answer("exit"); },
    [] { Answer("registered"); },
    [](const ISP_CMOS_SENSOR_IMAGE_MODE_S* mode) {
      toldSensor.picture = *mode;
      return Answer("image mode", toldSensor.imageMode);
    },
    [](HI_U8) { return Answer("wdr mode", toldSensor.wdrMode); },
    [](ISP_CMOS_DEFAULT_S*) { return Answer("isp default"); },
    [](ISP_CMOS_BLACK_LEVEL_S*) { return Answer("black level", toldSensor.blackLevel); },
    [](ISP_SNS_REGS_INFO_S* list) {
      list->u32RegNum = 3;
      list->astRegs[0] = {HI_TRUE, 0x10, 1};
      list->astRegs[1] = {HI_FALSE, 0x11, 2};
      list->astRegs[2] = {HI_TRUE, 0x12, 3};
      return Answer("registers");
    },
    [](HI_BOOL) { Answer("pixel detect"); },
};

const AE_SENSOR_REGISTER_S kExposure = {
    [](AE_SENSOR_DEFAULT_S* exposure) {
      *exposure = {toldSensor.lines, 0, 4, toldSensor.longest, 1024, 2048, 1024, 1024, 0};
      return Answer("ae default");
    },
    [](HI_FLOAT rate, AE_SENSOR_DEFAULT_S*) {
      toldSensor.rate = rate;
      if (toldSensor.whileRateIsSet) toldSensor.whileRateIsSet();
      return Answer("rate");
    },
    [](HI_U32, AE_SENSOR_DEFAULT_S*) { return Answer("slow"); },
    [](HI_U32) { Answer("exposure"); },
    [](HI_U32, HI_U32) { Answer("gains"); },
    [](HI_U32*, HI_U32*) { return Answer("analog gain"); },
    [](HI_U32*, HI_U32*) { return Answer("digital gain"); },
};

const AWB_SENSOR_REGISTER_S kWhiteBalance = {[](AWB_SENSOR_DEFAULT_S*) { return Answer("awb default"); }};

}  // namespace

HI_S32 RegisterWithIsp(SENSOR_ID sensor) { return HI_MPI_ISP_SensorRegCallBack(0, sensor, &kIsp); }
HI_S32 RegisterWithExposure(SENSOR_ID sensor) {
  const ALG_LIB_S lib = {0, "hisi_ae_lib"};
  return HI_MPI_AE_SensorRegCallBack(0, &lib, sensor, &kExposure);
}
HI_S32 RegisterWithWhiteBalance(SENSOR_ID sensor) {
  const ALG_LIB_S lib = {0, "hisi_awb_lib"};
  return HI_MPI_AWB_SensorRegCallBack(0, &lib, sensor, &kWhiteBalance);
}
