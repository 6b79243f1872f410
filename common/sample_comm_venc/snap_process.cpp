#include "common/sample_comm_venc/snap_process.h"

#include <sys/select.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/fpga_ctrl/capture/capture_sequencer.h"
#include "common/log.h"
#include "common/sample_comm_venc/capture_end.h"
#include "common/sample_comm_venc/capture_start.h"
#include "common/sample_comm_venc/encoder.h"
#include "common/sample_comm_venc/frame_filing.h"
#include "common/sample_comm_venc/raw_dump.h"
#include "common/sample_comm_venc/raw_preprocess.h"
#include "common/sample_comm_venc/replay_tables.h"
#include "common/sample_comm_venc/venc_status.h"

namespace {

constexpr char kWhole[] = "LumoVencSnapProcess";  // in whose name its steps speak

constexpr int kPollUs = 1000;
constexpr int kFrameTimeoutUs = 300000;

constexpr BYTE kNoFrames = 10;
constexpr BYTE kNoStream0 = 11;  // channel 1: one more

// Which channels have given the frame that was last asked for.
struct FramePair {
  bool saveChn0;
  bool saveChn1;
};

enum class Handled {
  kGoOn,      // look at the next step of this pass
  kToHead,    // the shot is over: back to the head of the loop
  kNoMemory,  // the loop ends
};

void StopChannels() {
  HI_MPI_VENC_StopRecvPic(VencChn0);
  HI_MPI_VENC_StopRecvPic(VencChn1);
}

// Puts the array to rest and removes the unfinished file. Its stream is left as it is, not closed: nothing may assume
// that oriFile is null after a failed shot.
void DropShot(LumoVencStatus* en) {
  LumoCaptureEnd();
  StopChannels();
  remove(en->oriPath);
  en->isBusy = 0;
}

void AbortShot(LumoVencStatus* en, ControlSignals* ctrlSigs, BYTE code) {
  DropShot(en);
  en->retryCnt = 0;
  ctrlSigs->needSave = code;
}

void LoadCurrent(const LumoVencStatus* en) {
  const ReplaySequence& sequence = ReplaySequenceOf(en->mode);
  const int layIdx = en->fullCnt < sequence.cntA ? 0 : en->fullCnt < sequence.cntB ? 1 : 2;
  const int subIdx = en->fullCnt < sequence.cntD ? sequence.subIdx[en->fullCnt] : sequence.maxSubIdx;
  LumoLoadNew(static_cast<BYTE>(layIdx), static_cast<BYTE>(subIdx));
}

void HandleTimeout(LumoVencStatus* en, ControlSignals* ctrlSigs) {
  if (ctrlSigs->saveSingle != 0) {
    LumoLogAs(kWhole, "Too many Retry LumoLoadNew\n");
    AbortShot(en, ctrlSigs, kNoFrames);
    return;
  }
  LumoLogAs(kWhole, "Retry LumoLoadNew\n");
  const ReplaySequence& sequence = ReplaySequenceOf(en->mode);
  // Where a layer begins, the frame before the lost one would be of another layer: the same entry is asked for again.
  // Such a timeout counts nothing, and so it can neither restart the shot nor end it.
  const bool counted = en->fullCnt != 0 && en->fullCnt != sequence.cntA && en->fullCnt != sequence.cntB;
  if (counted) {
    en->fullCnt--;
    en->halfCnt--;
    en->retryCnt++;
  }
  const bool restartDue = en->retryCnt == 8 || en->retryCnt == 16 || en->retryCnt == 24;
  if (counted && restartDue && ctrlSigs->twoHalfIdx == 0) {
    LumoLogAs(kWhole, "Restart LumoLoadNew\n");
    DropShot(en);
    ctrlSigs->needCapture = kShotRunning;
  } else if (counted && en->retryCnt == 32) {
    LumoLogAs(kWhole, "Too many Retry LumoLoadNew\n");
    AbortShot(en, ctrlSigs, kNoFrames);
  } else {
    LoadCurrent(en);
  }
}

// Grows the pack buffer. The old one need not be kept: it holds nothing between frames.
bool ReservePacks(LumoVencStatus* en, HI_U32 packs) {
  const uint64_t needed = uint64_t{packs} * sizeof(VENC_PACK_S);
  if (static_cast<uint64_t>(en->packSize) >= needed) return true;
  free(en->pstPack);
  en->packSize = 0;
  en->pstPack = needed <= INT_MAX / 2 ? static_cast<VENC_PACK_S*>(malloc(2 * needed)) : nullptr;
  if (en->pstPack == nullptr) return false;
  en->packSize = static_cast<int>(2 * needed);
  return true;
}

Handled HandleFrame(LumoVencStatus* en, ControlSignals* ctrlSigs, VENC_CHN channel, bool* saved) {
  VENC_CHN_STAT_S stStat = {};
  if (HI_MPI_VENC_Query(channel, &stStat) != HI_SUCCESS || stStat.u32CurPacks == 0) {
    LumoLogAs(kWhole, "HI_MPI_VENC_Query(VencChn%d) error\n", channel);
    AbortShot(en, ctrlSigs, kNoFrames);
    return Handled::kToHead;
  }
  LumoLogAs(kWhole, "Recv Frame Ch%d %d\n", channel, channel == VencChn0 ? en->fullCnt : en->halfCnt);
  if (!ReservePacks(en, stStat.u32CurPacks)) {
    LumoLogAs(kWhole, "malloc error\n");
    return Handled::kNoMemory;
  }
  VENC_STREAM_S stStream = {};
  memset(en->pstPack, 0, en->packSize);  // a success that has filled nothing gives nothing, and not the frame before
  stStream.pstPack = en->pstPack;
  stStream.u32PackCount = stStat.u32CurPacks;
  if (HI_MPI_VENC_GetStream(channel, &stStream, -1) == HI_SUCCESS) {
    SAMPLE_COMM_VENC_SaveSnap(&stStream, en, channel, ctrlSigs);
    HI_MPI_VENC_ReleaseStream(channel, &stStream);
  } else {
    AbortShot(en, ctrlSigs, static_cast<BYTE>(kNoStream0 + channel));
    // Channel 0 differs on purpose: its frame counts as taken, and channel 1 is still looked at in this pass.
    if (channel == VencChn1) return Handled::kToHead;
  }
  *saved = true;
  return Handled::kGoOn;
}

// The array rests only after the raw pass, which replays its frames once more.
void CloseShot(LumoVencStatus* en, ControlSignals* ctrlSigs) {
  if (LumoVencCaptureEnd(en, ctrlSigs) == 0) {
    if (ctrlSigs->saveSingle == 0 && ctrlSigs->saveRaw != 0) {
      LumoDumpRawList(en, ctrlSigs);
    } else {
      ctrlSigs->needSave = 0;
    }
  }
  LumoCaptureEnd();
  en->isBusy = 0;
  en->retryCnt = 0;
}

// The exposure whose run in a layer begins at the present frame, or -1.
int ExposureBegun(const LumoVencStatus* en) {
  const ReplaySequence& sequence = ReplaySequenceOf(en->mode);
  const int starts[kLayers] = {0, sequence.cntA, sequence.cntB};
  for (int layer = 0; layer < kLayers; layer++) {
    for (int exposure = 0; exposure < sequence.hdrCnt; exposure++) {
      if (en->fullCnt == starts[layer] + exposure * (kLayerCameras[layer] + 2)) return exposure;
    }
  }
  return -1;
}

void Advance(LumoVencStatus* en, ControlSignals* ctrlSigs) {
  const int frames = ReplaySequenceOf(en->mode).cntD + 1;
  if (ctrlSigs->saveSingle != 0 || (en->fullCnt == frames && en->halfCnt == frames)) {
    CloseShot(en, ctrlSigs);
    return;
  }
  LumoLogAs(kWhole, "Load Next\n");
  const int exposure = ExposureBegun(en);
  if (exposure >= 0 && en->gain[exposure] >= 0) LumoApplyGain(en->gain[exposure]);
  LoadCurrent(en);
}

// One pass of an open shot. Returns false if the loop must end.
bool FollowShot(LumoVencStatus* en, ControlSignals* ctrlSigs, FramePair* frames) {
  fd_set readable;
  FD_ZERO(&readable);
  FD_SET(en->vencFd0, &readable);
  FD_SET(en->vencFd1, &readable);
  timeval timeout = {0, kFrameTimeoutUs};
  const int maxFd = en->vencFd0 > en->vencFd1 ? en->vencFd0 : en->vencFd1;
  if (select(maxFd + 1, &readable, nullptr, nullptr, &timeout) < 1) {
    HandleTimeout(en, ctrlSigs);
    usleep(kPollUs);
    return true;
  }
  struct {
    int descriptor;
    VENC_CHN channel;
    bool* saved;
  } const channels[] = {{en->vencFd0, VencChn0, &frames->saveChn0}, {en->vencFd1, VencChn1, &frames->saveChn1}};
  for (const auto& one : channels) {
    if (!FD_ISSET(one.descriptor, &readable)) continue;
    const Handled handled = HandleFrame(en, ctrlSigs, one.channel, one.saved);
    if (handled == Handled::kNoMemory) return false;
    if (handled == Handled::kToHead) return true;
  }
  if (frames->saveChn0 && frames->saveChn1) {
    *frames = {};
    Advance(en, ctrlSigs);
  }
  usleep(kPollUs);
  return true;
}

}  // namespace

int LumoVencSnapProcess(ControlSignals* ctrlSigs) {
  InitRandomTable();
  LumoVencStatus en = {};
  en.vencFd0 = -1;
  en.vencFd1 = -1;
  FramePair frames = {};
  for (;;) {
    if (en.isBusy != 0) {
      if (!FollowShot(&en, ctrlSigs, &frames)) {
        free(en.jpgFileBuf);
        return -1;
      }
      continue;
    }
    if (ctrlSigs->needQuit != 0) {
      free(en.jpgFileBuf);
      return 0;
    }
    if (ctrlSigs->needCapture == kShotRunning) {
      if (LumoVencCapture(&en, ctrlSigs) == 0) {
        en.isBusy = 1;
        frames = {};  // a shot that failed between its channels may have left one set
      } else {
        LumoLog("LumoVencCapture error\n");
        StopChannels();
      }
    }
    usleep(kPollUs);
  }
}
