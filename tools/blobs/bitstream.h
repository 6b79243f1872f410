// A stand-in for the layers' FPGA bitstream: the outer form of a Xilinx configuration stream, with nothing in it.
//
// The stream is a row of 32-bit words, each with its highest byte first in the file:
//
//   words             meaning
//   16 x FFFFFFFF     dummy words, before the device listens
//   AA995566          sync word
//   20000000          no operation
//   30008001 00000007 write CMD: RCRC, clear the check register
//   20000000
//   30018001 0FFFF093 write IDCODE (a stand-in of the right form, no real part)
//   30002001 00000000 write FAR: frame address 0
//   30008001 00000001 write CMD: WCFG, configuration data follows
//   20000000
//   30004000          write FDRI, word count 0: the count stands in the next header
//   50000000|N        type-2 header: N words follow
//   N words           the configuration frames (here: arbitrary)
//   30000001 crc      write CRC
//   30008001 00000005 write CMD: START
//   30008001 0000000D write CMD: DESYNC
//   20000000 ...      no operation, up to the end
//
// The CRC word is the common CRC-32 (polynomial 04C11DB7 reflected, start and final value FFFFFFFF) of the N words as
// they lie in the file. The real parts' check covers every packet; this one covers what is worth covering in a model.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace blobs {

constexpr size_t bitstreamSize = 1396280;  // bytes, as the layers expect it
constexpr size_t trailingNoops = 64;       // clocks for the start-up sequence

// The whole stream, bitstreamSize bytes.
std::vector<uint8_t> MakeBitstream();

}  // namespace blobs
