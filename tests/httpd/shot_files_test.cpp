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

// A file of any length, and one wrong number at any place: an answer as long as it promises, or the one error.
TEST_F(ShotFiles, CutOrWithWrongNumbers) {
  Start();
  MadeShot withLogo = Plain(), twice = Plain(), tiny = Plain();
  withLogo.hasLogo = twice.skippedSection = true;
  tiny.jpeg = [](const std::string&, int, int) { return Bytes(10, 'p'); };  // shorter than their previews
  const Bytes plain = Plain().Make(), logo = withLogo.Make();
  Bytes skipped = twice.Make();
  skipped[78346] = 0xD1;  // the section that is skipped stands there twice
  const int size = static_cast<int>(plain.size()), thumb = size - static_cast<int>(Plain().thumbnail.size()) - 6;
  const int entry = 78082 + 20 * 17, all = 1 << 30;
  struct Case {
    const char* what;
    const Bytes& stored;
    int length, at;
    uint32_t value;
    bool file, thumb, record;
  };
  for (const Case& test :
       {Case{"nothing", plain, 0, 0, 0, false, false, false},
        {"short record", plain, 263, 0, 0, false, false, false},
        {"record", plain, 264, 0, 2, false, false, true},
        {"no token", plain, 78077, 0, 2, false, false, true},
        {"no index", plain, 78082, 0, 2, false, false, true},
        {"no size of the pictures", plain, 81087, 0, 2, false, false, true},
        {"no pictures", plain, 81088, 0, 2, false, false, true},
        {"short pictures", plain, thumb - 1, 0, 2, false, false, true},
        {"no thumbnail", plain, thumb, 0, 2, true, false, true},
        {"short thumbnail", plain, size - 1, 0, 2, true, false, true},
        {"whole", plain, size, 0, 2, true, true, true},
        {"device of the second form", plain, all, 8, 10, false, false, true},
        {"device of the first", plain, all, 8, 9, true, true, true},
        {"negative device", plain, all, 8, 0xFFFFFFFF, true, true, true},
        {"negative mode", plain, all, 8 + 112, 0xFFFFFFFF, true, true, true},
        {"mode of six exposures", plain, all, 8 + 112, 4, false, false, true},
        {"negative size", plain, all, entry + 16, 0xFFFFFFFF, false, true, true},
        {"greatest size", plain, all, entry + 16, 0x7FFFFFFF, false, true, true},
        {"no size", plain, all, entry + 16, 0, true, true, true},
        {"negative offset", plain, all, entry + 12, 0xFFFF0000, false, true, true},
        {"offset behind the end", plain, all, entry + 12, static_cast<uint32_t>(size), false, true, true},
        {"greatest offset", plain, all, entry + 12, 0x7FFFFFFF, false, true, true},
        {"size of the pictures", plain, all, 81084, 0xFFFFFFF0, true, false, true},
        {"size of the thumbnail", plain, all, thumb + 2, 0xFFFFFFFC, true, false, true},
        {"one too long", plain, all, thumb + 2, static_cast<uint32_t>(size - thumb - 5), true, false, true},
        {"one too short", plain, all, thumb + 2, static_cast<uint32_t>(size - thumb - 7), true, true, true},
        {"size of the logo", logo, all, 78078, 0xFFFFFFF4, false, false, true},
        {"logo behind the end", logo, all, 78078, static_cast<uint32_t>(size), false, false, true},
        {"skipped once and not again", skipped, all, 0, 0xFFD073C1, true, true, true},
        {"tiny pictures", tiny.Make(), all, 0, 0xFFD073C1, true, true, true}}) {
    SCOPED_TRACE(test.what);
    Bytes damaged = test.stored;
    std::memcpy(damaged.data() + test.at, &test.value, 4);
    damaged.resize(std::min(damaged.size(), static_cast<size_t>(test.length)));
    Put("bad.ori", damaged);
    const std::pair<HttpAnswer, bool> answers[] = {{Shot("bad"), test.file},
                                                   {Shot("bad&onlypreview=1"), test.file},
                                                   {Thumb("bad"), test.thumb},
                                                   {Get("/get_parameters?filename=bad"), test.record}};
    for (const auto& [answer, good] : answers) {
      EXPECT_EQ(answer.raw == sizeError, !good) << answer.statusLine;
      EXPECT_TRUE(answer.ended);
      EXPECT_EQ(answer.body.size(), static_cast<size_t>(answer.ContentLength()));
    }
  }
}

