#include "common/sample_comm_venc/frame_filing.h"

#include <climits>
#include <cstdlib>
#include <cstring>

#include "common/log.h"
#include "common/sample_comm_venc/replay_tables.h"

namespace {

constexpr char kWhole[] = "SAMPLE_COMM_VENC_SaveSnap";  // in whose name its steps speak

const BYTE* Payload(const VENC_PACK_S& pack) { return pack.pu8Addr + pack.u32Offset; }

// A pack whose payload would begin behind its end has none.
HI_U32 PayloadSize(const VENC_PACK_S& pack) { return pack.u32Len > pack.u32Offset ? pack.u32Len - pack.u32Offset : 0; }

uint64_t EncodedSize(const VENC_STREAM_S* pstStream) {
  uint64_t size = 0;
  for (HI_U32 i = 0; i < pstStream->u32PackCount; i++) size += PayloadSize(pstStream->pstPack[i]);
  return size;
}

void WritePacks(const VENC_STREAM_S* pstStream, FILE* file) {
  for (HI_U32 i = 0; i < pstStream->u32PackCount; i++) {
    const VENC_PACK_S& pack = pstStream->pstPack[i];
    fwrite(Payload(pack), 1, PayloadSize(pack), file);
    fflush(file);
  }
}

void KeepForThumbnail(const VENC_STREAM_S* pstStream, LumoVencStatus* en, int encodedSize) {
  if (en->jpgFileBufSize < encodedSize) {
    free(en->jpgFileBuf);
    en->jpgFileBufSize = 0;
    // A size of 0 does not come here. NOLINTNEXTLINE(clang-analyzer-optin.portability.UnixAPI)
    en->jpgFileBuf = encodedSize <= INT_MAX / 2 ? static_cast<BYTE*>(malloc(size_t{2} * encodedSize)) : nullptr;
    if (en->jpgFileBuf == nullptr) {
      LumoLogAs(kWhole, "malloc en->jpgFileBuf error\n");
      return;
    }
    en->jpgFileBufSize = 2 * encodedSize;
  }
  BYTE* to = en->jpgFileBuf;
  for (HI_U32 i = 0; i < pstStream->u32PackCount; i++) {
    const VENC_PACK_S& pack = pstStream->pstPack[i];
    if (PayloadSize(pack) == 0) continue;
    memcpy(to, Payload(pack), PayloadSize(pack));
    to += PayloadSize(pack);
  }
}

// Frame number `count` of a channel in a whole shot.
void FileFrame(const VENC_STREAM_S* pstStream, LumoVencStatus* en, int ch, const ControlSignals* ctrlSigs, int count) {
  // The first frame of a shot has no entry. A shot that timed out between the two channels' first frames counts
  // the later channel from -1.
  if (count < 1) return;
  const ReplaySequence& sequence = ReplaySequenceOf(en->mode);
  const int maxIdx = sequence.cntD - 1;
  const int idx = sequence.idxMap[count - 1 < maxIdx ? count - 1 : maxIdx];
  if (idx == -1) return;
  JpgDataIndexInfo* const entry = &en->jpgDataIndex[ch == 0 ? sequence.fullOffset + idx : idx];
  if (entry->jpgFileSize != 0) return;

  const int camIdx = idx / sequence.hdrCnt;
  const BYTE twoHalfIdx = ctrlSigs->twoHalfIdx;
  const bool saveData = twoHalfIdx == 0 || (twoHalfIdx == 1 && twoHalfTable[camIdx] == 1) ||
                        (twoHalfIdx == 2 && twoHalfTable[camIdx] == 0);
  const uint64_t encodedSize = EncodedSize(pstStream);
  // Offsets are 32 bits wide: a picture that would end behind them is left out, as if it had not come. So is an empty
  // one.
  if (!saveData || encodedSize == 0 || encodedSize > static_cast<uint64_t>(INT_MAX - en->fileOffset)) return;
  const int size = static_cast<int>(encodedSize);
  WritePacks(pstStream, en->oriFile);
  if (ch == 1 && idx == ThumbIdxOf(sequence, ctrlSigs->thumbCamIdx)) KeepForThumbnail(pstStream, en, size);

  entry->imgType = ch == 0 ? 2 : 1;
  entry->camIdx = static_cast<int16_t>(camIdx);
  entry->hdrIdx = static_cast<int16_t>(idx - sequence.hdrCnt * camIdx);
  entry->jpgFileOffset = en->fileOffset;
  entry->jpgFileSize = size;
  en->fileOffset += size;
}

}  // namespace

int SAMPLE_COMM_VENC_SaveSnap(const VENC_STREAM_S* pstStream, LumoVencStatus* en, int ch,
                              const ControlSignals* ctrlSigs) {
  if (en->oriFile == nullptr) return -1;
  int* const count = ch == 0 ? &en->fullCnt : &en->halfCnt;
  if (ctrlSigs->saveSingle == 0) {
    FileFrame(pstStream, en, ch, ctrlSigs, *count);
  } else if (ch == 0 && en->fileOffset == 0) {
    // Only the first full frame makes the picture.
    const uint64_t encodedSize = EncodedSize(pstStream);
    WritePacks(pstStream, en->oriFile);
    en->fileOffset = encodedSize < INT_MAX ? static_cast<int>(encodedSize) : INT_MAX;
  }
  (*count)++;
  return 0;
}
