#include "common/sample_comm_venc/capture_start.h"

#include <sys/select.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstring>

#include "common/fpga_ctrl/array/bring_up.h"
#include "common/fpga_ctrl/capture/capture_sequencer.h"
#include "common/fpga_ctrl/capture/isp_params.h"
#include "common/log.h"
#include "common/sample_comm_isp/picture_settings.h"
#include "common/sample_comm_venc/encoder.h"
#include "common/sample_comm_venc/replay_tables.h"

namespace {

constexpr char kWhole[] = "LumoVencCapture";  // in whose name its steps speak

constexpr int kLoadWaitUs = 40000;    // after each priming load: a frame's way to the encoders
constexpr int kSettleWaitUs = 30000;  // once behind the priming
constexpr int kSingleGain = 32;       // a single picture's settings do not follow its exposure
constexpr BYTE kSingleThresh = 128;

// Where a camera's middle exposure is stored.
struct StoredAt {
  BYTE layIdx;
  BYTE subIdx;
};

StoredAt StoredAtOf(int camIdx) { return {layIdxTable[camIdx], static_cast<BYTE>(SubIdxOf(camIdxTable[camIdx], 1))}; }

// A setting beyond the last camera means the last camera, as it does for a client's request.
int SingleCamIdx(BYTE saveSingle) { return saveSingle <= kCameraCount ? saveSingle - 1 : kCameraCount - 1; }

int LeaveCode(ControlSignals* ctrlSigs, BYTE code) {
  ctrlSigs->needCapture = code;
  return -code;
}

bool Expose(LumoVencStatus* en, ControlSignals* ctrlSigs, ExposureSets* exposures) {
  return LumoCapture(ctrlSigs, &exposures->totalColumns, exposures->shutterLines, exposures->totalLines,
                     exposures->gain, &ctrlSigs->vertexX, &ctrlSigs->vertexY, ctrlSigs->vertexReady, &en->finalExposure,
                     ctrlSigs->twoHalfIdx, ctrlSigs->captureMode, ctrlSigs->strobeMode, ctrlSigs->evCompVal,
                     ctrlSigs->isoMode, ctrlSigs->manualExpsUs, ctrlSigs->manualIso) >= 0;
}

void PublishMiddleExposure(ControlSignals* ctrlSigs, const ExposureSets* exposures) {
  const int midHdrIdx = ReplaySequenceOf(ctrlSigs->captureMode).midHdrIdx;
  // 120 clocks a microsecond. The product of a stretched row and a long shutter needs more than 32 bits.
  const int64_t clocks = int64_t{exposures->totalColumns} * exposures->shutterLines[midHdrIdx];
  ctrlSigs->lastExposure = static_cast<int>(clocks / 120);
  ctrlSigs->lastIso = exposures->gain[midHdrIdx] * 100 / 16;
}

// Sums of tilts wrap, so that a nonsensical value in vertex.ini cannot do harm.
int WrappingAdd(int a, int b) { return static_cast<int>(static_cast<unsigned int>(a) + static_cast<unsigned int>(b)); }
int WrappingNegative(int a) { return static_cast<int>(0u - static_cast<unsigned int>(a)); }

void SaveVertex(const ControlSignals* ctrlSigs) {
  FILE* const file = fopen("vertex.ini", "wb");
  if (file == nullptr) return;
  char text[64];
  const int length = snprintf(text, sizeof(text), "plusvertexx=%d\nplusvertexy=%d\n", ctrlSigs->plusVertexX.load(),
                              ctrlSigs->plusVertexY.load());
  fwrite(text, 1, length, file);
  fflush(file);
  fclose(file);
  LumoLogAs(kWhole, "SaveVertexStr:\n%s", text);
}

// The shot records the corrected tilt; a request for a new zero takes the tilt that was just read.
void CorrectLevel(ControlSignals* ctrlSigs) {
  const BYTE gyroCorrect = ctrlSigs->gyroCorrect;
  if (gyroCorrect != 0) {
    ctrlSigs->plusVertexX = gyroCorrect == 1 ? WrappingNegative(ctrlSigs->vertexX) : 0;
    ctrlSigs->plusVertexY = gyroCorrect == 1 ? WrappingNegative(ctrlSigs->vertexY) : 0;
    ctrlSigs->gyroCorrect = 0;
    SaveVertex(ctrlSigs);
  }
  ctrlSigs->vertexX = WrappingAdd(ctrlSigs->vertexX, ctrlSigs->plusVertexX);
  ctrlSigs->vertexY = WrappingAdd(ctrlSigs->vertexY, ctrlSigs->plusVertexY);
}

void ApplySettings(int gain, bool forceThresh) {
  BYTE u8Thresh;
  LUMO_ISP_BAYER_SHARPEN_S stShp;
  LUMO_ISP_BAYER_SHARPEN_EX_S stShpEx;
  LUMO_ISP_YUV_SHARPEN_MANUAL_ATTR_S stManual;
  LumoCalcIspParas(&u8Thresh, &stShp, &stShpEx, &stManual, gain);
  if (forceThresh) u8Thresh = kSingleThresh;
  SAMPLE_VENC_1080P_MJPEG_JPEG_set_NR(u8Thresh);
  SAMPLE_VENC_1080P_MJPEG_JPEG_set_Sharpen(&stShp, &stShpEx, &stManual);
}

void LoadAndWait(StoredAt at) {
  LumoLoadNew(at.layIdx, at.subIdx);
  usleep(kLoadWaitUs);
}

// Fills the chain with frames of the wanted source, before the encoders take any.
void PrimeWhole() {
  for (int i = 0; i < 8; i++) LoadAndWait({0, 0});
  usleep(kSettleWaitUs);
}

// The chain is switched a layer at a time, so the way to layer 2 leads through layer 1.
void PrimeSingle(StoredAt at) {
  LoadAndWait({0, 0});
  if (at.layIdx == 2) LoadAndWait({1, 0});
  for (int i = 0; i < 7; i++) LoadAndWait(at);
  usleep(kSettleWaitUs);
}

// select takes descriptors below FD_SETSIZE only.
bool Selectable(int descriptor) { return descriptor >= 0 && descriptor < FD_SETSIZE; }

// Returns 0 or the code of the step that failed.
BYTE StartChannels(LumoVencStatus* en, int pictures) {
  VENC_RECV_PIC_PARAM_S stRecvParam = {};
  stRecvParam.s32RecvPicNum = pictures;
  if (HI_MPI_VENC_StartRecvPicEx(VencChn0, &stRecvParam) != HI_SUCCESS) {
    LumoLogAs(kWhole, "HI_MPI_VENC_StartRecvPicEx(VencChn0) error\n");
    return 2;
  }
  if (HI_MPI_VENC_StartRecvPicEx(VencChn1, &stRecvParam) != HI_SUCCESS) {
    LumoLogAs(kWhole, "HI_MPI_VENC_StartRecvPicEx(VencChn1) error\n");
    return 3;
  }
  en->vencFd0 = HI_MPI_VENC_GetFd(VencChn0);
  if (!Selectable(en->vencFd0)) {
    LumoLogAs(kWhole, "HI_MPI_VENC_GetFd(VencChn0) error\n");
    return 4;
  }
  en->vencFd1 = HI_MPI_VENC_GetFd(VencChn1);
  if (!Selectable(en->vencFd1)) {
    LumoLogAs(kWhole, "HI_MPI_VENC_GetFd(VencChn1) error\n");
    return 5;
  }
  return 0;
}

// Copies the camera records one by one, so that only one of them is in memory. The file's length is not checked: a
// short one leaves the last record, or zeros.
void WriteVignetting(FILE* file, FILE* vignetFile) {
  BYTE record[kCameraVignetSize] = {};
  LumoWriteSectionHead(file, camVignetInfosToken, kCameraCount * kCameraVignetSize);
  for (int i = 0; i < kCameraCount; i++) {
    fread(record, 1, sizeof(record), vignetFile);
    fwrite(record, 1, sizeof(record), file);
  }
}

void WriteLogo(FILE* file) {
  FILE* const logoFile = fopen("logo.jpg", "rb");
  if (logoFile == nullptr) return;
  fseek(logoFile, 0, SEEK_END);
  long left = ftell(logoFile);
  if (left < 0) left = 0;
  fseek(logoFile, 0, SEEK_SET);
  LumoWriteSectionHead(file, logoDataSecToken, static_cast<int32_t>(left));
  BYTE block[1024];
  while (left > 0) {
    const size_t wanted = left < long{sizeof(block)} ? left : sizeof(block);
    const size_t got = fread(block, 1, wanted, logoFile);
    if (got == 0) break;
    fwrite(block, 1, got, file);
    left -= static_cast<long>(got);
  }
  fflush(file);
  fclose(logoFile);
}

void WriteHead(LumoVencStatus* en, const ControlSignals* ctrlSigs, const RawImageInfo* rawImgInfo,
               uint16_t fileTypeToken, const CameraConfInfo* camConfInfos, FILE* vignetFile) {
  FILE* const file = en->oriFile;
  LumoWriteToken(file, fileTypeToken);
  LumoWriteSectionHead(file, rawImgInfoToken, sizeof(*rawImgInfo));
  fwrite(rawImgInfo, 1, sizeof(*rawImgInfo), file);
  LumoWriteSectionHead(file, camConfInfosToken, kCamConfInfoSize);
  fwrite(camConfInfos, 1, kCamConfInfoSize, file);
  WriteVignetting(file, vignetFile);
  WriteLogo(file);

  const int jpgDataIndexSize = ReplaySequenceOf(ctrlSigs->captureMode).jpgDataIndexSize;
  LumoWriteSectionHead(file, jpgDataIndexToken, jpgDataIndexSize);
  en->jpgDataIndexOffset = static_cast<int>(ftell(file));
  fwrite(en->jpgDataIndex, 1, jpgDataIndexSize, file);

  en->sumJpgSize = 0;
  LumoWriteToken(file, jpgDataSecToken);
  en->sumJpgSizeOffset = static_cast<int>(ftell(file));
  fwrite(&en->sumJpgSize, 1, sizeof(en->sumJpgSize), file);
  fflush(file);
  sync();  // so that a power failure leaves a file with a full head
}

// Returns 0 or the code of the step that failed. The calibration files come first: without them no file is left.
BYTE OpenContainer(LumoVencStatus* en, ControlSignals* ctrlSigs, const ExposureSets* exposures, const tm* localTime,
                   int microseconds) {
  RawImageInfo rawImgInfo;
  LumoFillRawImageInfo(&rawImgInfo, ctrlSigs, exposures, localTime, microseconds, en->shootIdx);
  const uint16_t fileTypeToken = LumoIsOriShot(ctrlSigs) ? kFileTypeTokenOri : kFileTypeTokenDwo;

  CameraConfInfo camConfInfos[kCameraCount] = {};
  if (LumoReadCameraConf(camConfInfos) < 0) {
    LumoLogAs(kWhole, "Read CameraConf_800 error\n");
    return 6;
  }
  FILE* const vignetFile = fopen("CameraVignet_800", "rb");
  if (vignetFile == nullptr) {
    LumoLogAs(kWhole, "Read CameraVignet_800 error\n");
    return 7;
  }

  LumoShotTmpPath(en->oriPath, ctrlSigs, localTime);
  const bool positionKnown = ctrlSigs->longitude != 0 || ctrlSigs->latitude != 0;
  // Two digits each: the masks change nothing in a time of day, they show the compiler that the text fits.
  snprintf(ctrlSigs->oriInfo, sizeof(ctrlSigs->oriInfo), "%02d%02d%02d %c %c", localTime->tm_hour & 0x3F,
           localTime->tm_min & 0x3F, localTime->tm_sec & 0x3F, ctrlSigs->isoMode != 0 ? 'Y' : 'N',
           positionKnown ? 'Y' : 'N');
  en->oriFile = fopen(en->oriPath, "wb");
  if (en->oriFile == nullptr) {
    LumoLogAs(kWhole, "fopen oriPath error\n");
    fclose(vignetFile);
    return 8;
  }
  memset(en->jpgDataIndex, 0, sizeof(en->jpgDataIndex));
  WriteHead(en, ctrlSigs, &rawImgInfo, fileTypeToken, camConfInfos, vignetFile);
  fclose(vignetFile);
  return 0;
}

BYTE OpenSingle(LumoVencStatus* en, int camIdx) {
  LumoSingleTmpPath(en->oriPath, camIdx);
  en->oriFile = fopen(en->oriPath, "wb");
  if (en->oriFile == nullptr) {
    LumoLogAs(kWhole, "fopen oriPath error\n");
    return 8;
  }
  en->jpgDataIndexOffset = 0;
  en->sumJpgSize = 0;
  en->sumJpgSizeOffset = 0;
  return 0;
}

void BeginFile(LumoVencStatus* en, const ControlSignals* ctrlSigs, const ExposureSets* exposures) {
  en->shootIdx++;
  en->fileOffset = 0;
  en->mode = ctrlSigs->captureMode;
  for (int i = 0; i < 6; i++) {
    en->gain[i] = exposures->gain[i];
    en->expsTime[i] =
        static_cast<float>(exposures->totalColumns) * static_cast<float>(exposures->shutterLines[i]) / 1.2e+08f;
  }
  en->evBiasMode = ctrlSigs->evCompVal;
  en->isoMode = ctrlSigs->isoMode;
}

}  // namespace

