#include "twin/light/mark.h"

namespace twin {
namespace {

class BitWriter {
 public:
  void Put(uint32_t value, int width) {
    for (int i = width - 1; i >= 0; i--) bits[next++] = value >> i & 1;
  }

  uint32_t Crc16() const {
    uint32_t crc = 0xFFFF;
    for (size_t i = 0; i < next; i++) {
      const bool carry = ((crc >> 15) & 1) != bits[i];
      crc = (crc << 1 ^ (carry ? 0x1021 : 0)) & 0xFFFF;
    }
    return crc;
  }

  MarkBits bits;
  size_t next = 0;
};

}  // namespace

MarkBits BitsOf(const Mark& mark) {
  BitWriter writer;
  writer.Put(markStart, 8);
  writer.Put(static_cast<uint32_t>(mark.camera), 5);
  writer.Put(static_cast<uint32_t>(mark.bracket), 3);
  writer.Put(mark.shot, 24);
  writer.Put(mark.mirror, 1);
  writer.Put(mark.flip, 1);
  writer.Put(static_cast<uint32_t>(mark.gray), 8);
  writer.Put(0, 6);
  writer.Put(writer.Crc16(), 16);
  return writer.bits;
}

}  // namespace twin
