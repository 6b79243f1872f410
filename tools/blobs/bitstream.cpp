#include "tools/blobs/bitstream.h"

#include <boost/crc.hpp>
#include <span>

#include "tools/blobs/stand_in_values.h"

namespace blobs {
namespace {

constexpr uint32_t dummy = 0xFFFFFFFF;
constexpr uint32_t sync = 0xAA995566;
constexpr uint32_t noop = 0x20000000;
constexpr uint32_t writeCrc = 0x30000001;
constexpr uint32_t writeFar = 0x30002001;
constexpr uint32_t writeFdri = 0x30004000;
constexpr uint32_t writeCmd = 0x30008001;
constexpr uint32_t writeIdcode = 0x30018001;
constexpr uint32_t type2 = 0x50000000;
constexpr uint32_t rcrc = 7, wcfg = 1, start = 5, desync = 13;

class WordStream {
 public:
  void Put(uint32_t word) {
    for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<uint8_t>(word >> shift));
  }
  void Put(uint32_t header, uint32_t word) {
    Put(header);
    Put(word);
  }
  size_t Words() const { return bytes.size() / 4; }

  std::vector<uint8_t> bytes;
};

uint32_t Crc32(std::span<const uint8_t> data) {
  boost::crc_32_type crc;
  crc.process_bytes(data.data(), data.size());
  return crc.checksum();
}

}  // namespace

std::vector<uint8_t> MakeBitstream() {
  constexpr size_t totalWords = bitstreamSize / 4;
  constexpr size_t wordsBehindFrames = 6 + trailingNoops;
  static_assert(bitstreamSize % 4 == 0);

  WordStream stream;
  stream.bytes.reserve(bitstreamSize);
  for (int i = 0; i < 16; i++) stream.Put(dummy);
  stream.Put(sync);
  stream.Put(noop);
  stream.Put(writeCmd, rcrc);
  stream.Put(noop);
  stream.Put(writeIdcode, 0x0FFFF093);
  stream.Put(writeFar, 0);
  stream.Put(writeCmd, wcfg);
  stream.Put(noop);

  const size_t frameWords = totalWords - wordsBehindFrames - (stream.Words() + 2);
  stream.Put(writeFdri, type2 | static_cast<uint32_t>(frameWords));
  const size_t framesAt = stream.bytes.size();
  StandInValues values(0x46504741);
  for (size_t i = 0; i < frameWords; i++) stream.Put(static_cast<uint32_t>(values.Next()));

  stream.Put(writeCrc, Crc32(std::span(stream.bytes).subspan(framesAt)));
  stream.Put(writeCmd, start);
  stream.Put(writeCmd, desync);
  for (size_t i = 0; i < trailingNoops; i++) stream.Put(noop);
  return stream.bytes;
}

}  // namespace blobs
