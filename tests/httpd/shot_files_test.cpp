// Shots as they are listed, delivered and deleted: whole ones, previews, and files with every kind of damage.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>

#include "common/fpga_ctrl/device/storage.h"
#include "common/httpd/serve.h"
#include "tests/support/http_bench.h"
#include "tests/support/made_shot.h"
#include "tools/lumora-shot/shot_file.h"

extern "C" FILE* twin_fopen(const char* path, const char* mode);
extern "C" size_t twin_fwrite(const void* data, size_t size, size_t count, FILE* file);
extern "C" int twin_fclose(FILE* file);

namespace {

using namespace std::chrono_literals;
using support::Bytes;
using support::MadeShot;

const std::string sizeError = NotFoundAnswer("File size error");
const std::string notFound = NotFoundAnswer("File not found");

// No JPEGs: to the server a picture is so many bytes.
Bytes Picture(const std::string& size, int camera, int exposure) {
  Bytes bytes;
  const int length = (size == "full" ? 3000 : 700) + camera * 10 + exposure;
  for (int i = 0; i < length; i++) bytes.push_back(static_cast<uint8_t>(i * (camera + 2) + exposure));
  return bytes;
}

MadeShot Plain() {
  MadeShot made;
  made.jpeg = Picture;
  made.thumbnail = Picture("half", 99, 9);
  return made;
}

struct ShotFiles : HttpBench {
  support::TestFolder folder;

  void Put(const std::string& name, const Bytes& bytes) { support::WriteFile(Disk("DCIM/" + name), bytes); }
  HttpAnswer Shot(const std::string& query) { return Get("/get_file?filename=" + query, kBulk); }
  HttpAnswer Thumb(const std::string& name) { return Get("/get_thumb?filename=" + name); }

  static Bytes Head(const std::string& body, size_t size) {
    return Bytes(body.begin(), body.begin() + static_cast<ptrdiff_t>(size));
  }

