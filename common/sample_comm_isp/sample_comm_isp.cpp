#include "common/sample_comm_isp/sample_comm_isp.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <cstring>

#include "common/sample_comm_sys/sample_print.h"
#include "sensor/registration.h"

namespace {

constexpr ISP_DEV ISP_DEV_0 = 0;

pthread_t gs_IspPid;
// gs_IspPid is a thread that nobody has joined yet. A signal's handler asks too, in whatever thread it finds.
std::atomic<bool> gs_bIspThread = false;

void* IspRunThread(void* /*arg*/) {
  HI_MPI_ISP_Run(ISP_DEV_0);
  return nullptr;
}

HI_FLOAT FrameRate(SAMPLE_FRAME_RATE_E enFrmRate) {
  switch (enFrmRate) {
    case SAMPLE_FRAMERATE_DEFAULT: return 30;
  }
  return 30;
}

ALG_LIB_S NamedLib(const char* name) {
  ALG_LIB_S stLib = {};
  strncpy(stLib.acLibName, name, sizeof(stLib.acLibName) - 1);
  return stLib;
}

HI_S32 RegisterLibraries() {
  ALG_LIB_S stLib = NamedLib("hisi_ae_lib");
  HI_S32 s32Ret = HI_MPI_AE_Register(ISP_DEV_0, &stLib);
  if (s32Ret != HI_SUCCESS) {
    SAMPLE_PRT("HI_MPI_AE_Register failed with %#x!\n", s32Ret);
    return s32Ret;
  }
  stLib = NamedLib("hisi_awb_lib");
  s32Ret = HI_MPI_AWB_Register(ISP_DEV_0, &stLib);
  if (s32Ret != HI_SUCCESS) {
    SAMPLE_PRT("HI_MPI_AWB_Register failed with %#x!\n", s32Ret);
    return s32Ret;
  }
  stLib = NamedLib("hisi_af_lib");
  s32Ret = HI_MPI_AF_Register(ISP_DEV_0, &stLib);
  if (s32Ret != HI_SUCCESS) SAMPLE_PRT("HI_MPI_AF_Register failed with %#x!\n", s32Ret);
  return s32Ret;
}

}  // namespace

HI_S32 SAMPLE_COMM_ISP_Init(WDR_MODE_E enWDRMode, SAMPLE_FRAME_RATE_E enFrmRate) {
  sensor_set_inifile_path("configs/");
  HI_S32 s32Ret = sensor_register_callback();
  if (s32Ret != HI_SUCCESS) {
    SAMPLE_PRT("sensor_register_callback failed with %#x!\n", s32Ret);
    return s32Ret;
  }
  s32Ret = RegisterLibraries();
  if (s32Ret != HI_SUCCESS) return s32Ret;

  s32Ret = HI_MPI_ISP_MemInit(ISP_DEV_0);
  if (s32Ret != HI_SUCCESS) {
    SAMPLE_PRT("HI_MPI_ISP_MemInit failed with %#x!\n", s32Ret);
    return s32Ret;
  }
  const ISP_WDR_MODE_S stWdrMode = {enWDRMode};
  s32Ret = HI_MPI_ISP_SetWDRMode(ISP_DEV_0, &stWdrMode);
  if (s32Ret != HI_SUCCESS) {
    SAMPLE_PRT("HI_MPI_ISP_SetWDRMode failed with %#x!\n", s32Ret);
    return s32Ret;
  }
  ISP_PUB_ATTR_S stPubAttr = {};
  stPubAttr.enBayer = BAYER_BGGR;
  stPubAttr.f32FrameRate = FrameRate(enFrmRate);
  stPubAttr.stWndRect = {0, 0, 3264, 2448};
  s32Ret = HI_MPI_ISP_SetPubAttr(ISP_DEV_0, &stPubAttr);
  if (s32Ret != HI_SUCCESS) {
    SAMPLE_PRT("HI_MPI_ISP_SetPubAttr failed with %#x!\n", s32Ret);
    return s32Ret;
  }
  s32Ret = HI_MPI_ISP_Init(ISP_DEV_0);
  if (s32Ret != HI_SUCCESS) {
    SAMPLE_PRT("HI_MPI_ISP_Init failed with %#x!\n", s32Ret);
    return s32Ret;
  }
  return HI_SUCCESS;
}

HI_S32 SAMPLE_COMM_ISP_Run() {
  if (pthread_create(&gs_IspPid, nullptr, IspRunThread, nullptr) != 0) {
    SAMPLE_PRT("create isp running thread failed!\n");
    return HI_FAILURE;
  }
  gs_bIspThread = true;
  usleep(1000);
  return HI_SUCCESS;
}

void SAMPLE_COMM_ISP_Stop() {
  HI_MPI_ISP_Exit(ISP_DEV_0);
  if (!gs_bIspThread.exchange(false)) return;
  pthread_join(gs_IspPid, nullptr);
}
