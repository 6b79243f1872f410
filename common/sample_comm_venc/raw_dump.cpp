#include "common/sample_comm_venc/raw_dump.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/calibration.h"
#include "common/fpga_ctrl/capture/capture_sequencer.h"
#include "common/fpga_ctrl/device/clock.h"
#include "common/log.h"
#include "common/sample_comm_sys/frame_memory.h"
#include "common/sample_comm_venc/dng_writer.h"
#include "common/sample_comm_venc/raw_preprocess.h"
#include "common/sample_comm_venc/raw_tables.h"

namespace {

constexpr char kWhole[] = "LumoDumpRawList";  // in whose name its steps speak

constexpr int kRawBufSize = kRawWidth * kRawHeight;
constexpr size_t kRawBytes = kRawBufSize * sizeof(uint16_t);
static_assert(kRawBufSize == 7990272 && kRawBytes == 15980544);

constexpr BYTE kNoFolder = 12;
constexpr BYTE kNoFrame = 13;
constexpr BYTE kNoFile = 14;

constexpr unsigned int kLoadTime = 200;  // ms that a load gets at least before its frame is taken
constexpr useconds_t kLoadPoll = 10000;
constexpr useconds_t kFirstLoadTime = 80000;

constexpr HI_U32 u32DesIdAddr = 0x11380210;  // 1: the input's data goes to memory
constexpr VI_CHN kDumpChannel = 17;          // of device 0; the next device's is one more
constexpr useconds_t kDepthTime = 5000;
constexpr HI_S32 kFrameTimeout = 2000;  // ms

int memDev = -1;

// Ends a pass, good or bad, with its files on the disk. Returns the negative of the code.
int EndPass(ControlSignals* ctrlSigs, uint16_t* rawBuf, BYTE code) {
  free(rawBuf);
  ctrlSigs->rawLoadInfo = kRawLoadEmpty;
  sync();
  ctrlSigs->needSave = code;
  return -code;
}

// The shot's path without its extension. Returns false if there is no such folder and none can be made.
bool MakeFolder(const LumoVencStatus* en, char* rawDir) {
  const size_t length = strlen(en->oriPath);
  const size_t stem = length > 4 ? length - 4 : 0;
  memcpy(rawDir, en->oriPath, stem);
  memcpy(rawDir + stem, "/", 2);
  return access(rawDir, W_OK) == 0 || mkdir(rawDir, 0777) == 0;
}

// Cleans the frame `idx`, hdrCnt x camera + exposure, and writes its file.
int SaveRaw(const LumoVencStatus* en, uint16_t* rawBuf, int idx, int* orderTable, const char* rawDir) {
  const int hdrCnt = RawSequenceOf(en->mode).hdrCnt;
  const int camIdx = idx / hdrCnt;
  const int hdrIdx = idx % hdrCnt;
  char rawPath[sizeof(en->oriPath) + 32];  // also for what no number here is
  snprintf(rawPath, sizeof(rawPath), "%sRAW_%02d_%d.dng", rawDir, camIdx, hdrIdx);
  LumoLogAs(kWhole, "SaveRaw:%s\n", rawPath);
  PreProcRawData(rawBuf, kRawWidth, kRawHeight, camIdx, orderTable);
  return LumoSaveDNG(rawBuf, kRawWidth, kRawHeight, camIdx, hdrIdx, en, rawPath);
}

}  // namespace

int LumoDumpRawList(const LumoVencStatus* en, ControlSignals* ctrlSigs) {
  char rawDir[sizeof(en->oriPath)];
  if (!MakeFolder(en, rawDir)) {
    LumoLog("mkdir error\n");
    return EndPass(ctrlSigs, nullptr, kNoFolder);
  }
  const RawSequence& sequence = RawSequenceOf(en->mode);
  int orderTable[kCameraCount] = {};
  uint16_t* const rawBuf = static_cast<uint16_t*>(malloc(kRawBytes));

  // The replay ended in layer 2, and the first frame is in layer 0: the read-out moves one layer at a time.
  LumoLoadNew(1, 0);
  usleep(kFirstLoadTime);

  // While image i is being loaded, image i - 1 is written.
  for (int i = 0; i <= sequence.imgNum; i++) {
    const bool loads = i < sequence.imgNum;
    const int layIdx = i < sequence.cntA ? 0 : i < sequence.cntB ? 1 : 2;
    const int subIdx = loads ? sequence.subIdx[i] : 0;
    if (loads) ctrlSigs->rawLoadInfo = static_cast<BYTE>(layIdx * 64 + subIdx);
    const unsigned int stTime = LumoGetTime();
    if (i > 0 && SaveRaw(en, rawBuf, sequence.idxMap[i - 1], orderTable, rawDir) != 0) {
      return EndPass(ctrlSigs, rawBuf, kNoFile);
    }
    while (LumoGetTime() - stTime < kLoadTime) usleep(kLoadPoll);
    if (loads) {
      LumoLog("DumpRaw layIdx:%d, subIdx:%d\n", layIdx, subIdx);
      if (LumoDumpRaw(rawBuf, kRawBufSize) != 0) return EndPass(ctrlSigs, rawBuf, kNoFrame);
    }
  }

  for (int camIdx = 0; camIdx < kCameraCount; camIdx++) LumoLog("order%02d: %d\n", camIdx, orderTable[camIdx]);
  return EndPass(ctrlSigs, rawBuf, 0);
}

