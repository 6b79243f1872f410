// Reads the generated stream as a configuration port does: by its packets, not by knowing where they are.
#include <gmock/gmock.h>

#include <cstdint>
#include <map>
#include <vector>

#include "tests/support/file_bytes.h"

namespace {

struct Configuration {
  std::vector<uint32_t> frames;
  std::map<uint32_t, std::vector<uint32_t>> written;  // type-1 writes, by register
  size_t syncAt = 0;
  bool strange = false;
};

Configuration Interpret(const std::vector<uint8_t>& stream) {
  std::vector<uint32_t> words;
  for (size_t i = 0; i + 4 <= stream.size(); i += 4) {
    words.push_back(uint32_t{stream[i]} << 24 | uint32_t{stream[i + 1]} << 16 | uint32_t{stream[i + 2]} << 8 |
                    stream[i + 3]);
  }
  Configuration result;
  size_t at = 0;
  while (at < words.size() && words[at] == 0xFFFFFFFF) at++;
  result.syncAt = at;
  if (at == words.size() || words[at++] != 0xAA995566) result.strange = true;
  uint32_t lastRegister = 0;
  while (at < words.size() && !result.strange) {
    const uint32_t header = words[at++];
    const uint32_t type = header >> 29;
    const uint32_t operation = header >> 27 & 3;
    if (header == 0x20000000) continue;
    if (type == 1 && operation == 2) {
      lastRegister = header >> 13 & 0x1F;
      for (uint32_t i = 0; i < (header & 0x7FF); i++) result.written[lastRegister].push_back(words.at(at++));
    } else if (type == 2 && operation == 2 && lastRegister == 2) {
      const uint32_t count = header & 0x7FFFFFF;
      for (uint32_t i = 0; i < count; i++) result.frames.push_back(words.at(at++));
    } else {
      result.strange = true;
    }
  }
  return result;
}

// CRC-32 by long division, bit by bit, from the polynomial in its written form.
uint32_t CheckOf(const std::vector<uint32_t>& words) {
  uint32_t crc = 0xFFFFFFFF;
  for (const uint32_t word : words) {
    for (const int byteShift : {24, 16, 8, 0}) {
      for (int bit = 0; bit < 8; bit++) {
        const bool in = word >> (byteShift + bit) & 1;
        const bool out = crc >> 31;
        crc = crc << 1 ^ (in != out ? 0x04C11DB7u : 0u);
      }
    }
  }
  uint32_t reflected = 0;
  for (int bit = 0; bit < 32; bit++) reflected |= (crc >> bit & 1) << (31 - bit);
  return ~reflected;
}

}  // namespace

TEST(Bitstream, IsAWholeConfigurationInTheLayersLength) {
  const std::vector<uint8_t> stream = FileBytes(LUMORA_BLOB_DIR "/fpga_bitstream.bin");
  ASSERT_EQ(stream.size(), 1396280u);
  Configuration configuration = Interpret(stream);
  ASSERT_FALSE(configuration.strange);
  EXPECT_GE(configuration.syncAt, 1u);
  EXPECT_GT(configuration.frames.size(), 340000u);
  EXPECT_THAT(configuration.written[0], testing::ElementsAre(CheckOf(configuration.frames)));
  ASSERT_FALSE(configuration.written[4].empty());
  EXPECT_EQ(configuration.written[4].back(), 0x0Du);  // the last command ends the configuration
}
