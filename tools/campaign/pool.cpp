#include "tools/campaign/pool.h"

#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace campaign {

namespace {

// Of the processor's time. A run takes half a second, one whose pictures are treated sample by sample half a minute.
constexpr rlim_t kProcessorSeconds = 180;
constexpr auto kHostLimit = std::chrono::minutes(30);  // for one that sleeps for ever

// A line an item: what a child says of its run. The application's log stays in the child.
std::string TextOf(const Outcome& outcome) {
  std::ostringstream text;
  text << "fired " << outcome.fired << "\nseconds " << outcome.boardSeconds << "\nchecked " << outcome.checked << '\n';
  for (const std::string& find : outcome.finds) text << "find " << find << '\n';
  for (const std::string& cause : outcome.told) text << "told " << cause << '\n';
  for (const auto& [point, operations] : outcome.asked) text << "asked " << operations << ' ' << point << '\n';
  for (const Handshake& handshake : outcome.handshakes)
    text << "handshake " << handshake.order << ' ' << handshake.kind << '\n';
  text << "end\n";
  return text.str();
}

// False if the child has not come to its end.
bool ReadOutcome(const std::string& said, Outcome& outcome) {
  std::istringstream lines(said);
  for (std::string line; std::getline(lines, line);) {
    const size_t space = line.find(' ');
    const std::string key = line.substr(0, space), value = space == std::string::npos ? "" : line.substr(space + 1);
    if (key == "end") return true;
    if (key == "fired") outcome.fired = value == "1";
    if (key == "seconds") outcome.boardSeconds = std::stod(value);
    if (key == "checked") outcome.checked = static_cast<unsigned>(std::stoul(value));
    if (key == "find") outcome.finds.push_back(value);
    if (key == "told") outcome.told.push_back(value);
    const std::string behindNumber = value.substr(std::min(value.size(), value.find(' ') + 1));
    if (key == "asked") outcome.asked[behindNumber] = std::stoull(value);
    if (key == "handshake") outcome.handshakes.push_back({behindNumber, std::stoull(value)});
  }
  return false;
}

void WriteAll(int descriptor, const std::string& text) {
  for (size_t done = 0; done < text.size();) {
    const ssize_t written = write(descriptor, text.data() + done, text.size() - done);
    if (written <= 0) return;
    done += static_cast<size_t>(written);
  }
}

}  // namespace

Pool::Pool(size_t jobs, std::filesystem::path shotFromBefore) : jobs_(jobs), before_(std::move(shotFromBefore)) {}

Pool::~Pool() {
  for (const Child& child : children_) {
    kill(child.process, SIGKILL);
    waitpid(child.process, nullptr, 0);
    close(child.pipe);
  }
}

void Pool::Start(const Plan& plan, size_t tag) {
  int ends[2];
  if (pipe(ends) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
  fflush(nullptr);
  const pid_t process = fork();
  if (process < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (process == 0) {
    close(ends[0]);
    signal(SIGINT, SIG_IGN);  // a terminal sends it to all; who ends the campaign waits for its runs
    signal(SIGTERM, SIG_DFL);
    const rlimit limit = {kProcessorSeconds, kProcessorSeconds};
    setrlimit(RLIMIT_CPU, &limit);
    try {
      WriteAll(ends[1], TextOf(RunHere(plan, before_)));
    } catch (const std::exception& error) {
      WriteAll(ends[1], std::string("find the run itself: ") + error.what() + "\nend\n");
    }
    _exit(0);
  }
  close(ends[1]);
  children_.push_back({.process = process, .pipe = ends[0], .plan = plan, .tag = tag});
}

Pool::Done Pool::Finish(std::vector<Child>::iterator child, bool hung) {
  if (hung) kill(child->process, SIGKILL);
  int status = 0;
  rusage used{};
  wait4(child->process, &status, 0, &used);
  close(child->pipe);
  Done done{child->plan, child->tag, {}, static_cast<double>(used.ru_utime.tv_sec + used.ru_stime.tv_sec)};
  const bool told = ReadOutcome(child->said, done.outcome);
  const bool exited = WIFEXITED(status);
  // A sanitizer's way to say that it has found something; what it is stands in its own words on standard error.
  if (exited && (WEXITSTATUS(status) != 0 || !told)) {
    done.outcome.fired = done.outcome.fired || !told;
    done.outcome.finds.push_back("the program ends with status " + std::to_string(WEXITSTATUS(status)));
  } else if (!told) {
    done.outcome.fired = true;
    const bool busy =
        hung || (WIFSIGNALED(status) && (WTERMSIG(status) == SIGXCPU || done.hostSeconds >= kProcessorSeconds));
    done.outcome.finds.push_back(busy ? "the program is busy for ever"
                                      : "the program dies of signal " + std::to_string(WTERMSIG(status)));
  }
  children_.erase(child);
  return done;
}

Pool::Done Pool::Wait() {
  for (;;) {
    std::vector<pollfd> watched;
    for (const Child& child : children_) watched.push_back({.fd = child.pipe, .events = POLLIN, .revents = 0});
    if (poll(watched.data(), watched.size(), 1000) < 0 && errno != EINTR)
      throw std::system_error(errno, std::generic_category(), "poll");
    for (size_t i = 0; i < children_.size(); i++) {
      const auto child = children_.begin() + static_cast<std::ptrdiff_t>(i);
      if (std::chrono::steady_clock::now() - child->started > kHostLimit) return Finish(child, true);
      if (watched[i].revents == 0) continue;
      char block[4096];
      const ssize_t size = read(child->pipe, block, sizeof(block));
      if (size <= 0) return Finish(child, false);
      child->said.append(block, static_cast<size_t>(size));
    }
  }
}

}  // namespace campaign
