// Shots as they are listed, delivered and deleted: whole ones, previews, and files with every kind of damage.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "common/httpd/serve.h"
#include "tests/support/file_bytes.h"
#include "tests/support/http_bench.h"
#include "tests/support/made_shot.h"

namespace {

using namespace std::chrono_literals;
using support::Bytes;
using support::MadeShot;

const std::string sizeError = NotFoundAnswer("File size error");
const std::string notFound = NotFoundAnswer("File not found");

std::string Text(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }
std::string Jpeg(const std::string& body) { return FileAnswer("image/jpeg", body); }

// No JPEGs: to the server a picture is so many bytes.
Bytes Picture(const std::string& size, int camera, int exposure) {
  Bytes bytes(static_cast<size_t>((size == "full" ? 3000 : 700) + camera * 10 + exposure));
  for (size_t i = 0; i < bytes.size(); i++)
    bytes[i] = static_cast<uint8_t>(static_cast<int>(i) * (camera + 2) + exposure);
  return bytes;
}

MadeShot Made(int deviceId = 2, int captureMode = 0, bool skipped = false, size_t logo = 0) {
  MadeShot made;
  made.jpeg = Picture;
  made.thumbnail = Picture("half", 99, 9);
  made.deviceId = deviceId;
  made.captureMode = captureMode;
  made.skippedSection = skipped;
  made.hasLogo = logo > 0;
  made.logo = Bytes(logo - made.hasLogo, 'L');
  return made;
}

// As it is stored up to the index; then the pictures in the order of the index; from their end on what the file has
// at that place.
std::string Delivered(const MadeShot& made, bool isPreview) {
  const std::string stored = Text(made.Make());
  const int pictures = made.Cameras() * made.Exposures();
  const size_t index = 8 + 256 + 12 + (made.deviceId < 10 ? 25 : 3) * 3112 + (made.skippedSection ? 270 : 0) +
                       (made.hasLogo ? 6 + made.logo.size() : 0) + 6;
  std::string entries, data;
  for (int number = 0; number < 2 * pictures; number++) {
    const bool isFull = number >= pictures;
    const int camera = number % pictures / made.Exposures(), exposure = number % made.Exposures();
    std::string picture = Text(Picture(isFull ? "full" : "half", camera, exposure));
    if (isFull && isPreview) picture.resize(1024);
    const int32_t entry[] = {(isFull ? 2 : 1) | camera << 16, exposure, 0, static_cast<int32_t>(data.size()),
                             static_cast<int32_t>(picture.size())};
    entries.append(reinterpret_cast<const char*>(entry), sizeof entry);
    data += picture;
  }
  const size_t total = data.size();
  const std::string body =
      stored.substr(0, index) + entries + "\xD3\xFF" + std::string(reinterpret_cast<const char*>(&total), 4) + data;
  return body + stored.substr(body.size());
}

struct ShotFiles : HttpBench {
  void SetUp() override { Start(); }
  void Put(const std::string& name, const Bytes& bytes) { PutBytes(Disk("DCIM/" + name), bytes); }
  HttpAnswer Shot(const std::string& query) { return Get("/get_file?filename=" + query, kBulk); }
  HttpAnswer Thumb(const std::string& name) { return Get("/get_thumb?filename=" + name); }
  HttpAnswer Record(const std::string& name) { return Get("/get_parameters?filename=" + name); }
};

TEST_F(ShotFiles, AreDeliveredInTheOrderOfTheirIndex) {
  for (const MadeShot& made :
       {Made(), Made(9, 0, false, 778), Made(2, 1, true, 1), Made(2, 2), Made(10, 3), Made(12, 1)}) {
    SCOPED_TRACE(made.deviceId * 10 + made.captureMode);
    Put("shot.ori", made.Make());
    EXPECT_TRUE(Shot("shot").raw == FileAnswer("application/octet-stream", Delivered(made, false)));
    EXPECT_TRUE(Shot("shot&onlypreview=true").raw == FileAnswer("application/octet-stream", Delivered(made, true)));
    EXPECT_TRUE(Thumb("shot").raw == Jpeg(Text(made.thumbnail)));
    EXPECT_TRUE(Record("shot").raw == Jpeg(Text(made.Make()).substr(8, 256)));
  }
  EXPECT_EQ(ctrl->errFileNum, 0);
}

// A file of any length, and one wrong number at any place: an answer as long as it promises, or the one error.
TEST_F(ShotFiles, CutOrWithWrongNumbers) {
  MadeShot tiny = Made();
  tiny.jpeg = [](const std::string&, int, int) { return Bytes(10, 'p'); };  // shorter than their previews
  const Bytes plain = Made().Make(), logo = Made(2, 0, false, 1).Make();
  Bytes twice = Made(2, 0, true).Make();
  twice[78346] = 0xD1;  // the section that is skipped seems to stand there twice
  const int size = static_cast<int>(plain.size()), thumb = size - static_cast<int>(Made().thumbnail.size()) - 6;
  const int entry = 78082 + 20 * 17, all = 1 << 30;
  struct Case {
    const char* what;
    const Bytes& stored;
    int length, at;
    uint32_t value;
    bool file, thumb, record;
  };
  uint32_t rest = 0;  // from the picture of that entry to the end of the file
  std::memcpy(&rest, plain.data() + entry + 12, 4);
  rest = static_cast<uint32_t>(size) - 81088 - rest;
  const uint32_t sameToken = 0xFFD073C1, end = static_cast<uint32_t>(size);
  for (const Case& test :
       {Case{"nothing", plain, 0, 0, 0, false, false, false},
        {"short record", plain, 263, 0, 0, false, false, false},
        {"record", plain, 264, 0, 2, false, false, true},
        {"no token", plain, 78077, 0, 2, false, false, true},
        {"no index", plain, 81081, 0, 2, false, false, true},
        {"short pictures", plain, thumb - 1, 0, 2, false, false, true},
        {"no thumbnail", plain, thumb, 0, 2, true, false, true},
        {"short thumbnail", plain, size - 1, 0, 2, true, false, true},
        {"whole", plain, size, 0, 2, true, true, true},
        {"device of the second form", plain, all, 8, 10, false, false, true},
        {"device of the first", plain, all, 8, 0xFFFFFFFF, true, true, true},
        {"negative mode", plain, all, 8 + 112, 0xFFFFFFFF, true, true, true},
        {"mode of six exposures", plain, all, 8 + 112, 4, false, false, true},
        {"negative size", plain, all, entry + 16, 0xFFFFFFFF, false, true, true},
        {"greatest size", plain, all, entry + 16, 0x7FFFFFFF, false, true, true},
        {"negative offset", plain, all, entry + 12, 0xFFFF0000, false, true, true},
        {"offset behind the end", plain, all, entry + 12, end, false, true, true},
        {"size up to the end", plain, all, entry + 16, rest, true, true, true},
        {"one more", plain, all, entry + 16, rest + 1, false, true, true},
        {"size of the pictures", plain, all, 81084, 0xFFFFFFF0, true, false, true},
        {"size of the thumbnail", plain, all, thumb + 2, 0xFFFFFFFC, true, false, true},
        {"one too long", plain, all, thumb + 2, static_cast<uint32_t>(size - thumb - 5), true, false, true},
        {"one too short", plain, all, thumb + 2, static_cast<uint32_t>(size - thumb - 7), true, true, true},
        {"size of the logo", logo, all, 78078, 0xFFFFFFF4, false, false, true},
        {"logo behind the end", logo, all, 78078, end, false, false, true},
        {"skipped once, not again", twice, all, 0, sameToken, true, true, true},
        {"tiny pictures", tiny.Make(), all, 0, sameToken, true, true, true}}) {
    SCOPED_TRACE(test.what);
    Bytes damaged = test.stored;
    std::memcpy(damaged.data() + test.at, &test.value, 4);
    damaged.resize(std::min(damaged.size(), static_cast<size_t>(test.length)));
    Put("bad.ori", damaged);
    const auto check = [](const HttpAnswer& answer, const char* type, bool isGood) {
      EXPECT_TRUE(answer.raw == (isGood ? FileAnswer(type, answer.body) : sizeError)) << answer.raw.substr(0, 100);
    };
    check(Shot("bad"), "application/octet-stream", test.file);
    check(Shot("bad&onlypreview=1"), "application/octet-stream", test.file);
    check(Thumb("bad"), "image/jpeg", test.thumb);
    check(Record("bad"), "image/jpeg", test.record);
  }
}

TEST_F(ShotFiles, ThatDoNotOpenOrWhoseClientLeaves) {
  Put("shot.ori", Made().Make());
  Put("07.jpg", Bytes(5000, 'j'));
  EXPECT_EQ(Get("/get_single?camidx=7").raw, Jpeg(std::string(5000, 'j')));
  // What cannot be read is made up, of nothing that lies on the stack: the length was promised.
  board.faults.Add("disk.read fail=EIO nth=1");
  EXPECT_EQ(Get("/get_single?camidx=7").body, std::string(4096, '\0') + std::string(904, 'j'));
  const std::tuple<std::string, uint16_t, int> opens[] = {{"/get_file?filename=shot", kBulk, 2},
                                                          {"/get_thumb?filename=shot", kControl, 2},
                                                          {"/get_single?camidx=7", kControl, 2},
                                                          {"/get_parameters?filename=shot", kControl, 1}};
  for (const auto& [target, port, nth] : opens) {
    board.faults.Add("disk.open fail=EIO nth=" + std::to_string(nth));
    EXPECT_EQ(Get(target, port).raw, NotFoundAnswer("File cannot open")) << target;
    for (const int send : {1, 2, 3, 4, 5, 6, 7, 8, 30, 31, 32, 100, 192}) {
      board.faults.Clear();
      board.faults.Add("net.send fail=ECONNRESET times=always nth=" + std::to_string(send));
      EXPECT_TRUE(Get(target, port).ended);
      EXPECT_LE(board.faults.Fired(), 1u) << target << ": nothing further is sent; " << send;
    }
    board.faults.Clear();
  }
  // The name is pasted as it stands, and the longest that a request can hold fits.
  Put("../upper.ori", Made().Make());
  EXPECT_EQ(Shot("../upper").Status(), 200);
  EXPECT_EQ(Shot("../../../../../../../../etc/passwd").raw, notFound);
  EXPECT_EQ(Shot(std::string(234, 'n')).raw, notFound);
}

// --- bad files and the list ---

TEST_F(ShotFiles, ABadFileIsLeftAloneForTwentySeconds) {
  // The files' times are the host's.
  Put("young.ori", Bytes(11, 'y'));
  const auto age = [this](std::chrono::seconds seconds) {
    const auto now =
        std::chrono::floor<std::chrono::seconds>(std::chrono::sys_time<twin::Duration>(board.SystemTime()));
    std::filesystem::last_write_time(Disk("DCIM/young.ori"), std::chrono::file_clock::from_sys(now - seconds));
    EXPECT_EQ(Thumb("young").raw, sizeError);
    return Written();
  };
  EXPECT_EQ(age(20s), "");
  EXPECT_EQ(age(21s), "needUpdate=255 errFileNum=1");
  EXPECT_STREQ(ctrl->errFileList, "young");
  for (int i = 0; i < 2; i++) EXPECT_EQ(Thumb("gone").raw, notFound);
  EXPECT_EQ(ctrl->errFileNum, 2) << "each name once";
  EXPECT_STREQ(ctrl->errFileList + 32, "gone");
  for (int send = 1; send <= 6; send++) {
    board.faults.Add("net.send fail=ECONNRESET nth=" + std::to_string(send));
    EXPECT_NE(Thumb("lost").raw, notFound);
    EXPECT_EQ(ctrl->errFileNum, 2) << "the client did not hear of it";
  }
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
  std::strcpy(ctrl->fileList + 16, "one\r\ntwo\r\n");
  EXPECT_EQ(Get("/get_list").raw, OkAnswer("0,0\r\none\r\ntwo\r\n"));
  Set("usbMode=4 needCapture=255 needSave=255 gpsState=100 batVoltageValIdx=64 batCharging=1");
  EXPECT_EQ(Get("/get_list").body, "255,255,1100,100one\r\ntwo\r\n") << "more than there is room for";
  for (const Shared<int>& session : ctrl->sessionList) EXPECT_EQ(session, 0);
  // Without its end it is bounded; what stands behind it has no zero byte either.
  Prepare();
  std::memset(ctrl->fileList, 'x', sizeof(ctrl->fileList));
  ctrl->errFileNum = 0x78787878;
  EXPECT_EQ(Get("/get_list").body, "0,0\r\n" + std::string(65520, 'x'));
}

}  // namespace
