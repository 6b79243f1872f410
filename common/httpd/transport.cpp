#include "common/httpd/transport.h"

#include <sys/socket.h>

#include <array>
#include <cstring>

#include "common/bounds.h"

static constexpr unsigned int kBlockSize = 4096;
static constexpr size_t kHeaderSize = 1024;

// --- in ---

int get_line(int sock, char* buf, int size) {
  int count = 0;
  char c = '\0';
  while (count < size - 1 && c != '\n') {
    ssize_t n = recv(sock, &c, 1, 0);
    if (n < 1) return static_cast<int>(n) - 1;
    if (c == '\r') {
      n = recv(sock, &c, 1, MSG_PEEK);
      if (n < 1) return static_cast<int>(n) - 1;
      if (c == '\n') {
        n = recv(sock, &c, 1, 0);
        if (n < 1) return static_cast<int>(n) - 1;
      } else {
        c = '\n';
      }
    }
    buf[count++] = c;
  }
  buf[count] = '\0';
  return count;
}

// --- out ---

int send_bytes(int client, const void* data, size_t size) { return send(client, data, size, 0) < 0 ? -1 : 0; }

// One header line in one send.
template <class... Values>
static int SendLine(int client, const char* format, Values... values) {
  std::array<char, kHeaderSize> line;
  const int length = snprintf(line.data(), line.size(), format, values...);
  return send_bytes(client, line.data(), static_cast<size_t>(LMin(length, static_cast<int>(line.size()) - 1)));
}

static int SendHead(int client, int statusNo, const char* statusMsg, const char* contentType, int contentLength) {
  if (SendLine(client, "HTTP/1.0 %d %s\r\n", statusNo, statusMsg) < 0) return -1;
  if (SendLine(client, "%s", "Server: lumhttpd/0.1.0\r\n") < 0) return -1;
  if (SendLine(client, "Content-Type: %s\r\n", contentType) < 0) return -1;
  if (SendLine(client, "Content-Length: %d\r\n", contentLength) < 0) return -1;
  return SendLine(client, "%s", "\r\n");
}

int send_txt_of_length(int client, int statusNo, const char* statusMsg, const char* content, size_t length) {
  if (SendHead(client, statusNo, statusMsg, "text/html", static_cast<int>(length)) < 0) return -1;
  return send_bytes(client, content, length) < 0 ? -1 : statusNo;
}

int send_txt(int client, int statusNo, const char* statusMsg, const char* content) {
  return send_txt_of_length(client, statusNo, statusMsg, content, strlen(content));
}

int send_head(int client, const char* contentType, int contentLength) {
  return SendHead(client, 200, "OK", contentType, contentLength);
}

int send_part(int client, FILE* resource, unsigned int offset, unsigned int size) {
  std::array<char, kBlockSize> block = {};  // a file that ends early leaves zeros or the block before, no stack
  fseek(resource, static_cast<long>(offset), SEEK_SET);
  while (size != 0) {
    const unsigned int n = size < kBlockSize ? size : kBlockSize;
    [[maybe_unused]] const size_t got = fread(block.data(), 1, n, resource);
    if (send_bytes(client, block.data(), n) < 0) return -1;
    size -= n;
  }
  return 0;
}
