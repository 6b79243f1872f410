#include "common/sample_comm_venc/frame_filing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <memory>

#include "common/sample_comm_venc/replay_tables.h"
#include "tests/support/file_bytes.h"
#include "tests/support/on_board.h"

namespace {

using testing::HasSubstr;

// The number of the frame that shows a camera at an exposure, counted along the road: the first frame of a shot is
// lost, each run of a layer has a throwaway at both ends.
int FrameOf(int camera, int exposure, int hdrCnt) {
  int layer = camera < 9 ? 0 : camera < 16 || camera == 24 ? 1 : 2;
  const int position = layer == 0 ? camera : layer == 2 ? camera - 16 : camera == 24 ? 7 : camera - 9;
  const int before = layer == 0 ? 0 : hdrCnt * (11 + 10 * (layer - 1));
  return 1 + before + exposure * (layer == 0 ? 11 : 10) + 1 + position;
}

struct Filing : testing::Test {
  twin::Board board{twin::BoardOptions{}};
  LumoVencStatus en{};
  std::unique_ptr<ControlSignals> ctrlSigs = std::make_unique<ControlSignals>();

  void Open() { en.oriFile = board.stdio.Open("/mnt/udisk/shot.tmp", "wb"); }
  std::string Filed() const { return FileText(board.disk.Directory() / "shot.tmp"); }
  // Hands over a frame whose payload is `text`, in three packs with some of the encoder's own bytes in front of each.
  int Frame(int ch, const std::string& text) {
    std::string parts[3] = {"##" + text.substr(0, 3), "#" + text.substr(3), "####"};
    VENC_PACK_S packs[3] = {};
    const HI_U32 offsets[3] = {2, 1, 4};
    for (int i = 0; i < 3; i++) {
      packs[i].pu8Addr = reinterpret_cast<HI_U8*>(parts[i].data());
      packs[i].u32Len = static_cast<HI_U32>(parts[i].size());
      packs[i].u32Offset = offsets[i];
    }
    VENC_STREAM_S stream{};
    stream.pstPack = packs;
    stream.u32PackCount = 3;
    return SAMPLE_COMM_VENC_SaveSnap(&stream, &en, ch, ctrlSigs.get());
  }
  static std::string Name(const std::string& tag, int ch, int frame) {
    return tag + (ch == 0 ? " full " : " half ") + std::to_string(frame);
  }
  // One channel a frame behind the other, as the larger picture is.
  void Walk(const std::string& tag, int frames) {
    for (int frame = 0; frame <= frames; frame++) {
      if (frame < frames) Frame(1, Name(tag, 1, frame));
      if (frame > 0) Frame(0, Name(tag, 0, frame - 1));
    }
  }
  // Checks that the index leads to the frame with this tag for each camera and exposure of both sizes.
  void ExpectIndexed(int hdrCnt, const std::string& tag) {
    const std::string filed = Filed();
    size_t total = 0;
    for (int ch = 0; ch < 2; ch++) {
      for (int camera = 0; camera < 25; camera++) {
        for (int exposure = 0; exposure < hdrCnt; exposure++) {
          const JpgDataIndexInfo& entry = en.jpgDataIndex[(ch == 0 ? 25 * hdrCnt : 0) + camera * hdrCnt + exposure];
          EXPECT_EQ(entry.imgType, ch == 0 ? 2 : 1);
          EXPECT_EQ(entry.camIdx, camera);
          EXPECT_EQ(entry.hdrIdx, exposure);
          EXPECT_EQ(filed.substr(entry.jpgFileOffset, entry.jpgFileSize),
                    Name(tag, ch, FrameOf(camera, exposure, hdrCnt)));
          total += entry.jpgFileSize;
        }
      }
    }
    EXPECT_EQ(total, filed.size());
    EXPECT_EQ(en.fileOffset, static_cast<int>(filed.size()));
  }
};

// The loop steps both counters back and asks again: what comes twice is counted and not written, what follows is right,
// and frames behind the end are dropped.
TEST_F(Filing, APictureThatComesTwiceStaysTheFirst) {
  OnBoard(board, [&] {
    Open();
    Walk("shot", 40);
    en.fullCnt -= 3;
    en.halfCnt -= 3;
    const int offset = en.fileOffset;
    for (int frame = 37; frame < 40; frame++) {
      EXPECT_EQ(Frame(0, "again"), 0);
      EXPECT_EQ(Frame(1, "again"), 0);
    }
    EXPECT_EQ(en.fileOffset, offset);
    EXPECT_EQ(en.fullCnt, 40);
    for (int frame = 40; frame < 110; frame++) {
      Frame(0, Name("shot", 0, frame));
      Frame(1, Name("shot", 1, frame));
    }
    EXPECT_EQ(en.fullCnt, 110);
  });
  ExpectIndexed(3, "shot");
}

// Camera 12, exposure 1: the middle one of three, and exposure 3 of six.
TEST_F(Filing, KeepsTheThumbnailsHalfPicture) {
  ctrlSigs->thumbCamIdx = 12;
  OnBoard(board, [&] {
    Open();
    Walk("shot", 94);
    const std::string wanted = Name("shot", 1, FrameOf(12, 1, 3));
    ASSERT_NE(en.jpgFileBuf, nullptr);
    EXPECT_EQ(en.jpgFileBufSize, 2 * static_cast<int>(wanted.size()));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(en.jpgFileBuf), wanted.size()), wanted);

    // The next shot's picture fits: the same buffer. Then one that does not.
    const BYTE* const buffer = en.jpgFileBuf;
    const auto next = [&](int mode, const std::string& tag) {
      en.mode = mode;
      en.fileOffset = en.fullCnt = en.halfCnt = 0;
      std::fill(std::begin(en.jpgDataIndex), std::end(en.jpgDataIndex), JpgDataIndexInfo{});
      Walk(tag, mode < 2 ? 94 : 187);
    };
    next(2, "shot of six");
    EXPECT_EQ(en.jpgFileBuf, buffer);
    const std::string six = Name("shot of six", 1, FrameOf(12, 3, 6));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(en.jpgFileBuf), six.size()), six);

    // No memory for a larger one: the shot goes on, without a copy.
    board.faults.Add("heap.malloc fail times=1");
    next(0, std::string(100, 'x'));
    EXPECT_EQ(en.jpgFileBuf, nullptr);
    EXPECT_EQ(en.jpgFileBufSize, 0);
    EXPECT_EQ(en.fullCnt, 94);
  });
  EXPECT_THAT(board.Log(), HasSubstr("malloc en->jpgFileBuf error\n"));
}

