// The console's script reader: the input is a script. Each line is carried out on a board, or refused with a message
// for whoever wrote it; no wait lasts, as if Ctrl-C were held down.
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>

#include "fuzz/require.h"
#include "twin/console/console.h"

namespace {

constexpr volatile std::sig_atomic_t kStop = 1;

// What would reach out of the board: files of this machine, and threads of the application that nobody waits for.
bool ReachesOut(const twin::Words& words) {
  return !words.empty() && (words[0] == "world" || words[0] == "ask" || words[0] == "power");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static twin::Board board{{}};
  std::ostringstream out;
  twin::Console console(board, out, kStop);
  std::istringstream script(std::string(reinterpret_cast<const char*>(data), size));
  for (std::string line; std::getline(script, line);) {
    try {
      if (ReachesOut(twin::SplitLine(line))) continue;
      console.Execute(line);
    } catch (const twin::CommandError& error) {
      fuzz::Require(error.what()[0] != '\0', "a message for the person");
    } catch (const twin::ExpectationFailed& error) {
      fuzz::Require(error.what()[0] != '\0', "a message for the person");
    }
  }
  board.faults.Clear();
  return 0;
}
