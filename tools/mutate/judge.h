// Who looks at a changed program: the tests, or the board alone.
#pragma once

#include <filesystem>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "tools/mutate/build_tree.h"
#include "tools/mutate/mutant.h"

namespace mutate {

enum class Outcome {
  Caught,     // a test failed, or an assertion of the source refused to be built
  Survived,   // nobody noticed
  Traceless,  // the board was asked the very same at the very same times, and has the same files
  Equal,      // the list says that nobody can
  NoBuild,    // the change is no program
  Wrong,      // the text to change is not there, or the tests to try fail without the change
};

struct Verdict {
  Outcome outcome;
  std::string by;  // which test, or why
  size_t line = 0;
};

class Judge {
 public:
  // `byTwin`: by `lumora-twin --press-once` instead of the tests. `reached`: with Reachable, and told apart by
  // Traceless. Throws std::runtime_error if the unchanged program does not pass, or does not repeat itself.
  Judge(std::filesystem::path source, std::filesystem::path build, bool byTwin, bool reached);
  // From any thread; `slot` is the thread's own number.
  Verdict Try(const Mutant& mutant, unsigned slot);
  // Those of `mutants`, all of one file, that stand where a start, a press and a switch-off come by; none if the file
  // is no part of the program.
  std::vector<Mutant> Reachable(std::vector<Mutant> mutants) const;

 private:
  struct Run {
    bool failed = false;
    std::string by;
  };
  Run RunTests(const std::filesystem::path& program, const std::string& filter, const std::filesystem::path& place);
  Run RunAll(const std::string& name, const std::filesystem::path& program, const std::filesystem::path& place);
  static Run PressOnce(const std::filesystem::path& program, const std::filesystem::path& place, bool traces);
  Verdict ByTwin(BuildTree::Variant& variant, const std::filesystem::path& place);
  bool PassesUnchanged(const std::string& name, const std::string& filter);
  Verdict ByTests(const Mutant& mutant, BuildTree::Variant& variant, const std::filesystem::path& place);

  const std::filesystem::path source_, build_;
  const bool byTwin_;
  std::filesystem::path unchanged_;  // what the unchanged program asked of the board and left; empty: not compared
  BuildTree tree_;
  std::map<std::string, std::vector<std::string>> suites_;  // of each test program
  std::mutex mutex_;
  std::map<std::string, bool> passes_;  // program and filter, without a change
};

}  // namespace mutate
