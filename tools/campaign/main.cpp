// lumora-campaign: breaks the camera in every way that the board knows, one, two and many at a time, and looks whether
// what must always hold still does.
#include <signal.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "tools/campaign/after_saved.h"
#include "tools/campaign/search.h"

namespace {

namespace fs = std::filesystem;
using namespace campaign;

struct Arguments {
  bool singles = false, untilFound = false, log = false, afterSaved = false;
  uint64_t pairs = 0, seed = 1, dense = 24;
  double minutes = 0;
  size_t jobs = 2;
  std::string run, replay, only;
};

std::atomic<bool> ended = false;

// The first signal lets the runs that are under way come to their end, the next one ends the program.
void End(int) {
  ended = true;
  constexpr char kWords[] = "\nending with the runs that are under way; Ctrl-C once more ends at once\n";
  if (write(STDERR_FILENO, kWords, sizeof(kWords) - 1) < 0) return;
}

void ListenToSignals() {
  struct sigaction action = {};
  action.sa_handler = End;
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  for (const int number : {SIGINT, SIGTERM}) sigaction(number, &action, nullptr);
}

// For as long as the campaign runs. What its runs leave if they are killed goes with it.
struct Folder {
  fs::path path;
  Folder() {
    std::string pattern = (fs::temp_directory_path() / "lumora-campaign-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary directory: " + pattern);
    path = pattern;
    setenv("TMPDIR", path.c_str(), 1);
  }
  ~Folder() {
    std::error_code ignored;
    fs::remove_all(path, ignored);
  }
};

int RunOne(const Arguments& arguments, const fs::path& before) {
  const Outcome outcome = RunHere(PlanOf(arguments.run), before);
  if (arguments.log) fputs(outcome.log.c_str(), stdout);
  printf("%s, %.1f s on the board, %u invariants\n", outcome.fired ? "every fault fired" : "not every fault fired",
         outcome.boardSeconds, outcome.checked);
  for (const std::string& cause : outcome.told) printf("told   %s\n", cause.c_str());
  for (const std::string& find : outcome.finds) printf("FOUND  %s\n", find.c_str());
  return outcome.finds.empty() ? 0 : 1;
}

std::vector<std::string> LinesOf(const std::string& path) {
  std::ifstream file(path);
  if (!file) throw std::runtime_error(path + ": cannot be read");
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) {
    if (!line.empty() && line[0] != '#') lines.push_back(line);
  }
  return lines;
}

// "disk.mkdir disk.read net.send" as "disk.mkdir, read; net.send".
std::string Grouped(const std::set<std::string>& points) {
  std::string text, group;
  for (const std::string& point : points) {
    const std::string of = point.substr(0, point.find('.') + 1);
    text += text.empty() ? point : of == group ? ", " + point.substr(of.size()) : "; " + point;
    group = of;
  }
  return text;
}

void PrintReached(const Tally& tally, const std::set<std::string>& points, bool singles) {
  printf("%zu of %zu points broken\n", tally.reached.size(), points.size());
  std::set<std::string> notYet, never;
  for (const std::string& point : points) {
    if (!tally.reached.contains(point)) (singles && !tally.asked.contains(point) ? never : notYet).insert(point);
  }
  if (!notYet.empty()) printf("not broken: %s\n", Grouped(notYet).c_str());
  if (!never.empty()) printf("no life comes by: %s\n", Grouped(never).c_str());
}

void PrintHandshakes(const Tally& tally) {
  for (const auto& [kind, orders] : tally.handshakes) {
    printf("%7llu handshakes in %zu orders: %s\n", static_cast<unsigned long long>(orders.seen), orders.orders.size(),
           kind.c_str());
  }
}

