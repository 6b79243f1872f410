// lumora-mutate: makes one change after the other to the application, and looks whether somebody notices.
#include <CLI/CLI.hpp>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <mutex>
#include <thread>

#include "tools/mutate/build_tree.h"
#include "tools/mutate/judge.h"
#include "tools/mutate/mutant.h"

namespace {

namespace fs = std::filesystem;
using namespace mutate;

struct Arguments {
  fs::path source = ".", build = "build";
  std::vector<std::string> only;
  size_t sample = 0, draw = 0;
  std::string seed = "1";
  std::vector<std::string> files;
  bool reached = false, twin = false, list = false, quiet = false;
  unsigned jobs = std::max(1u, std::thread::hardware_concurrency());
};

void Declare(CLI::App& program, Arguments& arguments) {
  program.add_option("only", arguments.only, "Rows with this text in file, meaning or place; else the whole list");
  program.add_option("--sample", arguments.sample, "So many rows of the list, drawn")->type_name("N");
  auto* draw =
      program.add_option("--draw", arguments.draw, "So many mechanical changes of --files, drawn")->type_name("N");
  program.add_option("--files", arguments.files, "Sources to change, or folders of them")
      ->needs(draw)
      ->type_name("PATH");
  program
      .add_flag("--reached", arguments.reached,
                "Draw only where a start, a press and a switch-off come by; with --twin, what asks nothing else of the "
                "board than before is told apart")
      ->needs(draw);
  program.add_option("--seed", arguments.seed, "What --sample and --draw follow")
      ->type_name("TEXT")
      ->capture_default_str();
  program.add_flag("--twin", arguments.twin, "Judge by a start and a press in lumora-twin alone, without any test");
  program.add_flag("--list", arguments.list, "Show the rows, change nothing");
  program.add_flag("--quiet", arguments.quiet, "Show those that nobody noticed, and the sum");
  program.add_option("--jobs", arguments.jobs, "At the same time")->type_name("N")->capture_default_str();
  program.add_option("--source", arguments.source)->type_name("DIR")->group("");
  program.add_option("--build", arguments.build)->type_name("DIR")->group("");
  program.footer("Exit status: 0 all were noticed; 1 some were not; 2 a row of the list is wrong, or nothing to do.");
}

std::vector<Mutant> Drawn(const Arguments& arguments, const Judge& judge) {
  std::vector<Mutant> all;
  size_t possible = 0;
  for (const std::string& name : arguments.files) {
    std::vector<std::string> files;
    if (fs::is_directory(arguments.source / name)) {
      for (const auto& entry : fs::recursive_directory_iterator(arguments.source / name)) {
        if (entry.path().extension() == ".cpp")
          files.push_back(entry.path().lexically_relative(arguments.source).string());
      }
      std::sort(files.begin(), files.end());
    } else {
      files.push_back(fs::path(name).lexically_normal().string());
    }
    for (const std::string& file : files) {
      auto changes = MechanicalChanges(arguments.source, file);
      possible += changes.size();
      if (arguments.reached) changes = judge.Reachable(changes);
      all.insert(all.end(), changes.begin(), changes.end());
    }
  }
  std::cout << possible << " single changes are possible in these files";
  if (arguments.reached) std::cout << ", " << all.size() << " where a start, a press and a switch-off come by";
  std::cout << std::endl;
  return Draw(all, arguments.draw, arguments.seed);
}

std::vector<Mutant> Wanted(const Arguments& arguments, const Judge& judge) {
  if (arguments.draw > 0) return Drawn(arguments, judge);
  std::vector<Mutant> rows;
  for (const Mutant& mutant : ReadLists(arguments.source / "tests/mutants")) {
    const auto names = [&](const std::string& text) {
      return (mutant.file + " " + mutant.row + " " + mutant.meaning).find(text) != std::string::npos;
    };
    const bool wanted = arguments.only.empty() || std::ranges::any_of(arguments.only, names);
    if (wanted && !(arguments.sample > 0 && !mutant.equal.empty())) rows.push_back(mutant);
  }
  return arguments.sample > 0 ? Draw(rows, arguments.sample, arguments.seed) : rows;
}

const char* WordFor(Outcome outcome) {
  switch (outcome) {
    case Outcome::Caught: return "caught";
    case Outcome::Survived: return "SURVIVED";
    case Outcome::Traceless: return "no trace";
    case Outcome::Equal: return "equal";
    case Outcome::NoBuild: return "no build";
    case Outcome::Wrong: return "WRONG ROW";
  }
  return "";
}

using Counts = std::array<int, 6>;  // by Outcome

int Sum(size_t all, const Counts& counts, const Arguments& arguments) {
  const auto count = [&](Outcome outcome) { return counts[static_cast<size_t>(outcome)]; };
  const int judged = count(Outcome::Caught) + count(Outcome::Survived);
  printf("%d changes: %d noticed, %d not", static_cast<int>(all), count(Outcome::Caught), count(Outcome::Survived));
  if (judged > 0) printf(" (%d %% noticed)", 100 * count(Outcome::Caught) / judged);
  printf("; %d equal, %d without a trace, %d that do not build, %d wrong rows\n", count(Outcome::Equal),
         count(Outcome::Traceless), count(Outcome::NoBuild), count(Outcome::Wrong));
  if (count(Outcome::Wrong) > 0 || (arguments.draw == 0 && count(Outcome::NoBuild) > 0)) return 2;
  return count(Outcome::Survived) > 0 ? 1 : 0;
}

int Run(const Arguments& arguments) {
  Judge judge(fs::canonical(arguments.source), fs::canonical(arguments.build), arguments.twin, arguments.reached);
  const std::vector<Mutant> mutants = Wanted(arguments, judge);
  if (mutants.empty()) {
    std::cerr << "no such mutant\n";
    return 2;
  }
  if (arguments.list) {
    for (const Mutant& m : mutants) std::cout << m.row << "  " << m.file << "  " << m.meaning << '\n';
    return 0;
  }
  Counts counts{};
  std::atomic<size_t> next = 0;
  std::mutex output;
  const auto work = [&](unsigned slot) {
    for (size_t i; (i = next++) < mutants.size();) {
      const auto start = std::chrono::steady_clock::now();
      const Verdict verdict = judge.Try(mutants[i], slot);
      const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
      const std::scoped_lock lock(output);
      counts[static_cast<size_t>(verdict.outcome)]++;
      const bool noticed = verdict.outcome == Outcome::Caught || verdict.outcome == Outcome::Equal;
      if (arguments.quiet && noticed) continue;
      const std::string meaning = mutants[i].meaning.substr(0, mutants[i].meaning.find('\n'));
      printf("%-9s %5.1f s  %s  %s:%zu  %s  [%s]\n", WordFor(verdict.outcome), seconds, mutants[i].row.c_str(),
             mutants[i].file.c_str(), verdict.line, meaning.c_str(), verdict.by.c_str());
      fflush(stdout);
    }
  };
  std::vector<std::jthread> workers;
  for (unsigned slot = 0; slot < arguments.jobs; slot++) workers.emplace_back(work, slot);
  workers.clear();

  return Sum(mutants.size(), counts, arguments);
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App program{"Changes the application, one place at a time: does a test, or the board, notice?"};
  Arguments arguments;
  Declare(program, arguments);
  CLI11_PARSE(program, argc, argv);
  try {
    return Run(arguments);
  } catch (const std::exception& error) {
    std::cerr << "lumora-mutate: " << error.what() << '\n';
    return 2;
  }
}