TEST_F(ShotFiles, ThatDoNotOpenOrWhoseClientLeaves) {
  Start();
  Put("shot.ori", Plain().Make());
  Put("07.jpg", Bytes(5000, 'j'));
  EXPECT_EQ(Get("/get_single?camidx=7").raw,
            "HTTP/1.0 200 OK\r\nServer: lumhttpd/0.1.0\r\nContent-Type: "
            "image/jpeg\r\nContent-Length: 5000\r\n\r\n" +
                std::string(5000, 'j'));
  const std::tuple<std::string, uint16_t, int> opens[] = {{"/get_file?filename=shot", kBulk, 2},
                                                          {"/get_thumb?filename=shot", kControl, 2},
                                                          {"/get_single?camidx=7", kControl, 2},
                                                          {"/get_parameters?filename=shot", kControl, 1}};
  for (const auto& [target, port, nth] : opens) {
    board.faults.Clear();
    board.faults.Add("disk.open fail=EIO nth=" + std::to_string(nth));
    EXPECT_EQ(Get(target, port).raw, NotFoundAnswer("File cannot open")) << target;
    for (const int send : {1, 5, 6, 7, 8, 30, 31, 32, 100}) {
      board.faults.Clear();
      board.faults.Add("net.send fail=ECONNRESET times=always nth=" + std::to_string(send));
      EXPECT_TRUE(Get(target, port).ended);
      EXPECT_LE(board.faults.Fired(), 1u) << target << ": nothing further is sent; " << send;
    }
    board.faults.Clear();
  }
  // The name is pasted as it stands, and the longest that a request can hold fits.
  support::WriteFile(Disk("upper.ori"), Plain().Make());
  EXPECT_EQ(Shot("../upper").Status(), 200);
  EXPECT_EQ(Shot("../../../../../../../../etc/passwd").raw, notFound);
  EXPECT_EQ(Shot(std::string(234, 'n')).raw, notFound);
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
  EXPECT_EQ(ctrl->needUpdate, 77);
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
  for (const size_t length : {32, 31, 30}) AddErrFile(ctrl.get(), std::string(length, 'x').c_str());
  EXPECT_EQ(ctrl->errFileNum, 2);
  for (int i = 0; i < 600; i++) AddErrFile(ctrl.get(), ("name" + std::to_string(i)).c_str());
  EXPECT_EQ(ctrl->errFileNum, 512);
  EXPECT_STREQ(ctrl->errFileList + 511 * 32, "name509");
  EXPECT_EQ(ctrl->prefixLen, 77) << "the field behind the list";
}

TEST_F(ShotFiles, ListBehindItsLine) {
  Start();
  std::strcpy(ctrl->fileList + 16, "one\r\ntwo\r\n");
  EXPECT_EQ(Get("/get_list").body, "0,0\r\none\r\ntwo\r\n");
  Set("usbMode=4 needCapture=255 needSave=255 gpsState=100 battery=63 batCharging=1");
  EXPECT_EQ(Get("/get_list").body, "255,255,1100,100one\r\ntwo\r\n") << "more than there is room for";
  for (const Shared<int>& session : ctrl->sessionList) EXPECT_EQ(session, 0);
  // Without its end it is bounded; what stands behind it has no zero byte either.
  Prepare();
  std::memset(ctrl->fileList, 'x', sizeof(ctrl->fileList));
  ctrl->errFileNum = 0x78787878;
  EXPECT_EQ(Get("/get_list").body, "0,0\r\n" + std::string(65520, 'x'));
}

}  // namespace
