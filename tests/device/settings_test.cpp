// Settings, model and serial number: what the files hold against what the fields get, and back.
#include "common/settings/settings.h"

#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include "tests/support/file_bytes.h"
#include "tests/support/on_board.h"

using twin::Board;

namespace {

namespace fs = std::filesystem;

struct Settings : testing::Test {
  Board board{{}};
  std::unique_ptr<ControlSignals> ctrlSigs = std::make_unique<ControlSignals>();
  const fs::path settingPath = board.disk.Directory() / "DCIM" / "setting.ini";

  int Load(const std::string& text) {
    PutText(settingPath, text);
    int result = 1;
    OnBoard(board, [&] { result = LumoLoadSetting(ctrlSigs.get()); });
    return result;
  }
  std::string Saved() {
    OnBoard(board, [&] { LumoSaveSetting(ctrlSigs.get()); });
    return FileText(settingPath);
  }
};

}  // namespace

TEST_F(Settings, EveryKeyReachesItsFieldAndComesBack) {
  EXPECT_EQ(Load("capturemode=4\nstrobemode=2\nisomode=1\nevcompval=-3\nmanualexpsus=123456\nmanualiso=800\n"
                 "delaymode=7\nsaveraw=1\nbtnsetting=2\nshutdownmode=5\nmutemode=1\nthumbcamidx=24\nwirelessid=9\n"
                 "prefix=elevenchars\n"),
            0);
  EXPECT_EQ(ctrlSigs->muteMode, 1) << "never saved, as raw frames are never armed by a file";
  EXPECT_EQ(Saved(),
            "capturemode=4\nstrobemode=2\nisomode=1\nevcompval=-3\nmanualexpsus=123456\nmanualiso=800\ndelaymode=7\n"
            "saveraw=0\nbtnsetting=2\nshutdownmode=5\nthumbcamidx=24\nwirelessid=9\nprefix=elevenchars\n");
  EXPECT_EQ(board.LogCount(": LoadSettingStr:\ncapturemode=4\n"), 1u);
  EXPECT_EQ(board.LogCount(": SaveSettingStr:\ncapturemode=4\n"), 1u);
}

TEST_F(Settings, NumbersAreCutAndNothingIsTrimmedOrTested) {
  ctrlSigs->strobeMode = 3;
  ctrlSigs->isoMode = 2;
  EXPECT_EQ(Load("capturemode=300\nStrobeMode=1\n isomode=1\nshutdownmode=77\nbtnsetting\nmanualiso= 12x\n"
                 "delaymode==5\nwirelessid=\nevcompval=200\nthumbcamidx=7"),
            0);
  EXPECT_EQ(ctrlSigs->captureMode, 44);
  EXPECT_EQ(ctrlSigs->strobeMode, 3) << "another case is another key";
  EXPECT_EQ(ctrlSigs->isoMode, 2) << "and so is one with a blank";
  EXPECT_EQ(ctrlSigs->shutdownMode, 77);
  EXPECT_EQ(ctrlSigs->manualIso, 12);
  EXPECT_EQ(ctrlSigs->delayMode, 0) << "split at the first =";
  EXPECT_EQ(ctrlSigs->evCompVal, static_cast<int8_t>(200));
  // Beyond an int: as where a long has 32 bits.
  EXPECT_EQ(Load("capturemode=4294967296\nmanualiso=-4294967295\n"), 0);
  EXPECT_EQ(ctrlSigs->captureMode, 255);
  EXPECT_EQ(ctrlSigs->manualIso, INT32_MIN);
  EXPECT_EQ(ctrlSigs->thumbCamIdx, 0) << "no line feed behind it";
  // A prefix has eleven characters at most, and a second one keeps the tail of the first.
  Load("prefix=twelve_chars\n");
  EXPECT_EQ(ctrlSigs->prefixLen, 0);
  EXPECT_STREQ(ctrlSigs->prefix, "");
  Load("prefix=abcdef\nprefix=XY\n");
  EXPECT_EQ(ctrlSigs->prefixLen, 2);
  EXPECT_STREQ(ctrlSigs->prefix, "XYcdef");
}

TEST_F(Settings, LongFileCountsToItsLastWholeLineIn1023Bytes) {
  std::string text;
  while (text.size() < 1000) text += "x=1\n";  // to byte 1000
  text += "isomode=3\n";                       // to byte 1010
  text += "strobemode=2\n";                    // to byte 1023, its line feed the last byte read
  ASSERT_EQ(text.size(), 1023u);
  EXPECT_EQ(Load(text + "capturemode=5\n"), 0);
  EXPECT_EQ(ctrlSigs->strobeMode, 2);
  EXPECT_EQ(ctrlSigs->captureMode, 0);
  ctrlSigs->strobeMode = 0;
  EXPECT_EQ(Load("y" + text), 0);
  EXPECT_EQ(ctrlSigs->isoMode, 3);
  EXPECT_EQ(ctrlSigs->strobeMode, 0) << "its line feed lies behind the cut";
}

TEST_F(Settings, Model) {
  PutText(board.paths.Local() / "info.ini", "deviceid=3\n");
  fs::path conf = board.paths.Local() / "CameraConf_800";
  const auto modelWithLens = [&](char lensType) {
    std::fstream file(conf, std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(2);
    file.put(lensType);
    file.put(0);
    file.close();
    OnBoard(board, [&] { LumoLoadInfo(ctrlSigs.get()); });
    return ctrlSigs->deviceId.load();
  };
  EXPECT_EQ(modelWithLens(10), 3);
  EXPECT_EQ(modelWithLens(11), 4);
  EXPECT_EQ(board.LogCount(": LoadInfoStr:\ndeviceid=3\n"), 2u);
}

TEST_F(Settings, SerialNumberFollowsTheCalibrationAlone) {
  const auto number = [&] {
    unsigned int serialNo = 0;
    OnBoard(board, [&] { serialNo = CalcSerailNo(); });
    return serialNo;
  };
  const unsigned int first = number();
  EXPECT_GT(static_cast<int>(first), 0);
  PutText(board.paths.Local() / "info.ini", "deviceid=3\n");
  board.Run(std::chrono::hours(1));
  EXPECT_EQ(number(), first);
  std::fstream file(board.paths.Local() / "CameraConf_800", std::ios::binary | std::ios::in | std::ios::out);
  file.seekp(799);
  file.put('\x5A');
  file.close();
  EXPECT_NE(number(), first);
}
