// Runs side by side, each in a process of its own: what one does to the program harms no other, and one that dies or
// hangs is a find.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <vector>

#include "tools/campaign/run.h"

namespace campaign {

class Pool {
 public:
  Pool(size_t jobs, std::filesystem::path shotFromBefore);
  ~Pool();  // ends what still runs
  Pool(const Pool&) = delete;
  Pool& operator=(const Pool&) = delete;

  bool Full() const { return children_.size() >= jobs_; }
  bool Empty() const { return children_.empty(); }
  // `tag` comes back with the outcome. There must be room.
  void Start(const Plan& plan, size_t tag);
  struct Done {
    Plan plan;
    size_t tag;
    Outcome outcome;
    double hostSeconds;  // of the processor
  };
  Done Wait();  // for the next that ends; there must be one

 private:
  struct Child {
    pid_t process;
    int pipe;
    Plan plan;
    size_t tag;
    std::string said = {};
    std::chrono::steady_clock::time_point started = std::chrono::steady_clock::now();
  };
  Done Finish(std::vector<Child>::iterator child, bool hung);

  size_t jobs_;
  std::filesystem::path before_;
  std::vector<Child> children_;
};

}  // namespace campaign
