/* The description of a sensor: callbacks that a program registers, and that the ISP and its exposure and white balance
   libraries ask. All run on the thread that starts the ISP, or on the one that runs it. */
#ifndef LUMORA_SDK_HI_MPI_SENSOR_H
#define LUMORA_SDK_HI_MPI_SENSOR_H

#include "sdk/hi_mpi_isp.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef HI_U32 SENSOR_ID;

/* --- what the ISP asks --- */

typedef struct {
  HI_U32 u32Width;
  HI_U32 u32Height;
  HI_FLOAT f32Fps;
} ISP_CMOS_SENSOR_IMAGE_MODE_S;

typedef struct {
  HI_BOOL bUpdate;          /* the levels have changed since the last answer */
  HI_U16 au16BlackLevel[4]; /* R, Gr, Gb, B */
} ISP_CMOS_BLACK_LEVEL_S;

#define ISP_GAIN_STEPS 16 /* one entry a doubling of the gain, from unity */
#define ISP_GAMMA_NODES 257
#define ISP_RADIAL_NODES 129

typedef struct {
  HI_BOOL bValid;
  HI_U8 au8Saturation[ISP_GAIN_STEPS]; /* 128: as the colour matrix has it */
} ISP_CMOS_AGC_TABLE_S;

typedef struct {
  HI_BOOL bValid;
  HI_U8 au8Thresh[ISP_GAIN_STEPS]; /* strength of noise reduction */
} ISP_CMOS_NOISE_TABLE_S;

typedef struct {
  HI_BOOL bValid;
  HI_U8 u8EdgeThreshold;
  HI_U8 u8EdgeSlope;
} ISP_CMOS_DEMOSAIC_S;

typedef struct {
  HI_BOOL bValid;
  HI_U16 au16Gamma[ISP_GAMMA_NODES]; /* 0 to 4095, at even steps of the linear signal */
} ISP_CMOS_GAMMA_S;

typedef struct {
  HI_BOOL bValid;
  HI_U16 au16Gain[ISP_RADIAL_NODES]; /* by distance from the centre, 256 is unity */
} ISP_CMOS_RADIAL_S;

typedef struct {
  HI_BOOL bValid;
  ISP_BAYER_SHARPEN_MANUAL_ATTR_S astStep[ISP_GAIN_STEPS];
} ISP_CMOS_BAYER_SHARPEN_S;

typedef struct {
  HI_BOOL bValid;
  ISP_YUV_SHARPEN_MANUAL_ATTR_S astStep[ISP_GAIN_STEPS];
} ISP_CMOS_YUV_SHARPEN_S;

typedef struct {
  ISP_CMOS_AGC_TABLE_S stAgcTbl;
  ISP_CMOS_NOISE_TABLE_S stNoiseTbl;
  ISP_CMOS_DEMOSAIC_S stDemosaic;
  ISP_CMOS_GAMMA_S stGamma;
  ISP_CMOS_RADIAL_S stRadial;
  ISP_CMOS_BAYER_SHARPEN_S stBayerSharpen;
  ISP_CMOS_YUV_SHARPEN_S stYuvSharpen;
} ISP_CMOS_DEFAULT_S;

#define ISP_MAX_SNS_REGS 32

typedef struct {
  HI_BOOL bUpdate; /* to be sent */
  HI_U32 u32RegAddr;
  HI_U32 u32Data;
} ISP_SNS_REG_S;

/* What the sensor is to be told for the next frame. The ISP sends it by sensor_write_register. */
typedef struct {
  HI_U32 u32RegNum;
  ISP_SNS_REG_S astRegs[ISP_MAX_SNS_REGS];
} ISP_SNS_REGS_INFO_S;

typedef struct {
  void (*pfn_sensor_init)(void);        /* starts the sensor in the mode that stands */
  void (*pfn_sensor_exit)(void);        /* when the ISP ends */
  void (*pfn_sensor_global_init)(void); /* at the registration */
  /* HI_SUCCESS: the sensor is to be started in the mode for this picture. Anything else: not supported, or it runs. */
  HI_S32 (*pfn_cmos_set_image_mode)(const ISP_CMOS_SENSOR_IMAGE_MODE_S* pstImageMode);
  HI_S32 (*pfn_cmos_set_wdr_mode)(HI_U8 u8Mode);
  HI_S32 (*pfn_cmos_get_isp_default)(ISP_CMOS_DEFAULT_S* pstDef);
  HI_S32 (*pfn_cmos_get_isp_black_level)(ISP_CMOS_BLACK_LEVEL_S* pstBlackLevel);
  HI_S32 (*pfn_cmos_get_sns_regs_info)(ISP_SNS_REGS_INFO_S* pstRegsInfo);
  void (*pfn_cmos_set_pixel_detect)(HI_BOOL bEnable);
} ISP_SENSOR_REGISTER_S;