  // A body must be the shot that was made, in the order of its index.
  void ExpectDelivered(const std::string& body, const MadeShot& made, int cutFrom) {
    const Bytes stored = made.Make();
    ASSERT_EQ(body.size(), stored.size());
    support::WriteFile(folder / "got", Bytes(body.begin(), body.end()));
    const shot::File file(folder / "got");
    const shot::Section* index = file.Get().Find(shot::Part::Index);
    ASSERT_TRUE(index != nullptr) << file.Get().stop;
    EXPECT_TRUE(std::equal(stored.begin(), stored.begin() + index->body.offset, body.begin(),
                           [](uint8_t a, char b) { return a == static_cast<uint8_t>(b); }));
    int64_t next = 0;
    for (const shot::Entry& entry : file.Get().entries) {
      const shot::Place place = file.Get().PlaceOf(entry.number);
      Bytes picture = Picture(place.size == shot::PictureSize::Full ? "full" : "half", place.camera, place.exposure);
      if (entry.number >= cutFrom) picture.resize(1024);
      EXPECT_EQ(entry.jpgFileOffset, next) << entry.number;
      EXPECT_EQ(file.Jpeg(entry), picture) << entry.number;
      EXPECT_EQ(entry.camIdx, place.camera);
      next += static_cast<int64_t>(picture.size());
    }
    const shot::Section* pictures = file.Get().Find(shot::Part::Pictures);
    ASSERT_TRUE(pictures != nullptr);
    EXPECT_EQ(pictures->storedSize, static_cast<uint32_t>(next));
    // Behind the pictures stands what the file has at that place.
    const auto end = static_cast<ptrdiff_t>(pictures->body.offset + next);
    EXPECT_TRUE(std::equal(stored.begin() + end, stored.end(), body.begin() + end,
                           [](uint8_t a, char b) { return a == static_cast<uint8_t>(b); }));
  }
};

TEST_F(ShotFiles, AreDeliveredInTheOrderOfTheirIndex) {
  Start();
  MadeShot logo = Plain(), skipped = Plain(), six = Plain(), other = Plain();
  logo.hasLogo = true;
  logo.logo = Bytes(777, 'L');
  skipped.skippedSection = skipped.hasLogo = true;
  six.captureMode = 2;
  other.deviceId = 12;
  other.captureMode = 3;
  for (const auto& [name, made] :
       {std::pair{"plain", Plain()}, {"logo", logo}, {"skipped", skipped}, {"six", six}, {"other", other}}) {
    SCOPED_TRACE(name);
    const Bytes stored = made.Make();
    Put(std::string(name) + ".ori", stored);
    const int entries = made.Cameras() * made.Exposures() * 2;

    const HttpAnswer whole = Shot(name);
    EXPECT_EQ(
        whole.raw.substr(0, whole.raw.size() - whole.body.size()),
        "HTTP/1.0 200 OK\r\nServer: lumhttpd/0.1.0\r\nContent-Type: application/octet-stream\r\nContent-Length: " +
            std::to_string(stored.size()) + "\r\n\r\n");
    ExpectDelivered(whole.body, made, entries);
    const HttpAnswer preview = Shot(std::string(name) + "&onlypreview=true");
    EXPECT_EQ(preview.ContentLength(), static_cast<int64_t>(stored.size()));
    ExpectDelivered(preview.body, made, entries / 2);

    const HttpAnswer thumb = Thumb(name);
    EXPECT_EQ(thumb.Type(), "image/jpeg");
    EXPECT_EQ(thumb.ContentLength(), static_cast<int64_t>(made.thumbnail.size()));
    EXPECT_EQ(Head(thumb.body, thumb.body.size()), made.thumbnail);
    const HttpAnswer record = Get(std::string("/get_parameters?filename=") + name);
    EXPECT_EQ(record.Type(), "image/jpeg");
    EXPECT_EQ(record.ContentLength(), 256);
    EXPECT_EQ(Head(record.body, record.body.size()), Bytes(stored.begin() + 8, stored.begin() + 264));
  }
  EXPECT_EQ(ctrl->errFileNum, 0);
}

// Pictures smaller than their preview would make the body longer than it was promised to be.
TEST_F(ShotFiles, PreviewsOfTinyPicturesEndWhereTheyWerePromisedTo) {
  Start();
  MadeShot made = Plain();
  made.jpeg = [](const std::string&, int, int) { return Bytes(10, 'p'); };
  const Bytes stored = made.Make();
  Put("tiny.ori", stored);
  const HttpAnswer preview = Shot("tiny&onlypreview=1");
  EXPECT_TRUE(preview.ended);
  EXPECT_EQ(preview.ContentLength(), static_cast<int64_t>(stored.size()));
  EXPECT_EQ(preview.body.size(), stored.size());
}

TEST_F(ShotFiles, CutAnywhere) {
  Start();
  const Bytes stored = Plain().Make();
  const size_t pictures = 81088, thumb = stored.size() - Plain().thumbnail.size() - 6;
  struct Cut {
    size_t length;
    bool file, thumb, record;
  };
  const Cut cuts[] = {{0, false, false, false},         {263, false, false, false},
                      {264, false, false, true},        {78077, false, false, true},
                      {78082, false, false, true},      {81087, false, false, true},
                      {pictures, false, false, true},   {thumb - 1, false, false, true},
                      {thumb, true, false, true},       {stored.size() - 1, true, false, true},
                      {stored.size(), true, true, true}};
  for (const Cut& cut : cuts) {
    SCOPED_TRACE(cut.length);
    Put("cut.ori", Bytes(stored.begin(), stored.begin() + static_cast<ptrdiff_t>(cut.length)));
    const HttpAnswer file = Shot("cut"), thumbnail = Thumb("cut"), record = Get("/get_parameters?filename=cut");
    EXPECT_EQ(file.raw == sizeError, !cut.file);
    EXPECT_EQ(thumbnail.raw == sizeError, !cut.thumb);
    EXPECT_EQ(record.raw == sizeError, !cut.record);
    for (const HttpAnswer* answer : {&file, &thumbnail, &record}) {
      EXPECT_EQ(answer->ContentLength(), static_cast<int64_t>(answer->body.size()));
    }
  }
}

TEST_F(ShotFiles, WrongNumbers) {
  Start();
  const Bytes plain = Plain().Make();
  MadeShot withLogo = Plain();
  withLogo.hasLogo = true;
  const Bytes logo = withLogo.Make();
  const size_t entry = 78082 + 20 * 17, offset = entry + 12, size = entry + 16;
  const size_t thumbSize = plain.size() - Plain().thumbnail.size() - 4;
  const auto bad = static_cast<int32_t>(plain.size());
  struct Case {
    const char* what;
    const Bytes& stored;
    size_t at;
    uint32_t value;
    bool file, thumb;
  };
  for (const Case& test :
       {Case{"negative size", plain, size, 0xFFFFFFFF, false, true},
        Case{"most negative size", plain, size, 0x80000000, false, true},
        Case{"negative offset", plain, offset, 0xFFFF0000, false, true},
        Case{"offset behind the end", plain, offset, static_cast<uint32_t>(bad), false, true},
        Case{"greatest size", plain, size, 0x7FFFFFFF, false, true},
        Case{"greatest offset", plain, offset, 0x7FFFFFFF, false, true},
        Case{"empty entry", plain, size, 0, true, true}, Case{"second form's device", plain, 8, 12, false, false},
        Case{"negative device", plain, 8, 0xFFFFFFFF, true, true},
        Case{"negative mode", plain, 8 + 112, 0xFFFFFFFF, true, true},
        Case{"pictures' size of 32 bits", plain, 81084, 0xFFFFFFF0, true, false},
        Case{"thumbnail's size of 32 bits", plain, thumbSize, 0xFFFFFFFC, true, false},
        Case{"thumbnail one too long", plain, thumbSize, static_cast<uint32_t>(Plain().thumbnail.size()) + 1, true,
             false},
        Case{"thumbnail one too short", plain, thumbSize, static_cast<uint32_t>(Plain().thumbnail.size()) - 1, true,
             true},
        Case{"logo's size of 32 bits", logo, 78078, 0xFFFFFFF4, false, false},
        Case{"logo behind the end", logo, 78078, static_cast<uint32_t>(bad), false, false}}) {
    SCOPED_TRACE(test.what);
    Bytes damaged = test.stored;
    std::memcpy(damaged.data() + test.at, &test.value, 4);
    Put("bad.ori", damaged);
    const HttpAnswer file = Shot("bad"), thumb = Thumb("bad");
    EXPECT_EQ(file.raw == sizeError, !test.file) << file.statusLine;
    EXPECT_EQ(thumb.raw == sizeError, !test.thumb) << thumb.statusLine;
    EXPECT_TRUE(file.ended && thumb.ended);
    EXPECT_EQ(file.body.size(), static_cast<size_t>(file.ContentLength()));
  }
}

TEST_F(ShotFiles, FilesThatAreNotThereOrDoNotOpen) {
  Start();
  Put("shot.ori", Plain().Make());
  Put("07.jpg", Bytes(5000, 'j'));
  EXPECT_EQ(Shot("none").raw, notFound);
  EXPECT_EQ(Shot("").raw, notFound);
  EXPECT_EQ(Thumb("none").raw, notFound);
  EXPECT_EQ(Get("/get_parameters?filename=none").raw, NotFoundAnswer("File cannot open"));
  EXPECT_EQ(Get("/get_single?camidx=8").raw, notFound);
  EXPECT_EQ(Get("/get_single?camidx=7").body, std::string(5000, 'j'));
  EXPECT_EQ(Get("/get_single?camidx=7").Type(), "image/jpeg");
  const std::tuple<std::string, uint16_t, const char*> opens[] = {{"/get_file?filename=shot", kBulk, "2"},
                                                                  {"/get_thumb?filename=shot", kControl, "2"},
                                                                  {"/get_single?camidx=7", kControl, "2"},
                                                                  {"/get_parameters?filename=shot", kControl, "1"}};
  for (const auto& [target, port, nth] : opens) {
    board.faults.Clear();
    board.faults.Add(std::string("disk.open fail=EIO nth=") + nth);
    EXPECT_EQ(Get(target, port).raw, NotFoundAnswer("File cannot open")) << target;
  }
  // The name is pasted as it stands, and the longest that a request can hold fits.
  support::WriteFile(Disk("upper.ori"), Plain().Make());
  EXPECT_EQ(Shot("../upper").Status(), 200);
  EXPECT_EQ(Shot("../../../../../../../../etc/passwd").raw, notFound);
  EXPECT_EQ(Shot(std::string(234, 'n')).raw, notFound);
  EXPECT_EQ(Thumb(std::string(400, 'n')).raw, notFound);
  EXPECT_TRUE(board.Complaints().empty());
}

TEST_F(ShotFiles, ExtensionFollowsTheSerialRemote) {
  Start();
  Put("a.ori", Plain().Make());
  Put("a.dwo", Bytes(300, 'd'));
  const auto record = [this] {
    return Get("/get_parameters?filename=a").body == std::string(256, 'd') ? "dwo" : "ori";
  };
  const std::tuple<int, BYTE, const char*> cases[] = {
      {-1, 4, "ori"}, {3, 4, "dwo"}, {3, 5, "ori"}, {3, 6, "ori"}, {3, 0, "dwo"}};
  for (const auto& [serialFd, usbMode, extension] : cases) {
    ctrl->serialFd = serialFd;
    ctrl->usbMode = usbMode;
    EXPECT_STREQ(record(), extension) << serialFd << " " << int{usbMode};
  }
  EXPECT_EQ(Get("/del_file?filename=a").raw, OkAnswer());
  EXPECT_FALSE(std::filesystem::exists(Disk("DCIM/a.dwo")));
  EXPECT_TRUE(std::filesystem::exists(Disk("DCIM/a.ori")));
}

TEST_F(ShotFiles, AFailedSendEndsIt) {
  Start();
  Put("shot.ori", Plain().Make());
  const size_t open = board.descriptors.OpenCount(), files = board.stdio.OpenOnDisk();
  for (const char* nth : {"1", "5", "6", "30", "31", "32", "100"}) {
    board.faults.Clear();
    board.faults.Add(std::string("net.send fail=ECONNRESET times=always detail=8081 nth=") + nth);
    EXPECT_TRUE(Shot("shot").ended);
    EXPECT_EQ(board.faults.Fired(), 1u) << "nothing further is sent; nth " << nth;
  }
  EXPECT_EQ(board.descriptors.OpenCount(), open);
  EXPECT_EQ(board.stdio.OpenOnDisk(), files);
}

// --- bad files and the list ---

TEST_F(ShotFiles, ABadFileIsLeftAloneForTwentySeconds) {
  Start();
  board.kernel.Spawn("writer", [] {
    FILE* file = twin_fopen("/mnt/udisk/DCIM/young.ori", "wb");
    twin_fwrite("half a shot", 1, 11, file);
    twin_fclose(file);
  });
  board.Run(100ms);
  const auto written = std::filesystem::last_write_time(Disk("DCIM/young.ori"));
  const auto second = std::chrono::floor<std::chrono::seconds>(std::chrono::file_clock::to_sys(written));
  const auto age = [&] { return board.SystemTime() / 1s - second.time_since_epoch() / 1s; };
  EXPECT_EQ(Thumb("young").raw, sizeError);
  EXPECT_TRUE(board.RunUntil([&] { return age() == 20; }, 30s));
  EXPECT_EQ(Thumb("young").raw, sizeError);
  EXPECT_EQ(ctrl->errFileNum, 0);
  EXPECT_EQ(ctrl->needUpdate, 0);
  board.Run(1s);
  EXPECT_EQ(Thumb("young").raw, sizeError);
  EXPECT_EQ(ctrl->errFileNum, 1);
  EXPECT_STREQ(ctrl->errFileList, "young");
  EXPECT_EQ(ctrl->needUpdate, 255);
  EXPECT_EQ(Thumb("young").raw, sizeError);
  EXPECT_EQ(Thumb("gone").raw, notFound);
  EXPECT_EQ(Thumb("gone").raw, notFound);
  EXPECT_EQ(ctrl->errFileNum, 2) << "each name once";
  EXPECT_STREQ(ctrl->errFileList + 32, "gone");
}

TEST_F(ShotFiles, BadNamesHaveRoomFor512) {
  AddErrFile(ctrl.get(), std::string(32, 'x').c_str());
  EXPECT_EQ(ctrl->errFileNum, 0);
  AddErrFile(ctrl.get(), std::string(31, 'x').c_str());
  AddErrFile(ctrl.get(), std::string(30, 'x').c_str());
  EXPECT_EQ(ctrl->errFileNum, 2);
  for (int i = 0; i < 600; i++) AddErrFile(ctrl.get(), ("name" + std::to_string(i)).c_str());
  EXPECT_EQ(ctrl->errFileNum, 512);
  EXPECT_STREQ(ctrl->errFileList + 511 * 32, "name509");
  EXPECT_EQ(ctrl->prefixLen, 0) << "the field behind the list";
}

TEST_F(ShotFiles, ListLines) {
  Start();
  EXPECT_EQ(Get("/get_list").raw, OkAnswer("0,0\r\n"));
  ctrl->needCapture = 255;
  ctrl->needSave = 254;
  std::strcpy(ctrl->fileList + 16, "one\r\ntwo\r\n");
  EXPECT_EQ(Get("/get_list").body, "255,254\r\none\r\ntwo\r\n");
  ctrl->usbMode = kUsbSerial;
  ctrl->gpsState = 1;
  ctrl->batCharging = 1;
  EXPECT_EQ(Get("/get_list").body, "255,254,-1,1\r\none\r\ntwo\r\n");
  for (Shared<BYTE>& sample : ctrl->batVoltageVal) sample = 63;
  ctrl->batVoltageValIdx = 64;
  EXPECT_EQ(Get("/get_list").body, "255,254,1100,1\r\none\r\ntwo\r\n");
  ctrl->usbMode = kUsbWifi;
  ctrl->batCharging = 0;
  EXPECT_EQ(Get("/get_list").body, "255,254,100\r\none\r\ntwo\r\n");

  // More digits than there are: held to the 16 bytes.
  ctrl->usbMode = kUsbSerial;
  ctrl->gpsState = 100;
  ctrl->batCharging = 1;
  EXPECT_EQ(Get("/get_list").body.substr(0, 16), "255,254,1100,100");
  for (const Shared<int>& session : ctrl->sessionList) EXPECT_EQ(session, 0);
}

TEST_F(ShotFiles, AListWithoutItsEndIsBounded) {
  Start();
  std::memset(ctrl->fileList, 'x', sizeof(ctrl->fileList));
  ctrl->errFileNum = 0x78787878;  // what stands behind it has no zero byte either
  EXPECT_EQ(Get("/get_list").body, "0,0\r\n" + std::string(65520, 'x'));
}

TEST_F(ShotFiles, AListDuringASeriesSetsThePosition) {
  Start();
  const auto position = [this](const std::string& query) {
    Get("/get_list" + query);
    return std::pair<int, int>(ctrl->longitude, ctrl->latitude);
  };
  ctrl->longitude = 5;
  ctrl->latitude = 6;
  EXPECT_EQ(position("?longitude=7&latitude=8"), std::pair(5, 6)) << "no series";
  ctrl->timeLapse = 1;
  EXPECT_EQ(position("?longitude=7&latitude=8"), std::pair(7, 8));
  EXPECT_EQ(position(""), std::pair(0, 0)) << "a poll without a position clears it";
  ctrl->usbMode = kUsbSerial;
  EXPECT_EQ(position("?longitude=7&latitude=8"), std::pair(0, 0));
}

}  // namespace
