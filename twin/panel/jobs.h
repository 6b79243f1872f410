// Programs that work beside the board, one after the other and with low priority, and what they say as they say it.
#pragma once

#include <sys/types.h>

#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "twin/kernel/host_poll.h"

namespace twin::panel {

class Jobs {
 public:
  explicit Jobs(HostPoll& host) : host_(host) {}  // outlives it
  ~Jobs();                                        // a program that still runs is ended
  Jobs(const Jobs&) = delete;
  Jobs& operator=(const Jobs&) = delete;

  // `said` hears each line, of both outputs; `ended` the exit status, -1 if it could not start or was killed. Both are
  // called from the host poll.
  struct Job {
    std::vector<std::string> command;  // its path first
    std::function<void(const std::string& line)> said;
    std::function<void(int status)> ended;
  };
  void Add(Job job);

 private:
  void StartNext();
  void Heard();
  void Finish(int status);

  HostPoll& host_;
  std::deque<Job> waiting_;  // the first is the one that runs, if any does
  pid_t child_ = 0;
  int pipe_ = -1;
  std::string line_;
};

}  // namespace twin::panel