/* --- what the exposure library asks --- */

typedef struct {
  HI_U32 u32FullLinesStd; /* lines of a frame at the rate that stands */
  HI_U32 u32LinesPer500ms;
  HI_U32 u32MinIntTime; /* exposure, in lines */
  HI_U32 u32MaxIntTime;
  HI_U32 u32MinAgain; /* gains, 1024 is unity */
  HI_U32 u32MaxAgain;
  HI_U32 u32MinDgain;
  HI_U32 u32MaxDgain;
  HI_FLOAT f32Fps; /* frames per second */
} AE_SENSOR_DEFAULT_S;

typedef struct {
  HI_S32 (*pfn_cmos_get_ae_default)(AE_SENSOR_DEFAULT_S* pstAeSnsDft);
  HI_S32 (*pfn_cmos_fps_set)(HI_FLOAT f32Fps, AE_SENSOR_DEFAULT_S* pstAeSnsDft);
  HI_S32 (*pfn_cmos_slow_framerate_set)(HI_U32 u32FullLines, AE_SENSOR_DEFAULT_S* pstAeSnsDft);
  void (*pfn_cmos_inttime_update)(HI_U32 u32IntTime);
  void (*pfn_cmos_gains_update)(HI_U32 u32Again, HI_U32 u32Dgain); /* values that the two below have given */
  /* In: the gain wanted, 1024 is unity. Out: the gain that the sensor can do, and the value that makes it do so. */
  HI_S32 (*pfn_cmos_again_calc_table)(HI_U32* pu32AgainLin, HI_U32* pu32AgainDb);
  HI_S32 (*pfn_cmos_dgain_calc_table)(HI_U32* pu32DgainLin, HI_U32* pu32DgainDb);
} AE_SENSOR_REGISTER_S;

/* --- what the white balance library asks --- */

typedef struct {
  HI_U16 u16WbRefTemp; /* colour temperature in kelvin at which the offsets hold */
  HI_U16 au16GainOffset[3];
} AWB_SENSOR_DEFAULT_S;

typedef struct {
  HI_S32 (*pfn_cmos_get_awb_default)(AWB_SENSOR_DEFAULT_S* pstAwbSnsDft);
} AWB_SENSOR_REGISTER_S;

/* All three before HI_MPI_ISP_Init, with the same sensor number. The libraries need not be registered yet. */
HI_S32 HI_MPI_ISP_SensorRegCallBack(ISP_DEV IspDev, SENSOR_ID SensorId, const ISP_SENSOR_REGISTER_S* pstRegister);
HI_S32 HI_MPI_ISP_SensorUnRegCallBack(ISP_DEV IspDev, SENSOR_ID SensorId);
HI_S32 HI_MPI_AE_SensorRegCallBack(ISP_DEV IspDev, const ALG_LIB_S* pstAeLib, SENSOR_ID SensorId,
                                   const AE_SENSOR_REGISTER_S* pstRegister);
HI_S32 HI_MPI_AE_SensorUnRegCallBack(ISP_DEV IspDev, const ALG_LIB_S* pstAeLib, SENSOR_ID SensorId);
HI_S32 HI_MPI_AWB_SensorRegCallBack(ISP_DEV IspDev, const ALG_LIB_S* pstAwbLib, SENSOR_ID SensorId,
                                    const AWB_SENSOR_REGISTER_S* pstRegister);
HI_S32 HI_MPI_AWB_SensorUnRegCallBack(ISP_DEV IspDev, const ALG_LIB_S* pstAwbLib, SENSOR_ID SensorId);

/* Supplied by the program: how the ISP sends what pfn_cmos_get_sns_regs_info offers. 0: sent. */
HI_S32 sensor_write_register(HI_U32 u32Addr, HI_U32 u32Data);

#ifdef __cplusplus
}
#endif
#endif
