#include "common/httpd/post_body.h"

#include <sys/socket.h>

#include <array>
#include <cstddef>

#include "common/fpga_ctrl/array/bounds.h"
#include "common/types.h"

static constexpr int kBlockSize = 4096;

static constexpr std::array<uint32_t, 256> MakeCrcTable() {
  std::array<uint32_t, 256> table = {};
  for (uint32_t i = 0; i < 256; i++) {
    uint32_t val = i;
    for (int round = 0; round < 8; round++) val = (val & 1) != 0 ? val >> 1 ^ 0xEDB88320u : val >> 1;
    table[i] = val;
  }
  return table;
}
static constexpr auto kCrcTable = MakeCrcTable();
static_assert(kCrcTable[1] == 0x77073096 && kCrcTable[255] == 0x2D02EF8D);

// Takes exactly `size` bytes that are known to be there. False if the peer has gone.
static bool TakeBytes(int sock, BYTE* bytes, int size) {
  while (size > 0) {
    const ssize_t got = recv(sock, bytes, static_cast<size_t>(size), 0);
    if (got < 1) return false;
    size -= static_cast<int>(got);
  }
  return true;
}

// Byte by byte to the outside, with fewer system calls: looks at what has come, gives it to the file singly, so that a
// full disk shows at the same byte, and then takes from the socket what the file took and the byte that it refused.
unsigned int get_post_body(int sock, FILE* file, int size) {
  std::array<BYTE, kBlockSize> block;
  uint32_t crcValue = 0xFFFFFFFF;
  bool isWritten = true;
  while (size > 0 && isWritten) {
    const ssize_t seen = recv(sock, block.data(), static_cast<size_t>(LMin(size, kBlockSize)), MSG_PEEK);
    if (seen < 1) break;
    int taken = 0;
    while (taken < seen && isWritten) {
      const BYTE c = block[static_cast<size_t>(taken++)];
      isWritten = fwrite(&c, 1, 1, file) == 1;
      if (isWritten) crcValue = crcValue >> 8 ^ kCrcTable[(crcValue ^ c) & 255];
    }
    if (!TakeBytes(sock, block.data(), taken)) break;
    size -= taken;
  }
  return ~crcValue;
}
