// What the processor itself does for the application: registers by physical address, and time burnt in empty loops; and
// the place of the copy protection.
#include "common/angle_reader/i2c_delay.h"
#include "common/fpga_ctrl/array/registers.h"
#include "common/fpga_ctrl/array/write_cipher.h"
#include "common/fpga_ctrl/device/stc_delay.h"
#include "twin/board.h"
#include "twin/transcript/transcript.h"

namespace twin {
namespace {

// A load or store to device memory over the peripheral bus, with the walk along the list of mappings before it.
constexpr Duration kRegisterAccess = 60ns;

// Built for the device, a turn of the two empty loops is six instructions: load, add, store of the counter in memory,
// then load, compare, branch. The store must be through before its load: eight cycles a turn on a 1 GHz core.
constexpr Duration kTurn = 8ns;
constexpr Duration kStcDelay = 40 * 47 * kTurn;
constexpr Duration kI2cDelay = 5 * 47 * kTurn;

void NoteAccess(const char* what, uint32_t address, const char* between, uint32_t value) {
  char text[64];
  snprintf(text, sizeof text, "%s 0x%08x%s0x%x", what, address, between, value);
  Transcript::Note("reg", text);
}

}  // namespace
}  // namespace twin

int himm(unsigned int rw, unsigned int ulAddr, unsigned int* ulValue) {
  twin::Board& board = twin::Board::Current();
  board.kernel.Spend(twin::kRegisterAccess);
  if (rw == 0) {
    *ulValue = board.registers.Read(ulAddr);
    if (twin::Transcript::Hears("reg")) twin::NoteAccess("read", ulAddr, " = ", *ulValue);
  } else {
    if (twin::Transcript::Hears("reg")) twin::NoteAccess("write", ulAddr, " ", *ulValue);
    board.registers.Write(ulAddr, *ulValue);
  }
  return 0;
}

// Registers are reached through himm alone: there is no memory that could be handed out here.
void* memmap(unsigned int phy_addr, unsigned int size) {
  twin::Board::Current().Complain("memmap of " + std::to_string(size) + " bytes at " + std::to_string(phy_addr));
  return nullptr;
}

void LumoStcSpiDelay() {
  if (twin::Transcript::Hears("delay")) twin::Transcript::Note("delay", "stc");
  twin::Board::Current().kernel.Spend(twin::kStcDelay);
}

// The modelled layers have no protection.
void WriteCipher() {
  if (twin::Transcript::Hears("cipher")) twin::Transcript::Note("cipher", "written");
}

void LumoI2cDelay() {
  if (twin::Transcript::Hears("delay")) twin::Transcript::Note("delay", "i2c");
  twin::Board::Current().kernel.Spend(twin::kI2cDelay);
}
