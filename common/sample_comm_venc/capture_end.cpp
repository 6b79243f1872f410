#include "common/sample_comm_venc/capture_end.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "common/fpga_ctrl/capture/thumbnail.h"
#include "common/log.h"
#include "common/sample_comm_venc/encoder.h"
#include "common/sample_comm_venc/replay_tables.h"

namespace {

constexpr char kWhole[] = "LumoVencCaptureEnd";  // in whose name its steps speak

constexpr int kHalfWidth = 1632;
constexpr int kHalfHeight = 1224;
constexpr int kThumbWidth = kHalfWidth / 4;
constexpr int kThumbHeight = kHalfHeight / 4;
constexpr int kThumbQuality = 80;
constexpr size_t kSrcYUVSize = size_t{kHalfWidth} * kHalfHeight * 3 / 2;
constexpr size_t kDstYUVSize = size_t{kThumbWidth} * kThumbHeight * 3 / 2;
static_assert(kSrcYUVSize + kDstYUVSize == 3183624);
static_assert(kThumbWidth >= kMinZoomWidth);

// Always tries both.
void StopAndReport(ControlSignals* ctrlSigs) {
  if (HI_MPI_VENC_StopRecvPic(VencChn0) != HI_SUCCESS) {
    LumoLogAs(kWhole, "HI_MPI_VENC_StopRecvPic(VencChn0) error\n");
    ctrlSigs->needSave = 1;
  }
  if (HI_MPI_VENC_StopRecvPic(VencChn1) != HI_SUCCESS) {
    LumoLogAs(kWhole, "HI_MPI_VENC_StopRecvPic(VencChn1) error\n");
    ctrlSigs->needSave = 2;
  }
}

void CloseFile(LumoVencStatus* en) {
  fclose(en->oriFile);
  en->oriFile = nullptr;
}

// Returns 0 or the code of the step that failed.
BYTE PatchIndex(LumoVencStatus* en) {
  const size_t jpgDataIndexSize = ReplaySequenceOf(en->mode).jpgDataIndexSize;
  en->sumJpgSize = en->fileOffset;
  if (fseek(en->oriFile, en->jpgDataIndexOffset, SEEK_SET) != 0) {
    LumoLogAs(kWhole, "fseek error\n");
    return 4;
  }
  if (fwrite(en->jpgDataIndex, 1, jpgDataIndexSize, en->oriFile) != jpgDataIndexSize) {
    LumoLogAs(kWhole, "fwrite error\n");
    return 5;
  }
  fflush(en->oriFile);
  if (fseek(en->oriFile, en->sumJpgSizeOffset, SEEK_SET) != 0) {
    LumoLogAs(kWhole, "fseek error\n");
    return 6;
  }
  fwrite(&en->sumJpgSize, 1, sizeof(en->sumJpgSize), en->oriFile);
  fflush(en->oriFile);
  if (fseek(en->oriFile, 0, SEEK_END) != 0) {
    LumoLogAs(kWhole, "fseek error\n");
    return 8;
  }
  return 0;
}

// Whether jpgFileBuf holds the half picture of the index entry. A camera number from a setting file may point past
// the half pictures, of which none is ever kept.
bool HasHalfJpeg(const LumoVencStatus* en, int thumbIdx) {
  return en->jpgFileBuf != nullptr && thumbIdx < ReplaySequenceOf(en->mode).fullOffset &&
         en->jpgDataIndex[thumbIdx].jpgFileSize <= en->jpgFileBufSize;
}

// Makes the thumbnail in `block`, which holds the half picture and behind it the thumbnail's samples, and writes its
// section. Returns 0 or the code of the step that failed.
BYTE WriteThumbnail(LumoVencStatus* en, int thumbIdx, BYTE* block) {
  BYTE* const srcYUVBytes = block;
  BYTE* const dstYUVBytes = block + kSrcYUVSize;
  if (!HasHalfJpeg(en, thumbIdx) ||
      LoadJPGBuf(srcYUVBytes, en->jpgFileBuf, en->jpgDataIndex[thumbIdx].jpgFileSize, kHalfWidth, kHalfHeight) < 0) {
    LumoLogAs(kWhole, "LoadJPGBuf error\n");
    return 10;
  }
  ZoomQtrYuv(dstYUVBytes, srcYUVBytes, kThumbWidth, kThumbHeight);
  // The thumbnail takes the place of the half JPEG. If that buffer is smaller than a thumbnail could become, the half
  // picture's samples, which are no longer needed, give way instead.
  const bool fits = en->jpgFileBufSize >= LumoJPGBufSize(kThumbWidth, kThumbHeight);
  BYTE* const thumbnail = fits ? en->jpgFileBuf : srcYUVBytes;
  int jpgFileSize = 0;
  if (SaveJPGBuf(thumbnail, &jpgFileSize, dstYUVBytes, kThumbWidth, kThumbHeight, kThumbQuality) < 0) {
    LumoLogAs(kWhole, "SaveJPGBuf error\n");
    return 11;
  }
  LumoWriteSectionHead(en->oriFile, thumbDataSecToken, jpgFileSize);
  fwrite(thumbnail, 1, jpgFileSize, en->oriFile);
  fflush(en->oriFile);
  return 0;
}

BYTE FinishContainer(LumoVencStatus* en, const ControlSignals* ctrlSigs) {
  if (const BYTE code = PatchIndex(en); code != 0) return code;
  BYTE* const block = static_cast<BYTE*>(malloc(kSrcYUVSize + kDstYUVSize));
  if (block == nullptr) {
    LumoLogAs(kWhole, "malloc error\n");
    return 9;
  }
  const BYTE code = WriteThumbnail(en, ThumbIdxOf(ReplaySequenceOf(en->mode), ctrlSigs->thumbCamIdx), block);
  free(block);
  return code;
}

// Closes the file and gives it the name it keeps. A rename that fails leaves the temporary name. The disk gets the file
// before it gets the name, and the name before anybody is told: what the kernel keeps back is lost with the battery.
void TakeFinalName(LumoVencStatus* en, const char* extension) {
  char oldPath[kOriPathSize];
  memcpy(oldPath, en->oriPath, sizeof(oldPath));
  CloseFile(en);
  sync();
  LumoSetExtension(en->oriPath, extension);
  rename(oldPath, en->oriPath);
  sync();
}

}  // namespace

int LumoVencCaptureEnd(LumoVencStatus* en, ControlSignals* ctrlSigs) {
  LumoLog("End Cap\n");
  StopAndReport(ctrlSigs);
  if (ctrlSigs->needSave == 1 || ctrlSigs->needSave == 2) return -ctrlSigs->needSave;
  if (en->oriFile == nullptr) {
    ctrlSigs->needSave = 3;
    LumoLog("en->oriFile is NULL error\n");
    return -3;
  }
  if (ctrlSigs->saveSingle != 0) {
    TakeFinalName(en, "jpg");
  } else if (ctrlSigs->twoHalfIdx != 1) {
    if (const BYTE code = FinishContainer(en, ctrlSigs); code != 0) {
      CloseFile(en);
      ctrlSigs->needSave = code;
      return -code;
    }
    TakeFinalName(en, LumoIsOriShot(ctrlSigs) ? "ori" : "dwo");
  }
  return ctrlSigs->needSave == kShotRunning ? 0 : -ctrlSigs->needSave;
}
