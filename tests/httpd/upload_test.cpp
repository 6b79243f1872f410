// The firmware upload: what the client is told, what lies on the disk afterwards, and what is left unread.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "common/httpd/post_body.h"
#include "common/httpd/server.h"
#include "tests/support/file_bytes.h"
#include "tests/support/http_bench.h"
#include "tests/support/on_board.h"

extern "C" FILE* twin_fopen(const char* path, const char* mode);
extern "C" size_t twin_fwrite(const void* data, size_t size, size_t count, FILE* file);
extern "C" int twin_fclose(FILE* file);

namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

// CRC-32 a bit at a time.
uint32_t Crc(const std::string& bytes) {
  uint32_t crc = 0xFFFFFFFF;
  for (const char c : bytes) {
    crc ^= static_cast<uint8_t>(c);
    for (int bit = 0; bit < 8; bit++) crc = crc % 2 == 1 ? crc / 2 ^ 0xEDB88320u : crc / 2;
  }
  return ~crc;
}

std::string Image(size_t size, int kind = 1) {
  std::string image;
  uint32_t state = static_cast<uint32_t>(kind);
  while (image.size() < size) image += static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
  return image;
}

const std::string crcError = TextAnswer("400 Bad Request", "CRC error");

struct Upload : HttpBench {
  static std::string Target(const std::string& image) {
    return "/update_firmware?crcvalue=" + std::to_string(Crc(image));
  }
  HttpAnswer Send(const std::string& image) { return Exchange(board, kBulk, PostText(Target(image), image)); }
  // Names and contents of what an upload may leave.
  std::string OnDisk() const {
    std::string all;
    for (const char* name : {"firmware", "firmware_tmp"}) {
      if (!fs::exists(Disk(name))) continue;
      all += Stored(name, FileText(Disk(name)));
    }
    return all;
  }
  static std::string Stored(const std::string& name, const std::string& image) {
    return name + ":" + std::to_string(image.size()) + ":" + std::to_string(Crc(image)) + " ";
  }
  static std::string Finished(const std::string& image) { return Stored("firmware", image); }
};

TEST_F(Upload, GoodOnesReplaceEachOther) {
  Start();
  EXPECT_EQ(Crc("123456789"), 3421780262u);
  EXPECT_EQ(Exchange(board, kBulk, PostText("/update_firmware?crcvalue=3421780262", "123456789")).raw, OkAnswer());
  EXPECT_EQ(OnDisk(), Finished("123456789"));
  for (const size_t size : {1, 4095, 4096, 4097, 300000}) {
    const HttpAnswer answer = Send(Image(size));
    EXPECT_EQ(answer.raw, OkAnswer());
    EXPECT_FALSE(answer.reset);
    EXPECT_EQ(OnDisk(), Finished(Image(size)));
  }
  PutText(Disk("lumora.updated"), "the note of an update");
  EXPECT_EQ(Get("/del_updated_firmware").raw, OkAnswer());
  EXPECT_FALSE(fs::exists(Disk("lumora.updated")));
}

TEST_F(Upload, AWrongCrcKeepsTheImageOfBefore) {
  Start();
  const std::string image = Image(5000);
  const std::string crc = std::to_string(Crc(image));
  Send(Image(100));
  for (const std::string& wrong : {std::to_string(Crc(image) ^ 1), std::string(), std::string("0"), "-" + crc,
                                   std::string("cbf43926"), std::to_string(Crc(image) + (int64_t{1} << 32))}) {
    EXPECT_EQ(Exchange(board, kBulk, PostText("/update_firmware?crcvalue=" + wrong, image)).raw, crcError) << wrong;
    EXPECT_EQ(OnDisk(), Finished(Image(100))) << wrong;
  }
  EXPECT_EQ(Exchange(board, kBulk, PostText("/update_firmware", image)).raw, crcError);
}

TEST_F(Upload, CutInTheMiddle) {
  Start();
  Send(Image(100));
  const std::string image = Image(50000), whole = PostText(Target(image), image);
  for (const size_t missing : {1, 20000, 50000}) {
    const auto client = board.network.Connect(kBulk);
    client->Send(whole.substr(0, whole.size() - missing));
    client->CloseSending();
    EXPECT_TRUE(RunUntilEnded(board, *client));
    EXPECT_EQ(client->Received(), crcError) << missing;
    EXPECT_EQ(OnDisk(), Finished(Image(100))) << missing;
  }
  const auto client = board.network.Connect(kBulk);
  client->Send(whole.substr(0, 20000));
  board.Run(10s);
  EXPECT_EQ(Get("/get_list").Status(), 200) << "the other port is free meanwhile";
  client->Reset();
  EXPECT_TRUE(RunUntilEnded(board, *client));
  EXPECT_EQ(OnDisk(), Finished(Image(100)));
  EXPECT_EQ(Send(image).raw, OkAnswer()) << "and then it serves again";
}

