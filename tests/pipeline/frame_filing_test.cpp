#include "common/sample_comm_venc/frame_filing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <memory>

#include "tests/support/file_bytes.h"
#include "tests/support/on_board.h"

namespace {

using testing::HasSubstr;

struct Filing : testing::Test {
  twin::Board board{twin::BoardOptions{}};
  LumoVencStatus en{};
  std::unique_ptr<ControlSignals> ctrlSigs = std::make_unique<ControlSignals>();

  void Open() { en.oriFile = board.stdio.Open("/mnt/udisk/shot.tmp", "wb"); }
  // Hands over a frame whose payload is `text`, in packs with some of the encoder's own bytes in front of each. The
  // last has nothing else, and its payload would begin behind its end.
  int Frame(int ch, const std::string& text) {
    std::string parts[3] = {"##" + text.substr(0, 3), "#" + text.substr(3), "####"};
    VENC_PACK_S packs[3] = {};
    const HI_U32 offsets[3] = {2, 1, 9};
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
};

// Camera 12, exposure 1 of three and 3 of six. On the road of a shot that is frame 48, and 101: the first frame is
// lost, layer 0 has a run of 11 frames an exposure, the others of 10, with a throwaway at both ends.
TEST_F(Filing, KeepsTheThumbnailsHalfPicture) {
  ctrlSigs->thumbCamIdx = 12;
  OnBoard(board, [&] {
    Open();
    const auto kept = [&](int mode, const std::string& picture) {
      en.mode = mode;
      en.halfCnt = mode < 2 ? 48 : 101;
      std::fill(std::begin(en.jpgDataIndex), std::end(en.jpgDataIndex), JpgDataIndexInfo{});
      Frame(1, picture);
      return std::string(reinterpret_cast<char*>(en.jpgFileBuf), en.jpgFileBuf == nullptr ? 0 : picture.size());
    };
    EXPECT_EQ(kept(0, "of three"), "of three");
    EXPECT_EQ(en.jpgFileBufSize, 2 * 8);
    const BYTE* const buffer = en.jpgFileBuf;
    EXPECT_EQ(kept(2, "this one fits"), "this one fits");
    EXPECT_EQ(en.jpgFileBuf, buffer);
    // No memory for a larger one: the shot goes on, without a copy.
    board.faults.Add("heap.malloc fail times=1");
    EXPECT_EQ(kept(0, std::string(100, 'x')), "");
    EXPECT_EQ(en.jpgFileBufSize, 0);
    EXPECT_EQ(en.halfCnt, 49);
  });
  EXPECT_THAT(board.Log(), HasSubstr("malloc en->jpgFileBuf error\n"));
}

// A timeout between the two first frames steps the later channel back to -1, which has no entry. A picture that would
// end behind what 32 bits can tell is left out.
TEST_F(Filing, WhatHasNoPlaceInTheFileIsCountedOnly) {
  OnBoard(board, [&] {
    EXPECT_EQ(Frame(0, "without a file"), -1);
    Open();
    en.halfCnt = -1;
    Frame(1, "first");
    Frame(1, "second");
    EXPECT_EQ(en.halfCnt, 1);
    EXPECT_EQ(en.fullCnt, 0);
    for (const int offset : {INT_MAX - 4, INT_MAX - 8}) {
      en.fullCnt = 2;
      en.fileOffset = offset;
      Frame(0, "8 bytes.");
      EXPECT_EQ(en.jpgDataIndex[75].jpgFileSize, offset == INT_MAX - 4 ? 0 : 8);
    }
    EXPECT_EQ(en.fileOffset, INT_MAX);
  });
  EXPECT_EQ(FileText(board.disk.Directory() / "shot.tmp"), "8 bytes.");
}

}  // namespace
