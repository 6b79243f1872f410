#include "common/httpd/post_body.h"

#include <sys/socket.h>

#include <array>
#include <cstddef>

#include "common/fpga_ctrl/array/bounds.h"
#include "common/types.h"

// As large as a stream's own buffer, so that a write which fails does so at a block's end.
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

// Looks at a block first and then takes as many bytes as a reader of single bytes would have taken: all that the file
// took, and the one that it refused.
unsigned int get_post_body(int sock, FILE* file, int size) {
  std::array<BYTE, kBlockSize> block;
  uint32_t crcValue = 0xFFFFFFFF;
  while (size > 0) {
    const ssize_t seen = recv(sock, block.data(), static_cast<size_t>(LMin(size, kBlockSize)), MSG_PEEK);
    if (seen < 1) break;
    const size_t written = fwrite(block.data(), 1, static_cast<size_t>(seen), file);
    for (size_t i = 0; i < written; i++) crcValue = crcValue >> 8 ^ kCrcTable[(crcValue ^ block[i]) & 255];
    const bool isFull = written < static_cast<size_t>(seen);
    const size_t taken = isFull ? written + 1 : written;
    if (recv(sock, block.data(), taken, 0) < 1 || isFull) break;
    size -= static_cast<int>(taken);
  }
  return ~crcValue;
}
