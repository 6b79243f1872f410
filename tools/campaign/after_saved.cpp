#include "tools/campaign/after_saved.h"

#include <algorithm>

#include "tools/campaign/file_bytes.h"
#include "tools/lumora-shot/verify.h"
#include "twin/board.h"
#include "twin/transcript/transcript.h"

namespace campaign {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

namespace {

struct Left {
  enum class Kind { Whole, Damaged, Gone } kind = Kind::Gone;
  double bytes = 0;  // share of the shot's that can still be read under its name
};

Left CutAfter(twin::Duration wait, uint64_t seed, bool synced) {
  twin::Board board{twin::BoardOptions{.seed = seed}};
  if (!synced) board.faults.Add("disk.sync fail=EIO times=always");
  board.Boot();
  board.button.Press(100ms);
  if (!board.RunUntilShotEnds()) throw std::runtime_error("an unbroken camera takes no shot");
  const fs::path path = board.disk.OnlyShot();
  const std::string whole = Bytes(path);
  board.Run(wait);
  board.PowerOff();
  if (!fs::exists(path)) return {};
  const std::string left = Bytes(path);
  size_t same = 0;
  for (size_t i = 0; i < std::min(left.size(), whole.size()); i++) same += left[i] == whole[i];
  const auto findings = shot::Verify(path.string());
  return {shot::HasFault(findings) ? Left::Kind::Damaged : Left::Kind::Whole,
          static_cast<double>(same) / static_cast<double>(whole.size())};
}

}  // namespace

void PrintAfterSaved(FILE* out, int shots, bool synced) {
  fprintf(out, "battery out after   whole   damaged   gone   bytes left\n");
  for (const auto wait : {0s, 1s, 5s, 10s, 30s, 36s}) {
    int count[3] = {};
    double bytes = 0;
    for (int seed = 1; seed <= shots; seed++) {
      const Left left = CutAfter(wait, static_cast<uint64_t>(seed), synced);
      count[static_cast<int>(left.kind)]++;
      bytes += left.bytes / shots;
    }
    fprintf(out, "%15lld s   %5d   %7d   %4d   %8.1f %%\n", static_cast<long long>(wait / 1s), count[0], count[1],
            count[2], 100 * bytes);
    fflush(out);
  }
}

void PrintSyncCost(FILE* out) {
  fprintf(out, "stick writes   shot file   press to saved   first sync   second sync\n");
  for (const uint64_t speed : {25'000'000, 5'000'000, 1'000'000}) {
    twin::Board board{twin::BoardOptions{.pictures = twin::Pictures::Rendered}};
    board.disk.SetWriteSpeed(speed);
    board.Boot();
    const twin::Transcript transcript(board.kernel, "file");
    const twin::Time pressed = board.Now();
    board.button.Press(100ms);
    if (!board.RunUntilShotEnds(1h)) throw std::runtime_error("an unbroken camera takes no shot");
    const double total = std::chrono::duration<double>(board.Now() - pressed).count();
    std::vector<double> syncs;
    for (size_t i = 1; i < transcript.Lines().size(); i++) {
      const auto& line = transcript.Lines()[i];
      if (line.text != "file sync") continue;
      syncs.push_back(std::chrono::duration<double>(line.at - transcript.Lines()[i - 1].at).count());
    }
    if (syncs.size() != 2)
      throw std::runtime_error("a shot syncs twice, and this one " + std::to_string(syncs.size()) + " times");
    fprintf(out, "%6.0f MB/s   %6.1f MB   %12.1f s   %8.2f s   %9.2f s\n", static_cast<double>(speed) / 1e6,
            static_cast<double>(fs::file_size(board.disk.OnlyShot())) / 1e6, total, syncs[0], syncs[1]);
    fflush(out);
  }
}

}  // namespace campaign
