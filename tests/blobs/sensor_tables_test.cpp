#include <gmock/gmock.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "tests/support/file_bytes.h"

namespace {

struct Row {
  uint32_t address, value;
  bool operator==(const Row&) const = default;
};

std::vector<Row> TableIn(const char* path) {
  const std::vector<uint8_t> bytes = FileBytes(path);
  std::vector<Row> rows;
  for (size_t i = 0; i + 4 <= bytes.size(); i += 4) {
    EXPECT_EQ(bytes[i + 3], 0) << "a register address has 16 bits";
    rows.push_back({bytes[i + 1] | uint32_t{bytes[i + 2]} << 8, bytes[i]});
  }
  return rows;
}

// Takes `known` rows out of the table, in that order; true if they are all there, each once.
bool HoldsInOrder(const std::vector<Row>& table, const std::vector<Row>& known) {
  size_t next = 0;
  for (const Row& row : table) {
    if (next < known.size() && row == known[next]) next++;
  }
  if (next != known.size()) ADD_FAILURE() << "missing or out of order: " << std::hex << known[next].address;
  return next == known.size();
}

}  // namespace

TEST(SensorTables, TheModeTableSetsTheSystemsWindowAndTiming) {
  const std::vector<Row> table = TableIn(LUMORA_BLOB_DIR "/reg20_table_a.bin");
  ASSERT_EQ(table.size(), 238u);
  EXPECT_EQ(table[0], (Row{0x0103, 0x01}));
  EXPECT_EQ(table[1], (Row{0x0100, 0x00}));
  EXPECT_TRUE(HoldsInOrder(
      table, {{0x0302, 0x19}, {0x0303, 0x00}, {0x0304, 0x03}, {0x030D, 0x19}, {0x030E, 0x00}, {0x030F, 0x04},
              {0x0312, 0x01}, {0x031E, 0x0C}, {0x3500, 0x00}, {0x3501, 0x98}, {0x3502, 0x60}, {0x3503, 0x00},
              {0x3508, 0x02}, {0x3509, 0x00}, {0x3800, 0x00}, {0x3801, 0x0C}, {0x3802, 0x00}, {0x3803, 0x0C},
              {0x3804, 0x0C}, {0x3805, 0xD3}, {0x3806, 0x09}, {0x3807, 0xA3}, {0x3808, 0x0C}, {0x3809, 0xC0},
              {0x380A, 0x09}, {0x380B, 0x90}, {0x380C, 0x07}, {0x380D, 0x98}, {0x380E, 0x09}, {0x380F, 0xA6},
              {0x3820, 0x00}, {0x3821, 0x46}, {0x4837, 0x16}, {0x5000, 0x96}, {0x5001, 0x01}, {0x5002, 0x08}}));
  for (size_t i = 3; i < table.size(); i++) EXPECT_LT(table[i - 1].address, table[i].address) << "row " << i;
}
