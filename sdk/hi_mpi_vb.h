/* Video buffer pools: the memory that pictures travel in. */
#ifndef LUMORA_SDK_HI_MPI_VB_H
#define LUMORA_SDK_HI_MPI_VB_H

#include "sdk/hi_type.h"

#ifdef __cplusplus
extern "C" {
#endif

#define VB_MAX_COMM_POOLS 16

typedef struct {
  HI_U32 u32BlkSize; /* bytes */
  HI_U32 u32BlkCnt;  /* 0: no such pool */
} VB_CPOOL_S;

typedef struct {
  HI_U32 u32MaxPoolCnt; /* common and private pools together */
  VB_CPOOL_S astCommPool[VB_MAX_COMM_POOLS];
} VB_CONF_S;

HI_S32 HI_MPI_VB_SetConf(const VB_CONF_S* pstVbConf); /* before HI_MPI_VB_Init */
HI_S32 HI_MPI_VB_Init(void);
HI_S32 HI_MPI_VB_Exit(void); /* after HI_MPI_SYS_Exit; also when the pools are not up */

#ifdef __cplusplus
}
#endif
#endif
