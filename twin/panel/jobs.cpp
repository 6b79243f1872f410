#include "twin/panel/jobs.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <utility>

namespace twin::panel {

namespace {

constexpr int kNice = 15, kNotStarted = 127;

// Between fork and exec: nothing but calls that a process with one thread's memory may make.
[[noreturn]] void Become(const std::vector<char*>& arguments, int output) {
  dup2(output, STDOUT_FILENO);
  dup2(output, STDERR_FILENO);
  const int nothing = open("/dev/null", O_RDONLY);
  dup2(nothing, STDIN_FILENO);
  setpriority(PRIO_PROCESS, 0, kNice);
  execv(arguments[0], arguments.data());
  _exit(kNotStarted);
}

}  // namespace

Jobs::~Jobs() {
  if (child_ == 0) return;
  host_.Remove(pipe_);
  close(pipe_);
  kill(child_, SIGTERM);
  waitpid(child_, nullptr, 0);
}

void Jobs::Add(Job job) {
  waiting_.push_back(std::move(job));
  if (child_ == 0) StartNext();
}

void Jobs::StartNext() {
  if (waiting_.empty()) return;
  std::array<int, 2> ends{};
  std::vector<char*> arguments;
  for (std::string& word : waiting_.front().command) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  if (pipe2(ends.data(), O_CLOEXEC) != 0) return Finish(-1);
  child_ = fork();
  if (child_ == 0) Become(arguments, ends[1]);
  close(ends[1]);
  if (child_ < 0) {
    close(ends[0]);
    child_ = 0;
    return Finish(-1);
  }
  pipe_ = ends[0];
  host_.Add(pipe_, POLLIN, [this] { Heard(); });
}

void Jobs::Heard() {
  std::array<char, 4096> data{};
  const ssize_t size = read(pipe_, data.data(), data.size());
  for (ssize_t i = 0; i < size; i++) {
    const char letter = data[static_cast<size_t>(i)];
    if (letter != '\n') {
      line_ += letter;
    } else {
      waiting_.front().said(std::exchange(line_, {}));
    }
  }
  if (size > 0) return;
  host_.Remove(pipe_);
  close(pipe_);
  int status = 0;
  waitpid(child_, &status, 0);  // it has closed its outputs, so it is at its end
  child_ = 0;
  line_.clear();
  const bool started = WIFEXITED(status) && WEXITSTATUS(status) != kNotStarted;
  Finish(started ? WEXITSTATUS(status) : -1);
}

void Jobs::Finish(int status) {
  const Job job = std::move(waiting_.front());
  waiting_.pop_front();
  job.ended(status);
  if (child_ == 0) StartNext();
}

}  // namespace twin::panel
