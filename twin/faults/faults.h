// What can break on the board, as data. Models and doors declare fault points; rules name a point and say when it
// breaks, how, and how often. The same rules serve tests, the console and campaigns.
#pragma once

#include <cerrno>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "twin/kernel/kernel.h"

namespace twin {

// How an operation breaks. Which kinds a point understands stands with the point's owner; it ignores others.
struct Effect {
  enum class Kind {
    Fail,      // the call fails with errno `value`
    Value,     // a wrong answer: `value`
    Silence,   // no answer, nothing happens
    Delay,     // it takes `delay` longer
    PowerCut,  // the board loses its power: a point that has a part of its own to do first (a torn write) does it and
               // calls Faults::PowerCut; for any other the engine cuts at the same board time, the operation done
  };
  Kind kind = Kind::Fail;
  int64_t value = EIO;
  Duration delay{0};
};

struct FaultRule {
  std::string point = {};                // "spi.message", "disk.write", ...
  std::optional<int64_t> detail = {};    // only operations with this detail (a layer, a channel, a register)
  uint64_t nth = 1;                      // first the n-th operation that meets all other conditions
  std::optional<Time> after = {};        // not before this board time
  std::optional<Time> until = {};        // not from this board time on
  double probability = 1.0;              // of each operation from the n-th on
  std::function<bool()> condition = {};  // while this holds (null: always)
  uint64_t times = 1;                    // so often; kAlways for ever
  Effect effect = {};

  static constexpr uint64_t kAlways = UINT64_MAX;
};

class Faults;

// One thing that can break. Cheap to ask while no rule names it. Lives as long as the Faults that it is given.
class FaultPoint {
 public:
  // `what` is a line for the console's help. Points must have different names.
  FaultPoint(Faults& faults, std::string name, std::string what);
  ~FaultPoint();
  FaultPoint(const FaultPoint&) = delete;
  FaultPoint& operator=(const FaultPoint&) = delete;

  // Called at each operation. The effect to apply now, if a rule fires.
  std::optional<Effect> Ask(int64_t detail = 0) {
    if (!armed_) return std::nullopt;
    return AskRules(detail);
  }
  // For operations that can only fail: the errno value to fail with now, or 0. Other effects have none here.
  int AskFailure(int64_t detail = 0) {
    const auto effect = Ask(detail);
    return effect && effect->kind == Effect::Kind::Fail ? static_cast<int>(effect->value) : 0;
  }
  const std::string& Name() const { return name_; }
  const std::string& What() const { return what_; }

 private:
  friend class Faults;
  std::optional<Effect> AskRules(int64_t detail);

  Faults& faults_;
  std::string name_, what_;
  bool armed_ = false;
};

class Faults {
 public:
  explicit Faults(Kernel& kernel) : kernel_(kernel) {}

  // Throws std::invalid_argument if no point has the rule's name.
  void Add(FaultRule rule);
  // "spi.message fail=EIO nth=5 times=1 detail=2 after=3s p=0.1", "disk.write powercut nth=12",
  // "layer.conf silence times=always", "stc.reply value=0x1234 for=5s", "frame.send delay=200ms".
  // `after` and `for` count from now, `for` after `after`. With `for` or `p`, `times` is "always" unless it is given.
  // "powercut=V" gives the effect the value V, "powercut" alone -1.
  // Throws std::invalid_argument with a message for a person.
  void Add(std::string_view text);
  void Clear();
  // Takes the rules of one point away, and nothing of what has fired. Throws std::invalid_argument if there is no such.
  void Clear(std::string_view point);
  // The words that the text form has besides the point's name.
  struct Word {
    std::string_view word;
    std::string_view value;  // what stands behind "=", "[...]" if it may be left out; empty: nothing does
    bool effect;             // else it is a condition
    std::string_view what;
  };
  static std::span<const Word> TextWords();
  // The rules that stand, as text, how many operations have met their conditions, and how often each has fired.
  struct Standing {
    std::string point, text;
    uint64_t seen, fired;
  };
  std::vector<Standing> Rules() const;
  // Each rule much as in the text form, with how often it has fired.
  std::vector<std::string> Describe() const;

  // How often a rule has fired since Clear, for tests that must know that their fault happened.
  uint64_t Fired() const { return fired_; }
  const std::vector<FaultPoint*>& Points() const { return points_; }
  // What ends the board's power. Called from within the operation, or in the scheduler at the same board time.
  void SetPowerCut(std::function<void()> cut) { powerCut_ = std::move(cut); }
  void PowerCut();

 private:
  friend class FaultPoint;
  struct ActiveRule {
    FaultRule rule;
    const FaultPoint* point;
    uint64_t seen = 0, fired = 0;
  };
  bool Matches(const ActiveRule& active, int64_t detail) const;
  bool Fires(ActiveRule& active, int64_t detail);
  void CutSoon();
  std::string UnknownPoint(std::string_view name) const;

  Kernel& kernel_;
  std::vector<FaultPoint*> points_;
  std::vector<ActiveRule> rules_;
  uint64_t fired_ = 0;
  Kernel::EventId pendingCut_ = 0;
  bool cutPending_ = false;
  std::function<void()> powerCut_;
};

}  // namespace twin