int LumoDumpRaw(uint16_t* rawBuf, int rawBufSize) {
  constexpr VI_DEV ViDev = 0;
  HI_U32 u32BackupValue = 0;
  HI_S32 s32Ret = HI_MPI_SYS_GetReg(u32DesIdAddr, &u32BackupValue);
  if (s32Ret != HI_SUCCESS) {
    LumoLog("HI_MPI_SYS_GetReg failed, s32Ret = %d!\n", s32Ret);
    return s32Ret;
  }
  s32Ret = HI_MPI_VI_EnableBayerDump(ViDev);
  if (s32Ret != HI_SUCCESS) {
    LumoLog("HI_MPI_VI_EnableBayerDump failed(0x%x)!\n", s32Ret);
  } else {
    s32Ret = HI_MPI_SYS_SetReg(u32DesIdAddr, 1);
    if (s32Ret != HI_SUCCESS) {
      LumoLog("HI_MPI_SYS_SetReg failed, s32Ret = 0x%x!\n", s32Ret);
    } else {
      s32Ret = VI_DumpBayer(ViDev, rawBuf, rawBufSize);
      if (s32Ret != HI_SUCCESS) LumoLog("VI_StartBayerData failed!\n");
    }
  }
  HI_MPI_VI_DisableBayerDump(ViDev);
  HI_MPI_SYS_SetReg(u32DesIdAddr, u32BackupValue);
  return s32Ret;
}

int VI_DumpBayer(VI_DEV ViDev, uint16_t* rawBuf, int rawBufSize) {
  const VI_CHN ViChn = ViDev + kDumpChannel;
  if (HI_MPI_VI_SetFrameDepth(ViChn, 1) != HI_SUCCESS) {
    LumoLog("HI_MPI_VI_SetFrameDepth err, vi chn %d \n", ViChn);
    return -1;
  }
  usleep(kDepthTime);
  VIDEO_FRAME_INFO_S astFrame = {};
  if (HI_MPI_VI_GetFrame(ViChn, &astFrame, kFrameTimeout) != HI_SUCCESS) {
    LumoLog("HI_MPI_VI_GetFrame err, vi chn %d \n", ViChn);
    return -1;
  }
  VIDEO_FRAME_INFO_S stFrame = {};
  const HI_S32 second = HI_MPI_VI_GetFrame(ViChn, &stFrame, kFrameTimeout);
  if (second != HI_SUCCESS) LumoLog("get vi chn %d frame err\n", ViChn);
  HI_MPI_VI_ReleaseFrame(ViChn, &astFrame);
  if (second != HI_SUCCESS) return -1;

  const VIDEO_FRAME_S& frame = stFrame.stVFrame;
  const uint64_t samples = uint64_t{frame.u32Width} * frame.u32Height;
  const bool fits = rawBuf != nullptr && rawBufSize >= 0 && samples <= static_cast<uint64_t>(rawBufSize);
  const int result = fits ? sample_bayer_dump(&frame, rawBuf) : -1;
  HI_MPI_VI_ReleaseFrame(ViChn, &stFrame);
  return result;
}

int sample_bayer_dump(const VIDEO_FRAME_S* frame, uint16_t* rawBuf) {
  const size_t bytes = size_t{frame->u32Height} * frame->u32Width * sizeof(uint16_t);
  const size_t mappedBytes = size_t{frame->u32Height} * frame->u32Stride[0] * sizeof(uint16_t);
  if (mappedBytes < bytes) return -1;
  if (memDev < 0) memDev = open("/dev/mem", O_RDWR | O_CREAT | O_SYNC, 0600);
  if (memDev < 0) {
    perror("Open dev/mem error");
    return -1;
  }
  void* const mapped = COMM_SYS_Mmap(memDev, frame->u32PhyAddr[0], mappedBytes);
  if (mapped != nullptr) {
    memcpy(rawBuf, mapped, bytes);
    COMM_SYS_Munmap(mapped, mappedBytes);
  } else {
    LumoLog("COMM_SYS_Mmap error\n");
  }
  if (close(memDev) != 0) perror("Close mem/dev Fail");
  memDev = -1;
  return mapped != nullptr ? 0 : -1;
}
