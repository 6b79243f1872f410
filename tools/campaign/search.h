// What the campaign goes through: every single fault, drawn pairs, drawn runs, and the list of runs that once failed.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tools/campaign/course.h"
#include "tools/campaign/points.h"
#include "tools/campaign/pool.h"

namespace campaign {

struct Tally {
  uint64_t runs = 0, failed = 0, checked = 0, unfired = 0;
  double boardSeconds = 0;
  std::set<std::string> reached;          // points that a run has broken
  std::map<std::string, uint64_t> told;   // by cause
  std::set<std::string> sampled;          // ways of which not every n-th operation was broken
  std::map<std::string, uint64_t> finds;  // by their words
  std::set<std::string> asked;            // of --singles: points that a life without faults comes by
  struct Orders {
    uint64_t seen = 0;
    std::set<size_t> orders;
  };
  std::map<std::string, Orders> handshakes;  // by kind
};

class Search {
 public:
  struct Limits {
    std::chrono::steady_clock::time_point until = std::chrono::steady_clock::time_point::max();
    const std::atomic<bool>* ended = nullptr;  // by somebody
    bool untilFound = false;
  };
  // `ways` of the board. Progress goes to standard error.
  Search(Pool& pool, std::vector<Way> ways, Limits limits);

  // Each way through all lives, operation after operation until a run ends without it (course.h).
  void Singles(uint64_t seed, uint64_t dense, const std::string& only);
  void Drawn(uint64_t seed, uint64_t runs, size_t faults);  // `faults` 2: pairs; 0: anything
  void Replay(const std::vector<std::string>& plans);

  const Tally& Result() const { return tally_; }

 private:
  bool Over() const;
  std::vector<Counts> CountOperations(uint64_t seed);
  void Take(const Pool::Done& done);
  void Say(const std::string& what);

  Pool& pool_;
  std::vector<Way> ways_;
  Limits limits_;
  Tally tally_;
  uint64_t expected_ = 0;  // runs, if anybody knows
  std::chrono::steady_clock::time_point said_{};
};

}  // namespace campaign
