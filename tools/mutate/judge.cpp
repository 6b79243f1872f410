#include "tools/mutate/judge.h"

#include <fnmatch.h>
#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

#include "tools/mutate/reached.h"

namespace mutate {

namespace fs = std::filesystem;

namespace {

// The programs that hold the tests, quick ones first.
const std::vector<std::string> testPrograms = {"lumora-unit-tests", "lumora-board-tests"};

// Who takes more of the processor's time has been caught in a loop: the longest takes a sixth of it. The clock on the
// wall, which goes on while others have the processor, is only asked about who waits without end.
constexpr int kLimitSeconds = 150;
constexpr int kWaitingSeconds = 10 * kLimitSeconds;

struct Ended {
  int status;
  bool withoutEnd;
  std::string output;
};

Ended RunLimited(const std::string& command, const fs::path& place) {
  const fs::path log = place / "output.txt";
  const int ended = std::system(("cd '" + place.string() + "' && ulimit -c 0 && ulimit -t " +
                                 std::to_string(kLimitSeconds) + " && timeout -k 5 " + std::to_string(kWaitingSeconds) +
                                 " " + command + " >'" + log.string() + "' 2>&1 </dev/null")
                                    .c_str());
  const int status = WIFEXITED(ended) ? WEXITSTATUS(ended) : 128 + WTERMSIG(ended);
  const bool withoutEnd = status == 124 || status == 128 + SIGXCPU || status == 128 + SIGKILL;
  std::ifstream text(log, std::ios::binary);
  return {status, withoutEnd, {std::istreambuf_iterator<char>(text), {}}};
}

// What the application asks of the board, with the times; its log is not among it, as no chip reads that. And the
// board's files as they are left.
constexpr const char* kTranscript = "asked.txt";
constexpr const char* kBoard = "board";
constexpr const char* kAsked = "reg delay sleep spi cipher i2c media file shell net tty clock thread";

bool SameTraces(const fs::path& a, const fs::path& b) {
  const auto differs = [&](const std::string& command, const char* name) {
    return std::system((command + " '" + (a / name).string() + "' '" + (b / name).string() + "' >/dev/null").c_str());
  };
  return differs("cmp -s", kTranscript) == 0 && differs("diff -rq", kBoard) == 0;
}

// "[  FAILED  ] Suite.Test", or the test that ran as the program ended.
std::string FailedTest(const std::string& output) {
  size_t at = output.find("[  FAILED  ] ");
  if (at == std::string::npos) at = output.rfind("[ RUN      ] ");
  if (at == std::string::npos) return "the program ended";
  at += 13;
  return output.substr(at, output.find_first_of(" ,\n", at) - at);
}

}  // namespace

Judge::Judge(fs::path source, fs::path build, bool byTwin, bool reached)
    : source_(std::move(source)), build_(std::move(build)), byTwin_(byTwin), tree_(source_, build_) {
  const fs::path place = build_ / "mutants";
  fs::create_directories(place);
  if (byTwin_ && reached) {
    for (const char* name : {"unchanged", "unchanged-again"}) {
      fs::remove_all(place / name);
      fs::create_directories(place / name);
      const Run run = PressOnce(build_ / "bin/lumora-twin", place / name, true);
      if (run.failed) throw std::runtime_error("unchanged: " + run.by);
    }
    unchanged_ = place / "unchanged";
    if (!SameTraces(unchanged_, place / "unchanged-again"))
      throw std::runtime_error("the unchanged program does not repeat itself");
    fs::remove_all(place / "unchanged-again");
  }
  if (byTwin_) return;
  for (const std::string& name : testPrograms) {
    std::istringstream list(RunLimited((build_ / "bin" / name).string() + " --gtest_list_tests", place).output);
    for (std::string line; std::getline(list, line);) {
      if (!line.empty() && line[0] != ' ' && line.find(' ') == std::string::npos && line.ends_with('.')) {
        suites_[name].push_back(line);
      } else if (!line.empty() && line[0] != ' ' && line.find(".  #") != std::string::npos) {
        suites_[name].push_back(line.substr(0, line.find(' ')));
      }
    }
  }
}

Judge::Run Judge::RunTests(const fs::path& program, const std::string& filter, const fs::path& place) {
  const Ended ended = RunLimited("'" + program.string() + "' --gtest_fail_fast --gtest_filter='" + filter + "'", place);
  if (ended.status == 0) return {};
  return {true, FailedTest(ended.output) + (ended.withoutEnd ? ", without end" : "")};
}

// Suite by suite: a process each, so that one that leaves the process damaged does not speak for the next.
Judge::Run Judge::RunAll(const std::string& name, const fs::path& program, const fs::path& place) {
  for (const std::string& suite : suites_[name]) {
    const Run run = RunTests(program, suite + "*", place);
    if (run.failed && PassesUnchanged(name, suite + "*")) return run;
  }
  return {};
}

bool Judge::PassesUnchanged(const std::string& name, const std::string& filter) {
  // One at a time: rows with one filter share the place, and the answer.
  const std::scoped_lock lock(mutex_);
  if (const auto known = passes_.find(name + " " + filter); known != passes_.end()) return known->second;
  const fs::path place = build_ / "mutants" / ("unchanged-" + std::to_string(std::hash<std::string>{}(name + filter)));
  fs::create_directories(place);
  const bool passes = !RunTests(build_ / "bin" / name, filter, place).failed;
  fs::remove_all(place);
  return passes_[name + " " + filter] = passes;
}

// A start, a press, a shot: the board's own complaints, and a shot that is not whole.
Judge::Run Judge::PressOnce(const fs::path& program, const fs::path& place, bool traces) {
  const std::string written =
      traces ? " --transcript " + std::string(kTranscript) + " --kinds '" + kAsked + "'" : std::string();
  const Ended ended = RunLimited("'" + program.string() + "' --pace free --pictures marked --root '" +
                                     (place / kBoard).string() + "'" + written + " --press-once",
                                 place);
  if (!traces) fs::remove_all(place / kBoard);
  if (ended.status == 0) return {};
  if (ended.withoutEnd) return {true, "it never ends"};
  std::istringstream lines(ended.output);
  std::string line, last;
  while (std::getline(lines, line)) last = line.empty() ? last : line;
  return {true, last.substr(0, 100)};
}

std::vector<Mutant> Judge::Reachable(std::vector<Mutant> mutants) const {
  if (mutants.empty() || !tree_.Has(mutants[0].file, "lumora-twin")) return {};
  const fs::path place = build_ / "mutants" / "reached";
  const auto reached =
      mutate::Reached(tree_, place, source_, mutants[0].file, "lumora-twin", [&](const fs::path& program) {
        if (const Run run = PressOnce(program, place, false); run.failed)
          throw std::runtime_error("unchanged: " + run.by);
      });
  std::erase_if(mutants, [&](const Mutant& mutant) { return !reached(Apply(source_, mutant).line); });
  return mutants;
}

Verdict Judge::ByTests(const Mutant& mutant, BuildTree::Variant& variant, const fs::path& place) {
  const auto builds = [&](const std::string& name, fs::path& program) {
    program = variant.Make(name);
    return !program.empty();
  };
  const auto refused = [&]() -> Verdict {
    if (variant.Messages().find("static assertion failed") != std::string::npos)
      return {Outcome::Caught, "static_assert"};
    std::string first = variant.Messages().substr(0, variant.Messages().find("\n", variant.Messages().find("error")));
    return {Outcome::NoBuild, first.substr(first.rfind('\n') + 1)};
  };
  fs::path program;
  if (!mutant.filter.empty()) {
    for (const std::string& name : testPrograms) {
      const bool holds = std::ranges::any_of(suites_[name], [&](const std::string& suite) {
        std::istringstream patterns(mutant.filter);
        for (std::string pattern; std::getline(patterns, pattern, ':');) {
          const std::string wanted = pattern.substr(0, pattern.find('.')) + ".";
          if (fnmatch(wanted.c_str(), suite.c_str(), 0) == 0) return true;
        }
        return false;
      });
      if (!holds) continue;
      if (!builds(name, program)) return refused();
      const Run run = RunTests(program, mutant.filter, place);
      if (run.failed && !PassesUnchanged(name, mutant.filter)) return {Outcome::Wrong, mutant.filter + " fails anyway"};
      if (run.failed) return {Outcome::Caught, run.by};
    }
  }
  for (const std::string& name : testPrograms) {
    if (!builds(name, program)) return refused();
    if (const Run run = RunAll(name, program, place); run.failed) return {Outcome::Caught, run.by};
  }
  return {Outcome::Survived, "all tests pass"};
}

Verdict Judge::ByTwin(BuildTree::Variant& variant, const fs::path& place) {
  const fs::path program = variant.Make("lumora-twin");
  if (program.empty()) return {Outcome::NoBuild, "no build"};
  const Run run = PressOnce(program, place, !unchanged_.empty());
  if (run.failed) return {Outcome::Caught, run.by};
  if (!unchanged_.empty() && SameTraces(unchanged_, place))
    return {Outcome::Traceless, "asks and leaves the very same"};
  return {Outcome::Survived, "a good shot, no complaint"};
}

Verdict Judge::Try(const Mutant& mutant, unsigned slot) {
  Changed changed;
  try {
    changed = Apply(source_, mutant);
  } catch (const std::exception& error) {
    return {Outcome::Wrong, error.what()};
  }
  if (!mutant.equal.empty()) return {Outcome::Equal, mutant.equal, changed.line};
  const fs::path place = build_ / "mutants" / std::to_string(slot);
  BuildTree::Variant variant(tree_, place, mutant.file, changed.text);
  Verdict verdict{Outcome::NoBuild, "no build"};
  if (!byTwin_) {
    verdict = ByTests(mutant, variant, place);
  } else {
    verdict = ByTwin(variant, place);
  }
  verdict.line = changed.line;
  fs::remove_all(place);
  return verdict;
}

}  // namespace mutate
