// The firmware upload: what the client is told, and what lies on the disk afterwards.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/file_bytes.h"
#include "tests/support/http_bench.h"

namespace {

using namespace std::chrono_literals;

const std::string crcError = TextAnswer("400 Bad Request", "CRC error");

std::string Image(size_t size, char kind = 'a') {
  std::string image;
  for (size_t i = 0; i < size; i++) image += static_cast<char>(kind + i % 251 + i / 4096);
  return image;
}
std::string Request(const std::string& image) {
  return PostText("/update_firmware?crcvalue=" + std::to_string(Crc32(image)), image);
}

struct Upload : HttpBench {
  void SetUp() override {
    Start();
    EXPECT_EQ(Send(Image(100)).raw, OkAnswer());
  }
  HttpAnswer Send(const std::string& image) { return Exchange(board, kBulk, Request(image)); }
  // `installed` waits for the next start, and nothing lies beside it.
  void ExpectOnDisk(const std::string& installed, const std::string& unfinished = "(no file)") {
    EXPECT_TRUE(FileText(Disk("firmware")) == installed);
    EXPECT_TRUE(FileText(Disk("firmware_tmp")) == unfinished);
  }
};

TEST_F(Upload, GoodOnesReplaceEachOther) {
  EXPECT_EQ(Exchange(board, kBulk, PostText("/update_firmware?crcvalue=3421780262", "123456789")).raw, OkAnswer());
  ExpectOnDisk("123456789");
  for (const size_t size : {1, 4095, 4096, 4097, 300000}) {
    const HttpAnswer answer = Send(Image(size));
    EXPECT_EQ(answer.raw, OkAnswer());
    EXPECT_FALSE(answer.reset);
    ExpectOnDisk(Image(size));
  }
  // In uneven pieces, with time between them, and with bytes behind the promised length, which nobody reads.
  const std::string image = Image(70'000, 'b'), sent = Request(image) + "more";
  const auto client = board.network.Connect(kBulk);
  for (size_t at = 0, length = 0; at < sent.size(); at += length) {
    length = at * 7 % 3 == 0 ? 1 : 1460 * (at % 5) + 7;
    client->Send(sent.substr(at, length));
    board.Run(1ms);
  }
  EXPECT_TRUE(RunUntilEnded(board, *client));
  EXPECT_TRUE(client->WasReset());
  ExpectOnDisk(image);
}

TEST_F(Upload, BadOnesKeepTheImageOfBefore) {
  const std::string image = Image(50000), crc = std::to_string(Crc32(image)), whole = Request(image);
  for (const std::string& wrong : {std::to_string(Crc32(image) ^ 1), std::string("0"), "-" + crc,
                                   std::string("cbf43926"), std::to_string(Crc32(image) + (int64_t{1} << 32))}) {
    EXPECT_EQ(Exchange(board, kBulk, PostText("/update_firmware?crcvalue=" + wrong, image)).raw, crcError) << wrong;
    ExpectOnDisk(Image(100));
  }
  EXPECT_EQ(Exchange(board, kBulk, PostText("/update_firmware", image)).raw, crcError);
  for (const size_t missing : {1, 20000, 50000}) {
    const auto client = board.network.Connect(kBulk);
    client->Send(whole.substr(0, whole.size() - missing));
    board.Run(10s);
    EXPECT_EQ(Get("/get_list").Status(), 200) << "the other port is free meanwhile";
    missing == 20000 ? client->Reset() : client->CloseSending();
    EXPECT_TRUE(RunUntilEnded(board, *client));
    EXPECT_EQ(client->Received(), missing == 20000 ? "" : crcError) << missing;
    ExpectOnDisk(Image(100));
  }
  EXPECT_EQ(Send(image).raw, OkAnswer()) << "and then it serves again";
}

TEST_F(Upload, DisksThatDoNotTakeIt) {
  board.disk.FillTo(64);
  EXPECT_EQ(Send(Image(200'000)).raw, crcError);
  ExpectOnDisk(Image(100));
  // The last bytes go out only when the file is closed. A disk that is full by then has no image either.
  board.disk.FillTo(32);
  EXPECT_EQ(Send(Image(32768 + 1, 'b')).raw, crcError);
  ExpectOnDisk(Image(100));
  EXPECT_EQ(Send(Image(32768, 'c')).raw, OkAnswer());
  board.disk.FillTo(1000);
  board.disk.SetReadOnly(true);
  const HttpAnswer answer = Send(Image(200'000));
  EXPECT_EQ(answer.raw, TextAnswer("400 Bad Request", "Write file error"));
  EXPECT_TRUE(answer.reset) << "the body is not read";
  board.disk.SetReadOnly(false);
  board.faults.Add("disk.rename fail=EIO");
  EXPECT_EQ(Send(Image(10)).raw, OkAnswer()) << "the renaming is not looked at";
  ExpectOnDisk(Image(32768, 'c'), Image(10));
  EXPECT_EQ(Send(Image(11)).raw, OkAnswer());
  ExpectOnDisk(Image(11));
}

}  // namespace