void LumoApplyGain(int gain) { ApplySettings(gain, false); }

int LumoVencCapture(LumoVencStatus* en, ControlSignals* ctrlSigs) {
  LumoLog("Start Cap\n");
  ExposureSets exposures = {};
  if (!Expose(en, ctrlSigs, &exposures)) {
    LumoLog("LumoCapture error\n");
    LumoFpgaReInit();
    return LeaveCode(ctrlSigs, 1);
  }
  PublishMiddleExposure(ctrlSigs, &exposures);
  CorrectLevel(ctrlSigs);

  const BYTE saveSingle = ctrlSigs->saveSingle;
  const int camIdx = SingleCamIdx(saveSingle);
  StoredAt first = {0, 0};
  int pictures = 20;
  if (saveSingle == 0) {
    LumoApplyGain(exposures.gain[0]);
    PrimeWhole();
    pictures = ctrlSigs->captureMode < 2 ? 120 : 240;
  } else {
    ApplySettings(kSingleGain, true);
    first = StoredAtOf(camIdx);
    PrimeSingle(first);
  }
  if (const BYTE code = StartChannels(en, pictures); code != 0) return LeaveCode(ctrlSigs, code);

  timeval now = {};
  tm localTime = {};
  gettimeofday(&now, nullptr);
  localtime_r(&now.tv_sec, &localTime);
  if (saveSingle != 0 || ctrlSigs->twoHalfIdx < 2) {
    const BYTE code = saveSingle != 0
                          ? OpenSingle(en, camIdx)
                          : OpenContainer(en, ctrlSigs, &exposures, &localTime, static_cast<int>(now.tv_usec));
    if (code != 0) return LeaveCode(ctrlSigs, code);
    BeginFile(en, ctrlSigs, &exposures);
  }
  en->halfCnt = 0;
  en->fullCnt = 0;
  ctrlSigs->needCapture = 0;
  LumoLoadNew(first.layIdx, first.subIdx);
  LumoLog("Finish Cap   ShootIdx:%d\n", en->shootIdx);
  return 0;
}
