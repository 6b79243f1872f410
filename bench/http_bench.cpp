// What the HTTP half costs: files out, the list, and an upload in. The application's request code stands behind real
// sockets of the host, in a process of its own, beside a web server that does the same work, and beside the twin.
//   http_bench [--benchmark_filter=REGEX]      get_file, get_list, upload
// LUMORA_NGINX names the web server's program; without one its rows are missing.
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <regex>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/http_servers.h"
#include "common/httpd/post_body.h"
#include "common/httpd/request.h"
#include "common/httpd/router.h"
#include "common/httpd/serve.h"
#include "common/httpd/transport.h"
#include "common/log.h"
#include "tests/support/file_bytes.h"
#include "tests/support/made_shot.h"

namespace fs = std::filesystem;

// What no request here reaches, and the linker wants.
int himm(unsigned int, unsigned int, unsigned int*) { abort(); }
void LumoStcSpiDelay() { abort(); }
void WriteCipher() { abort(); }

namespace {

constexpr int kRounds = 7;
constexpr int kListRequests = 200;  // a turn
constexpr size_t kUploadSize = 50'000'000;
constexpr char kShot[] = "2026-06-15_10.30.06";
constexpr char kGetFile[] = "GET /get_file?filename=2026-06-15_10.30.06 HTTP/1.0\r\n\r\n";
constexpr char kGetList[] = "GET /get_list HTTP/1.0\r\n\r\n";

// --- measuring ---

struct Row {
  const Server* server;
  std::function<int64_t()> turn;  // one or more requests; returns the bytes that went over the wire
  int64_t bytes = 0;              // a turn
  double cpuSeconds = 0;          // of all turns
  std::vector<double> seconds = {};

