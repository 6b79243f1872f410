#include "common/httpd/post_body.h"

#include <sys/socket.h>

#include <array>
#include <cstddef>

#include "common/bounds.h"
#include "common/types.h"

static constexpr int kStreamBuffer = 4096;  // of the file
static constexpr int kCrcStep = 8;

// Entry [n][b] is what byte b does to the CRC with n more bytes behind it, so that eight bytes cost eight lookups that
// do not wait for each other.
static constexpr std::array<std::array<uint32_t, 256>, kCrcStep> MakeCrcTables() {
  std::array<std::array<uint32_t, 256>, kCrcStep> tables = {};
  for (uint32_t i = 0; i < 256; i++) {
    uint32_t val = i;
    for (int round = 0; round < 8; round++) val = (val & 1) != 0 ? val >> 1 ^ 0xEDB88320u : val >> 1;
    tables[0][i] = val;
  }
  for (size_t n = 1; n < kCrcStep; n++) {
    for (size_t i = 0; i < 256; i++) tables[n][i] = tables[n - 1][i] >> 8 ^ tables[0][tables[n - 1][i] & 255];
  }
  return tables;
}
static constexpr auto kCrcTables = MakeCrcTables();
static_assert(kCrcTables[0][1] == 0x77073096 && kCrcTables[0][255] == 0x2D02EF8D);

static uint32_t AddToCrc(uint32_t crcValue, const BYTE* bytes, size_t size) {
  for (; size >= kCrcStep; bytes += kCrcStep, size -= kCrcStep) {
    uint32_t next = 0;
    for (size_t i = 0; i < kCrcStep; i++) {
      const uint32_t c = i < 4 ? bytes[i] ^ (crcValue >> (8 * i) & 255) : bytes[i];
      next ^= kCrcTables[kCrcStep - 1 - i][c];
    }
    crcValue = next;
  }
  for (; size > 0; bytes++, size--) crcValue = crcValue >> 8 ^ kCrcTables[0][(crcValue ^ *bytes) & 255];
  return crcValue;
}

// Takes exactly `size` bytes that are known to be there. False if the peer has gone.
static bool TakeBytes(int sock, BYTE* bytes, int size) {
  while (size > 0) {
    const ssize_t got = recv(sock, bytes, static_cast<size_t>(size), 0);
    if (got < 1) return false;
    size -= static_cast<int>(got);
  }
  return true;
}

// Byte by byte to the outside, with fewer calls: looks at what has come, gives it to the file, and then takes from the
// socket what the file took and the byte that it refused. A stream writes when a byte finds its buffer full, so the
// first byte of each block goes alone and the rest of the block follows into a buffer that has room for it: a full disk
// shows at the same byte as if each had gone alone.
unsigned int get_post_body(int sock, FILE* file, int size) {
  std::array<BYTE, kStreamBuffer> block;
  uint32_t crcValue = 0xFFFFFFFF;
  int place = 0;  // in the block of the stream's buffer
  bool isWritten = true;
  while (size > 0 && isWritten) {
    const ssize_t seen = recv(sock, block.data(), static_cast<size_t>(LMin(size, kStreamBuffer)), MSG_PEEK);
    if (seen < 1) break;
    int taken = 0;
    while (taken < seen && isWritten) {
      const int part = place == 0 ? 1 : LMin(kStreamBuffer - place, static_cast<int>(seen) - taken);
      const int written = static_cast<int>(fwrite(block.data() + taken, 1, static_cast<size_t>(part), file));
      crcValue = AddToCrc(crcValue, block.data() + taken, static_cast<size_t>(written));
      place = (place + written) % kStreamBuffer;
      isWritten = written == part;
      taken += isWritten ? part : written + 1;
    }
    if (!TakeBytes(sock, block.data(), taken)) break;
    size -= taken;
  }
  return ~crcValue;
}