TEST_F(Upload, DisksThatDoNotTakeIt) {
  Start();
  Send(Image(100));
  const std::string before = Finished(Image(100)), image = Image(200'000);
  board.disk.FillTo(64);
  EXPECT_EQ(Send(image).raw, crcError);
  EXPECT_EQ(OnDisk(), before);
  // The last bytes go out only when the file is closed. A disk that is full by then has no image either.
  board.disk.FillTo(32);
  EXPECT_EQ(Send(Image(32768 + 1, 3)).raw, crcError);
  EXPECT_EQ(OnDisk(), before);
  EXPECT_EQ(Send(Image(32768, 4)).raw, OkAnswer());
  EXPECT_EQ(OnDisk(), Finished(Image(32768, 4)));

  board.disk.FillTo(1000);
  board.disk.SetReadOnly(true);
  HttpAnswer answer = Send(image);
  EXPECT_EQ(answer.raw, TextAnswer("400 Bad Request", "Write file error"));
  EXPECT_TRUE(answer.reset) << "the body is not read";
  EXPECT_EQ(OnDisk(), Finished(Image(32768, 4)));
  board.disk.SetReadOnly(false);

  board.faults.Add("disk.rename fail=EIO");
  EXPECT_EQ(Send(Image(10)).raw, OkAnswer()) << "the renaming is not looked at";
  EXPECT_EQ(OnDisk(), Finished(Image(32768, 4)) + Stored("firmware_tmp", Image(10)));
  EXPECT_EQ(Send(Image(11)).raw, OkAnswer());
  EXPECT_EQ(OnDisk(), Finished(Image(11)));
}

// --- against a reader of single bytes ---

struct Body : testing::Test {
  struct Result {
    uint32_t crc;
    size_t taken;        // bytes that are gone from the socket
    std::string stored;  // what the file has afterwards
    bool operator==(const Result&) const = default;
  };
  using Reader = std::function<uint32_t(twin::Board&, int sock, FILE* file, int size)>;

  static Result Read(const Reader& reader, const std::string& sent, int size, bool ends,
                     const std::function<void(twin::Board&)>& trouble) {
    twin::Board board{{}};
    Result result{};
    const fs::path stored = board.disk.Directory() / "body";
    OnBoard(board, [&] {
      board.interfaces.Add("eth0");
      board.interfaces.SetUp("eth0", true);
      const int server = startup(8081, 2);
      const auto client = board.network.Connect(8081);
      // In uneven pieces, with time between them.
      size_t at = 0;
      for (int piece = 0; at < sent.size(); piece++) {
        const size_t length = std::min<size_t>(sent.size() - at, piece % 3 == 0 ? 1 : 1460 * (piece % 5) + 7);
        board.kernel.After(1ms * piece, [client, text = sent.substr(at, length)] { client->Send(text); });
        at += length;
      }
      board.kernel.After(10s, [client, ends] { ends ? client->CloseSending() : client->Reset(); });
      const int sock = board.network.Accept(server, nullptr, nullptr);
      FILE* file = twin_fopen("/mnt/udisk/body", "wb");
      trouble(board);
      result.crc = reader(board, sock, file, size);
      twin_fclose(file);
      board.faults.Clear();
      board.kernel.Spend(9s);
      std::string rest(sent.size() + 1, ' ');
      const long left = board.network.Receive(sock, rest.data(), rest.size(), 0);
      result.taken = sent.size() - static_cast<size_t>(std::max(left, 0L));
      EXPECT_EQ(rest.substr(0, sent.size() - result.taken), sent.substr(result.taken));
    });
    result.stored = FileText(stored);
    return result;
  }
  static uint32_t BySingleBytes(twin::Board& board, int sock, FILE* file, int size) {
    std::string taken;
    for (int i = 0; i < size; i++) {
      char c = 0;
      if (board.network.Receive(sock, &c, 1, 0) < 1 || twin_fwrite(&c, 1, 1, file) != 1) break;
      taken += c;
    }
    return Crc(taken);
  }
  static uint32_t ByTheServer(twin::Board&, int sock, FILE* file, int size) { return get_post_body(sock, file, size); }
};

TEST_F(Body, IsReadAsByteByByte) {
  const std::string sent = Image(70'000);
  const auto none = [](twin::Board&) {};
  const auto free = [](uint64_t kBs) { return [kBs](twin::Board& board) { board.disk.FillTo(kBs); }; };
  const auto fault = [](const char* text) { return [text](twin::Board& board) { board.faults.Add(text); }; };
  struct Case {
    const char* what;
    int size;
    bool ends;
    std::function<void(twin::Board&)> trouble;
    size_t taken;
  };
  for (const Case& test : {Case{"all", 70'000, true, none, 70'000}, Case{"a part", 12'345, true, none, 12'345},
                           Case{"cut", 80'000, true, none, 70'000}, Case{"reset", 80'000, false, none, 70'000},
                           Case{"nothing", 0, true, none, 0}, Case{"full at once", 70'000, true, free(0), 4097},
                           Case{"full later", 70'000, true, free(32), 36865},
                           Case{"a write that fails", 70'000, true, fault("disk.write fail=EIO nth=5"), 20481},
                           Case{"a write that is short", 70'000, true, fault("disk.write value=100 nth=2"), 70'000}}) {
    SCOPED_TRACE(test.what);
    const Result expected = Read(BySingleBytes, sent, test.size, test.ends, test.trouble);
    const Result got = Read(ByTheServer, sent, test.size, test.ends, test.trouble);
    EXPECT_EQ(got.taken, test.taken);
    EXPECT_EQ(got.taken, expected.taken);
    EXPECT_EQ(got.crc, expected.crc);
    EXPECT_TRUE(got.stored == expected.stored) << got.stored.size() << " bytes, not " << expected.stored.size();
  }
}

}  // namespace
