// The state of one shot. One instance lives as long as the snap loop, as a local of LumoVencSnapProcess; the code that
// opens, files and closes a shot is handed a pointer to it. Private to the main thread.
#pragma once

#include <cstdio>

#include "common/sample_comm_venc/container.h"
#include "common/types.h"
#include "sdk/hi_mpi_venc.h"

struct TagLumoVencStatus {
  BYTE isBusy;           // 1 while a shot is open
  int vencFd0;           // descriptor of channel 0; -1 before the first shot
  int vencFd1;           // descriptor of channel 1; -1 before the first shot
  int packSize;          // bytes at pstPack
  VENC_PACK_S* pstPack;  // handed to HI_MPI_VENC_GetStream; malloc, grown on demand, kept between shots
  int fileOffset;        // bytes of JPEG data written so far: the next JPEG's offset in the JPEG section
  int sumJpgSize;        // total of the JPEG section, set when the file is closed
  JpgDataIndexInfo jpgDataIndex[kMaxJpgDataIndex];  // built while frames arrive, written at the end
  int jpgDataIndexOffset;                           // file position of the index body
  int sumJpgSizeOffset;                             // file position of the JPEG section's size
  BYTE* jpgFileBuf;    // half JPEG of the thumbnail's camera, then the thumbnail; malloc, kept between shots
  int jpgFileBufSize;  // capacity of jpgFileBuf
  int mode;            // captureMode of the open file: below 2 three exposures, else six
  int halfCnt;         // frames of channel 1 in this shot
  int fullCnt;         // frames of channel 0 in this shot
  int retryCnt;        // timeouts that stepped the sequence back; survives a restart
  int shootIdx;        // files started since power-on
  int finalExposure;   // base exposure, kept by LumoCapture between the halves of a two-half shot
  int gain[6];         // per exposure, in sixteenths
  float expsTime[6];   // per exposure, in seconds
  int isoMode;
  int evBiasMode;  // evCompVal, thirds of a stop
  FILE* oriFile;   // the open shot file; NOT null after a failed shot, which leaves its stream behind
  char oriPath[kOriPathSize];
};
using LumoVencStatus = TagLumoVencStatus;
