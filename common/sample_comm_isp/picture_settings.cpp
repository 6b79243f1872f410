#include "common/sample_comm_isp/picture_settings.h"

#include <cstring>

#include "sdk/hi_mpi_isp.h"

namespace {

constexpr ISP_DEV ISP_DEV_0 = 0;

}  // namespace

HI_S32 SAMPLE_VENC_1080P_MJPEG_JPEG_set_NR(BYTE nr) {
  ISP_NR_ATTR_S stAttr = {};
  HI_MPI_ISP_GetNRAttr(ISP_DEV_0, &stAttr);
  stAttr.stManual.u8Thresh = nr;
  stAttr.stManual.u8ThreshLong = nr;
  HI_MPI_ISP_SetNRAttr(ISP_DEV_0, &stAttr);
  return HI_SUCCESS;
}

HI_S32 SAMPLE_VENC_1080P_MJPEG_JPEG_set_Sharpen(const LUMO_ISP_BAYER_SHARPEN_S* stShp,
                                                const LUMO_ISP_BAYER_SHARPEN_EX_S* stShpEx,
                                                const LUMO_ISP_YUV_SHARPEN_MANUAL_ATTR_S* stManual) {
  ISP_BAYER_SHARPEN_ATTR_S stBayer = {};
  HI_MPI_ISP_GetBayerSharpenAttr(ISP_DEV_0, &stBayer);
  static_assert(sizeof(*stShp) == sizeof(stBayer.stManual.stShp) && sizeof(*stShp) == 4);
  static_assert(sizeof(*stShpEx) == sizeof(stBayer.stManual.stShpEx) && sizeof(*stShpEx) == 4);
  memcpy(&stBayer.stManual.stShp, stShp, sizeof(*stShp));
  memcpy(&stBayer.stManual.stShpEx, stShpEx, sizeof(*stShpEx));
  HI_MPI_ISP_SetBayerSharpenAttr(ISP_DEV_0, &stBayer);

  ISP_YUV_SHARPEN_ATTR_S stYuv = {};
  HI_MPI_ISP_GetYuvSharpenAttr(ISP_DEV_0, &stYuv);
  static_assert(sizeof(*stManual) == sizeof(stYuv.stManual) && sizeof(*stManual) == 24);
  stYuv.enOpType = OP_TYPE_MANUAL;
  memcpy(&stYuv.stManual, stManual, sizeof(*stManual));
  HI_MPI_ISP_SetYuvSharpenAttr(ISP_DEV_0, &stYuv);
  return HI_SUCCESS;
}