void Summarise(const Search& search, const std::vector<Way>& ways, const Arguments& arguments, double hostSeconds) {
  const Tally& tally = search.Result();
  std::set<std::string> points;
  for (const Way& way : ways) {
    if (!arguments.singles || way.point.find(arguments.only) != std::string::npos) points.insert(way.point);
  }
  if (isatty(STDERR_FILENO) != 0) fprintf(stderr, "\r%79s\r", "");
  printf("\n%llu runs in %.0f s, %.1f board hours an hour, %llu invariants looked at\n",
         static_cast<unsigned long long>(tally.runs), hostSeconds, tally.boardSeconds / hostSeconds,
         static_cast<unsigned long long>(tally.checked));
  if (arguments.replay.empty()) PrintReached(tally, points, arguments.singles);
  if (!tally.sampled.empty()) printf("%zu ways sampled, all others at every operation\n", tally.sampled.size());
  PrintHandshakes(tally);
  for (const auto& [cause, count] : tally.told)
    printf("%7llu told: %s\n", static_cast<unsigned long long>(count), cause.c_str());
  for (const auto& [find, count] : tally.finds)
    printf("%7llu FOUND: %s\n", static_cast<unsigned long long>(count), find.c_str());
  printf("%llu of %llu runs failed\n", static_cast<unsigned long long>(tally.failed),
         static_cast<unsigned long long>(tally.runs));
}

int Campaign(const Arguments& arguments, const fs::path& before) {
  const auto begin = std::chrono::steady_clock::now();
  ListenToSignals();
  Search::Limits limits{.ended = &ended, .untilFound = arguments.untilFound};
  if (arguments.minutes > 0) {
    limits.until = begin + std::chrono::milliseconds(static_cast<int64_t>(arguments.minutes * 60'000));
  }
  const std::vector<Way> ways = AllWays();
  Pool pool(arguments.jobs, before);
  Search search(pool, ways, limits);
  if (!arguments.replay.empty()) search.Replay(LinesOf(arguments.replay));
  if (arguments.singles) search.Singles(arguments.seed, arguments.dense, arguments.only);
  if (arguments.pairs > 0) search.Drawn(arguments.seed, arguments.pairs, 2);
  if (!arguments.singles && arguments.pairs == 0 && arguments.replay.empty()) {
    search.Drawn(arguments.seed, UINT64_MAX, 0);
  }
  Summarise(search, ways, arguments, std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
  return search.Result().failed == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App program{
      "Breaks the camera in every way that the board knows, and looks whether what must always hold still does.\n"
      "Without --singles, --pairs, --run and --replay: drawn faults, times and actions, without end."};
  Arguments arguments;
  program.add_flag("--singles", arguments.singles, "Each way to fail, at its first, second, third ... operation");
  program.add_option("--pairs", arguments.pairs, "So many drawn pairs of faults")->type_name("N");
  program.add_option("--minutes", arguments.minutes, "No longer than this")->type_name("M");
  program.add_option("--seed", arguments.seed, "Where chance begins")->type_name("N")->capture_default_str();
  program.add_option("--jobs", arguments.jobs, "Runs side by side")
      ->type_name("N")
      ->check(CLI::Range(1, 256).description(""))
      ->capture_default_str();
  program.add_option("--dense", arguments.dense, "Of --singles: from this operation on not every one; 0: every one")
      ->type_name("N")
      ->capture_default_str();
  program.add_option("--only", arguments.only, "Of --singles: points whose name has this in it")->type_name("TEXT");
  program.add_option("--replay", arguments.replay, "Runs, one a line")
      ->check(CLI::ExistingFile.description(""))
      ->type_name("FILE");
  program.add_option("--run", arguments.run, "One run, as a find prints it")->type_name("PLAN");
  program.add_flag("--log", arguments.log, "Of --run: what the application said");
  program.add_flag("--until-found", arguments.untilFound, "End with the first find");
  program.add_flag("--after-saved", arguments.afterSaved,
                   "What is left of a shot if the battery is taken out after it was saved, and what that costs");
  program.footer("Exit status: 0 nothing found; 1 found; 2 something was not understood.");
  try {
    program.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return program.exit(error) == 0 ? 0 : 2;
  }
  if (access("/dev/shm", W_OK) == 0) setenv("TMPDIR", "/dev/shm", 0);  // a run writes some megabytes
  try {
    const Folder folder;
    if (arguments.afterSaved) {
      printf("as the camera is\n");
      PrintAfterSaved(stdout, 100, true);
      printf("if it did not sync\n");
      PrintAfterSaved(stdout, 100, false);
      PrintSyncCost(stdout);
      return 0;
    }
    const fs::path before = folder.path / "2026-01-01_00.00.00.ori";
    MakeShotFromBefore(before);
    return arguments.run.empty() ? Campaign(arguments, before) : RunOne(arguments, before);
  } catch (const std::exception& error) {
    fprintf(stderr, "lumora-campaign: %s\n", error.what());
    return 2;
  }
}
