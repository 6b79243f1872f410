#include "tools/campaign/search.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <optional>
#include <random>

namespace campaign {

namespace {

std::string PointOf(const std::string& fault) { return fault.substr(0, fault.find(' ')); }

constexpr uint64_t kLife = 45'000, kRawLife = 110'000;  // ms on the board in which something may be done

constexpr double kLong = 5;  // seconds of the processor; such runs are doubled instead of gone through

// A number from 1 on, small ones more often: each magnitude up to `most` alike.
uint64_t Magnitude(std::mt19937_64& chance, double most) {
  return static_cast<uint64_t>(std::exp(std::uniform_real_distribution<>(0, std::log(most))(chance)));
}

Plan DrawnPlan(std::mt19937_64& chance, const std::vector<Way>& ways, size_t faults) {
  Plan plan{.seed = chance() % 1'000'000};
  const auto oneIn = [&](unsigned n) { return chance() % n == 0; };
  plan.off = oneIn(3);
  const bool anything = faults == 0;
  if (anything) {
    plan.explore = oneIn(2);
    plan.phone = oneIn(3);
    plan.remote = oneIn(4);
    plan.raw = oneIn(24);  // takes twenty times as long
    faults = chance() % 4;
  }
  for (size_t i = 0; i < faults; i++) {
    const Way& way = ways[chance() % ways.size()];
    // Most points are asked a few times in a life, some thousands.
    const uint64_t nth = oneIn(2) ? 1 + chance() % 3 : Magnitude(chance, 2000);
    std::string rule = way.point + ' ' + way.effect + " nth=" + std::to_string(nth);
    if (anything && oneIn(3)) rule += " times=" + std::to_string(Magnitude(chance, 30));
    plan.faults.push_back(rule);
  }
  if (!anything) return plan;
  static const char* const kActions[] = {"cut", "cut", "pull", "press", "hold", "battery", "cut"};
  static const char* const kRequests[] = {"get /get_list",
                                          "get /do_capture?capturemode=2&isomode=1",
                                          "get /shutdown",
                                          "get /do_capture?capturemode=0&delaymode=8",
                                          "get /set_prefix?prefix=abc",
                                          "get /config?btnsetting=0&shutdownmode=3"};
  for (size_t i = chance() % 3 + (faults == 0); i > 0; i--) {
    const twin::Duration at = std::chrono::milliseconds(5000 + chance() % (plan.raw ? kRawLife : kLife));
    plan.actions.push_back({at, plan.phone && oneIn(2) ? kRequests[chance() % std::size(kRequests)]
                                                       : kActions[chance() % std::size(kActions)]});
  }
  return plan;
}

}  // namespace

Search::Search(Pool& pool, std::vector<Way> ways, Limits limits)
    : pool_(pool), ways_(std::move(ways)), limits_(limits) {}

bool Search::Over() const {
  return std::chrono::steady_clock::now() > limits_.until || (limits_.ended != nullptr && *limits_.ended) ||
         (limits_.untilFound && tally_.failed > 0);
}

// A line that is rewritten in place, or, into a file, a line a minute.
void Search::Say(const std::string& what) {
  const bool person = isatty(STDERR_FILENO) != 0;
  const auto now = std::chrono::steady_clock::now();
  if (!person && now - said_ < std::chrono::minutes(1)) return;
  said_ = now;
  const std::string of = expected_ == 0 ? "" : " of about " + std::to_string(std::max(expected_, tally_.runs));
  fprintf(stderr, "%s%-38s %6llu%s runs, %llu failed %s", person ? "\r" : "", what.c_str(),
          static_cast<unsigned long long>(tally_.runs), of.c_str(), static_cast<unsigned long long>(tally_.failed),
          person ? " " : "\n");
}

void Search::Take(const Pool::Done& done) {
  const Outcome& outcome = done.outcome;
  tally_.runs++;
  tally_.checked += outcome.checked;
  tally_.boardSeconds += outcome.boardSeconds;
  if (!outcome.fired) tally_.unfired++;
  for (const Handshake& handshake : outcome.handshakes) {
    Tally::Orders& orders = tally_.handshakes[handshake.kind];
    orders.seen++;
    orders.orders.insert(handshake.order);
  }
  if (outcome.fired) {
    for (const std::string& fault : done.plan.faults) tally_.reached.insert(PointOf(fault));
  }
  for (const std::string& cause : outcome.told) tally_.told[cause]++;
  if (outcome.finds.empty()) return;
  tally_.failed++;
  if (isatty(STDERR_FILENO) != 0) fprintf(stderr, "\r%79s\r", "");
  printf("FOUND  lumora-campaign --run '%s'\n", TextOf(done.plan).c_str());
  for (const std::string& find : outcome.finds) {
    tally_.finds[find]++;
    printf("       %s\n", find.c_str());
  }
  fflush(stdout);
}

std::vector<Counts> Search::CountOperations(uint64_t seed) {
  std::vector<Counts> counts(Lives().size());
  std::set<std::string> points;
  for (const Way& way : ways_) points.insert(way.point);
  for (size_t started = 0; started < counts.size() || !pool_.Empty();) {
    for (; started < counts.size() && !pool_.Full(); started++) {
      Plan plan = Lives()[started];
      plan.seed = seed;
      for (const std::string& point : points) plan.faults.push_back(point + " fail nth=1000000000");
      pool_.Start(plan, started);
    }
    const Pool::Done done = pool_.Wait();
    counts[done.tag] = done.outcome.asked;
    for (const auto& [point, operations] : done.outcome.asked) {
      if (operations > 0) tally_.asked.insert(point);
    }
    tally_.unfired--;  // as it should be
    Take(done);
  }
  return counts;
}

void Search::Singles(uint64_t seed, uint64_t dense, const std::string& only) {
  struct Stream {
    Course course;
    bool running = false;
  };
  std::mt19937_64 chance(seed);
  const std::vector<Counts> counts = CountOperations(seed);
  std::vector<Stream> streams;
  expected_ = tally_.runs;
  for (const Way& way : ways_) {
    if (way.point.find(only) == std::string::npos) continue;
    streams.push_back({Course(way, counts, dense, chance)});
    expected_ += streams.back().course.RunsLeft();
  }
  // The one that has come least far, so that a search that is cut short has tried every way.
  const auto next = [&] {
    auto least = streams.end();
    for (auto stream = streams.begin(); stream != streams.end(); stream++) {
      if (stream->running || stream->course.Ended()) continue;
      if (least == streams.end() || stream->course.Nth() < least->course.Nth()) least = stream;
    }
    return least;
  };
  while (!Over()) {
    for (auto stream = next(); stream != streams.end() && !pool_.Full(); stream = next()) {
      stream->running = true;
      pool_.Start(stream->course.Next(seed), static_cast<size_t>(stream - streams.begin()));
    }
    if (pool_.Empty()) return;
    const Pool::Done done = pool_.Wait();
    auto& [course, running] = streams[done.tag];
    running = false;
    if (!done.outcome.fired) tally_.unfired--;  // how a way ends
    Take(done);
    if (!done.outcome.fired) {
      course.NotFired();
      continue;
    }
    course.Fired(done.hostSeconds > kLong);
    if (course.Sampled()) tally_.sampled.insert(course.Name());
    Say(course.Name() + " nth=" + std::to_string(course.Nth()));
  }
  while (!pool_.Empty()) Take(pool_.Wait());
}

void Search::Drawn(uint64_t seed, uint64_t runs, size_t faults) {
  std::mt19937_64 chance(seed);
  uint64_t started = 0;
  while (!Over()) {
    for (; started < runs && !pool_.Full(); started++) pool_.Start(DrawnPlan(chance, ways_, faults), 0);
    if (pool_.Empty()) return;
    Take(pool_.Wait());
    Say(faults == 2 ? "pairs" : "drawn");
  }
  while (!pool_.Empty()) Take(pool_.Wait());
}

void Search::Replay(const std::vector<std::string>& plans) {
  for (size_t started = 0; started < plans.size() || !pool_.Empty();) {
    for (; started < plans.size() && !pool_.Full(); started++) pool_.Start(PlanOf(plans[started]), started);
    Take(pool_.Wait());
  }
}

}  // namespace campaign
