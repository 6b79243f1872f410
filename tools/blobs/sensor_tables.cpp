#include "tools/blobs/sensor_tables.h"

#include <stdexcept>

#include "tools/blobs/stand_in_values.h"

namespace blobs {
namespace {

class Table {
 public:
  explicit Table(uint64_t seed) : values_(seed) {}

  void Row(uint32_t address, uint32_t value) { words.push_back(address << 8 | value); }

  // Rows of consecutive registers from `first` on.
  void Rows(uint32_t first, std::initializer_list<uint32_t> values) {
    for (uint32_t value : values) Row(first++, value);
  }

  // `count` stand-in rows, spread evenly from `first` to `last`, both included.
  void StandIns(uint32_t first, uint32_t last, uint32_t count) {
    for (uint32_t i = 0; i < count; i++) StandIn(first + (last - first) * i / (count - 1));
  }

  void StandIn(uint32_t address) { Row(address, static_cast<uint32_t>(values_.Next() & 0xFF)); }

  std::vector<uint32_t> Finish(size_t size) {
    if (words.size() != size) throw std::logic_error("a sensor table has the wrong number of rows");
    return words;
  }

  std::vector<uint32_t> words;

 private:
  StandInValues values_;
};

}  // namespace

std::vector<uint32_t> MakeSensorTableA() {
  Table table(0x32304100);
  table.Row(0x0103, 0x01);  // software reset: must be first
  table.Row(0x0100, 0x00);  // standby: must be second
  table.Rows(0x0302, {0x19, 0x00, 0x03});
  table.Rows(0x030D, {0x19, 0x00, 0x04});
  table.Row(0x0312, 0x01);
  table.Row(0x031E, 0x0C);
  table.StandIns(0x3015, 0x3106, 14);
  table.StandIns(0x3305, 0x3309, 5);
  table.Rows(0x3500, {0x00, 0x98, 0x60, 0x00});
  table.Rows(0x3508, {0x02, 0x00});
  table.StandIns(0x3600, 0x3646, 40);
  table.StandIns(0x3700, 0x37B9, 80);
  table.Rows(0x3800, {0x00, 0x0C, 0x00, 0x0C, 0x0C, 0xD3, 0x09, 0xA3});  // window
  table.Rows(0x3808, {0x0C, 0xC0, 0x09, 0x90});                          // 3264 x 2448
  table.Rows(0x380C, {0x07, 0x98});                                      // line length 1944
  table.Rows(0x380E, {0x09, 0xA6});                                      // frame length 2470
  table.Rows(0x3820, {0x00, 0x46});                                      // orientation
  table.StandIns(0x382A, 0x3846, 12);
  table.StandIns(0x3D85, 0x3F08, 8);
  table.StandIns(0x4000, 0x4034, 22);
  table.StandIns(0x4300, 0x4836, 6);
  table.Row(0x4837, 0x16);
  table.StandIns(0x4838, 0x4FFF, 5);
  table.Rows(0x5000, {0x96, 0x01, 0x08});
  table.StandIns(0x5003, 0x5E01, 8);
  return table.Finish(sensorTableASize);
}

std::vector<uint32_t> MakeSensorTableB() {
  Table table(0x32304200);
  table.Row(0x0100, 0x00);
  // Defect correction. One register of each block is left at its reset value, which makes the table's 101 rows.
  for (uint32_t address = 0x5B00; address <= 0x5B05; address++) {
    if (address != 0x5B04) table.StandIn(address);
  }
  for (uint32_t address = 0x5780; address <= 0x5790; address++) {
    if (address != 0x578F) table.StandIn(address);
  }
  table.StandIns(0x5800, 0x583D, 62);  // lens correction
  table.Row(0x5000, 0x16);
  table.Rows(0x5018, {0x19, 0x31, 0x10, 0x00, 0x16, 0x0F, 0x00});  // white balance; four rows change with the lens
  table.Rows(0x3820, {0x00, 0x40});
  table.Row(0x3503, 0x04);
  table.Rows(0x3500, {0x00, 0x00, 0x80});
  table.Rows(0x3508, {0x00, 0x80});
  table.Row(0x4000, 0xF3);
  return table.Finish(sensorTableBSize);
}

}  // namespace blobs