// A timeout between the two first frames steps the later channel back to -1.
TEST_F(Filing, ACounterBelowZeroHasNoEntryAndWithoutAFileNothingIsCounted) {
  OnBoard(board, [&] {
    EXPECT_EQ(Frame(0, "full"), -1);
    Open();
    en.halfCnt = -1;
    Frame(1, "first");
    Frame(1, "second");
  });
  EXPECT_EQ(en.fullCnt, 0);
  EXPECT_EQ(en.halfCnt, 1);
  EXPECT_EQ(Filed(), "");
}

TEST_F(Filing, OffsetsAndPacksThatMakeNoSenseDoNoHarm) {
  OnBoard(board, [&] {
    Open();
    en.fullCnt = 2;
    en.fileOffset = INT_MAX - 4;
    Frame(0, "too long");
    EXPECT_EQ(en.jpgDataIndex[75].jpgFileSize, 0);
    EXPECT_EQ(en.fileOffset, INT_MAX - 4);

    en.fullCnt = 2;
    en.fileOffset = 0;
    HI_U8 byte = 'x';
    VENC_PACK_S packs[2] = {};
    packs[0].pu8Addr = packs[1].pu8Addr = &byte;
    packs[0].u32Len = 1;
    packs[0].u32Offset = 9;
    packs[1].u32Len = 1;
    VENC_STREAM_S stream{};
    stream.pstPack = packs;
    stream.u32PackCount = 2;
    SAMPLE_COMM_VENC_SaveSnap(&stream, &en, 0, ctrlSigs.get());
    EXPECT_EQ(en.jpgDataIndex[75].jpgFileSize, 1);
  });
  EXPECT_EQ(Filed(), "x");
}

}  // namespace