  double Median() const {
    std::vector<double> sorted = seconds;
    std::sort(sorted.begin(), sorted.end());
    return sorted[sorted.size() / 2];
  }
};

// In turns, so that the machine's moods meet all alike.
void Measure(std::vector<Row>& rows) {
  for (Row& row : rows) row.bytes = row.turn();
  for (int round = 0; round < kRounds; round++) {
    for (Row& row : rows) {
      const double cpu = row.server->CpuSeconds();
      const auto start = std::chrono::steady_clock::now();
      if (row.turn() != row.bytes) throw std::runtime_error(row.server->name + ": the answers differ in length");
      row.seconds.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
      row.cpuSeconds += row.server->CpuSeconds() - cpu;
    }
  }
}

// `requests` a turn, or 0 to count bytes.
void Print(const std::vector<Row>& rows, int requests) {
  for (const Row& row : rows) {
    const double turns = static_cast<double>(row.seconds.size());
    std::printf("%-38s", row.server->name.c_str());
    if (requests > 0) {
      std::printf("%8.0f requests/s %8.0f processor us a request\n", requests / row.Median(),
                  row.cpuSeconds / turns / requests * 1e6);
    } else {
      std::printf("%8.0f MB/s %8.2f processor s/GB\n", static_cast<double>(row.bytes) / row.Median() * 1e-6,
                  row.cpuSeconds / turns / static_cast<double>(row.bytes) * 1e9);
    }
  }
}

void PrintRatio(const Row& measured, const Row& yardstick, double aim) {
  const double ratio = measured.Median() / yardstick.Median();
  std::printf("ratio %s / %s (real time): %.2f, aim at most %.2f%s\n", measured.server->name.c_str(),
              yardstick.server->name.c_str(), ratio, aim, ratio <= aim ? "" : "  MISSED");
}

// --- the servers ---

// A shot with six exposures, about as large as the camera's: 150 full pictures and 150 half ones.
void WriteLargeShot(const fs::path& path) {
  support::MadeShot shot;
  shot.captureMode = 2;
  shot.jpeg = [](const std::string& size, int camera, int exposure) {
    return support::Bytes(size == "full" ? 1'600'000 : 400'000, static_cast<uint8_t>(camera * 6 + exposure));
  };
  PutBytes(path, shot.Make());
}

// The application, with the files' places given: on the device they are fixed.
void HandleByApplication(int client, const fs::path& shot, const fs::path& upload) {
  HttpRequest request;
  if (read_request(client, &request) == kRequestRead) {
    if (request.contentLength > 0) {
      FILE* file = fopen(upload.c_str(), "wb");
      get_post_body(client, file, request.contentLength);
      fclose(file);
      send_txt(client, 200, "OK", "OK");
    } else {
      serve_file(client, shot.c_str(), request.onlyPreview);
    }
  }
  close(client);
}

void HandleList(int client) {
  static ControlSignals* const ctrlSigs = [] {
    static ControlSignals record;
    record.serialFd = -1;
    record.batVoltageValIdx = 64;
    const std::string name = std::string(kShot) + "\r\n";
    for (size_t at = 16; at + name.size() < sizeof record.fileList; at += name.size()) {
      name.copy(record.fileList + at, name.size());
    }
    return &record;
  }();
  accept_request(ctrlSigs, client, kControlMode);
}

// What blocks of this size cost at least: the application's loop and nothing else.
void HandleInBlocks(int client, const fs::path& shot, size_t blockSize) {
  std::vector<char> block(std::max<size_t>(blockSize, 4096));
  [[maybe_unused]] const ssize_t request = recv(client, block.data(), block.size(), 0);
  FILE* file = fopen(shot.c_str(), "rb");
  send_head(client, "application/octet-stream", static_cast<int>(fs::file_size(shot)));
  for (size_t n; (n = fread(block.data(), 1, blockSize, file)) > 0;) send_bytes(client, block.data(), n);
  fclose(file);
  close(client);
}

// A body into a file, without a look at it.
void HandleByCopying(int client, const fs::path& upload) {
  static std::vector<char> block(256 * 1024);
  HttpRequest request;
  read_request(client, &request);
  const int file = open(upload.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  for (int64_t left = request.contentLength; left > 0;) {
    const ssize_t n = recv(client, block.data(), block.size(), 0);
    if (n <= 0 || write(file, block.data(), static_cast<size_t>(n)) != n) break;
    left -= n;
  }
  close(file);
  send_txt(client, 200, "OK", "OK");
  close(client);
}

Server StartNginx(const std::string& program, const fs::path& folder) {
  const uint16_t port = FreePort();
  FILE* file = fopen((folder / "nginx.conf").c_str(), "w");
  fprintf(file,
          "%s worker_processes 1; error_log stderr crit; pid %s/nginx.pid; daemon off;\n"
          "events { worker_connections 64; }\n"
          "http { access_log off; sendfile on; tcp_nopush on; root %s;\n"
          "  client_body_temp_path %s/t1; proxy_temp_path %s/t2; fastcgi_temp_path %s/t3; uwsgi_temp_path %s/t4;\n"
          "  scgi_temp_path %s/t5; server { listen 127.0.0.1:%d; } }\n",
          getuid() == 0 ? "user root;" : "",  // or its worker could not read the folder
          folder.c_str(), folder.c_str(), folder.c_str(), folder.c_str(), folder.c_str(), folder.c_str(),
          folder.c_str(), port);
  fclose(file);
  return Server::Start("nginx, sendfile", {program, "-e", "stderr", "-c", folder / "nginx.conf"}, "", port);
}

// The whole camera: as many shots on its disk as its list can hold, one of them the large one.
Server StartTwin(const fs::path& folder, const fs::path& shot) {
  const fs::path pictures = folder / "board/mnt/udisk/DCIM";
  fs::create_directories(pictures);
  fs::create_hard_link(shot, pictures / (std::string(kShot) + ".ori"));
  for (int i = 0; i < 3119; i++) {
    char name[64];
    snprintf(name, sizeof name, "2026-06-14_%02d.%02d.%02d.ori", i / 3600, i / 60 % 60, i % 60);
    fclose(fopen((pictures / name).c_str(), "w"));
  }
  const uint16_t port = FreePort();
  return Server::Start(
      "the twin",
      {LUMORA_TWIN, "--serve", "--port", std::to_string(port), "--pictures", "marked", "--root", folder / "board"},
      "speed 100000000000 100000000000\n", port);
}

// --- what is measured ---

struct Bench {
  fs::path folder, shot;
  std::unique_ptr<Server> nginx;  // null: there is none
  std::unique_ptr<Server> twin;

  Server Application() const {
    return Server::Fork("application", [this](int c) { HandleByApplication(c, shot, folder / "upload"); });
  }
};

void GetFile(const Bench& bench) {
  const Server application = bench.Application();
  std::vector<Server> loops;
  for (const size_t size : {4096, 16384, 65536, 262144}) {
    loops.push_back(
        Server::Fork("loop, blocks of " + std::to_string(size), [&](int c) { HandleInBlocks(c, bench.shot, size); }));
  }
  std::vector<Row> rows = {{&application, [&] { return Ask(application.port, kGetFile); }}};
  if (bench.nginx) {
    const std::string head = "GET /" + bench.shot.filename().string() + " HTTP/1.0\r\n\r\n";
    rows.push_back({bench.nginx.get(), [&bench, head] { return Ask(bench.nginx->port, head); }});
  }
  for (const Server& loop : loops) rows.push_back({&loop, [&loop] { return Ask(loop.port, kGetFile); }});
  const auto bulk = static_cast<uint16_t>(bench.twin->port + 1);
  rows.push_back({bench.twin.get(), [bulk] { return Ask(bulk, kGetFile); }});
  std::printf("\nget_file, %.0f MB\n", static_cast<double>(fs::file_size(bench.shot)) * 1e-6);
  Measure(rows);
  Print(rows, 0);
  if (bench.nginx) PrintRatio(rows[0], rows[1], 2);
}

void GetList(const Bench& bench) {
  const Server application = Server::Fork("application", HandleList);
  const auto turn = [](uint16_t port, const std::string& head) {
    int64_t bytes = 0;
    for (int i = 0; i < kListRequests; i++) bytes += Ask(port, head);
    return bytes;
  };
  std::vector<Row> rows = {{&application, [&] { return turn(application.port, kGetList); }}};
  if (bench.nginx) {  // a file of the same length
    PutBytes(bench.folder / "list", support::Bytes(65536, 'x'));
    rows.push_back({bench.nginx.get(), [&] { return turn(bench.nginx->port, "GET /list HTTP/1.0\r\n\r\n"); }});
  }
  rows.push_back({bench.twin.get(), [&] { return turn(bench.twin->port, kGetList); }});
  std::printf("\nget_list, 64 KB\n");
  Measure(rows);
  Print(rows, kListRequests);
  if (bench.nginx) PrintRatio(rows[0], rows[1], 2);
}

void Upload(const Bench& bench) {
  const Server application = bench.Application();
  const Server copying = Server::Fork("plain copy", [&](int c) { HandleByCopying(c, bench.folder / "copy"); });
  const std::string head =
      "POST /update_firmware?crcvalue=1 HTTP/1.0\r\nContent-Length: " + std::to_string(kUploadSize) + "\r\n\r\n";
  std::string body(kUploadSize, '\0');
  for (size_t i = 0; i < body.size(); i++) body[i] = static_cast<char>(i * i >> 7);
  const auto turn = [&](uint16_t port) {
    Ask(port, head, body);
    return static_cast<int64_t>(kUploadSize);
  };
  const auto bulk = static_cast<uint16_t>(bench.twin->port + 1);
  std::vector<Row> rows = {{&application, [&] { return turn(application.port); }},
                           {&copying, [&] { return turn(copying.port); }},
                           {bench.twin.get(), [&] { return turn(bulk); }}};
  std::printf("\nupload, %.0f MB\n", static_cast<double>(kUploadSize) * 1e-6);
  Measure(rows);
  Print(rows, 0);
  PrintRatio(rows[0], rows[1], 4);  // a checksum of each byte stands against none
}

void Run(const std::regex& wanted) {
  support::TestFolder place;
  Bench bench{.folder = place / "bench", .shot = place / "bench/large.ori", .nginx = nullptr, .twin = nullptr};
  fs::create_directories(bench.folder);
  WriteLargeShot(bench.shot);
  g_lumoDebug = fopen("/dev/null", "w");
  if (const char* program = std::getenv("LUMORA_NGINX")) {
    bench.nginx = std::make_unique<Server>(StartNginx(program, bench.folder));
  }
  bench.twin = std::make_unique<Server>(StartTwin(bench.folder, bench.shot));
  constexpr std::pair<const char*, void (*)(const Bench&)> kAll[] = {
      {"get_file", GetFile}, {"get_list", GetList}, {"upload", Upload}};
  for (const auto& [name, run] : kAll) {
    if (std::regex_search(name, wanted)) run(bench);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::string option = "--benchmark_filter=", given = argc > 1 ? argv[1] : option;
  if (argc > 2 || !given.starts_with(option)) {
    std::fprintf(stderr, "usage: http_bench [--benchmark_filter=REGEX]\n");
    return 2;
  }
  try {
    Run(std::regex(given.substr(option.size())));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "http_bench: %s\n", error.what());
    return 2;
  }
}
