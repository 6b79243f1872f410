// The text form of fault rules: a point's name, then words "key" or "key=value" in any order.
#include <algorithm>
#include <array>
#include <charconv>
#include <stdexcept>

#include "twin/faults/faults.h"
#include "twin/kernel/duration_text.h"

namespace twin {

namespace {

struct ErrorName {
  std::string_view name;
  int value;
};
constexpr std::array<ErrorName, 22> errorNames = {
    {{"EPERM", EPERM},           {"ENOENT", ENOENT},        {"EINTR", EINTR},   {"EIO", EIO},
     {"ENXIO", ENXIO},           {"EBADF", EBADF},          {"EAGAIN", EAGAIN}, {"ENOMEM", ENOMEM},
     {"EACCES", EACCES},         {"EFAULT", EFAULT},        {"EBUSY", EBUSY},   {"EEXIST", EEXIST},
     {"ENODEV", ENODEV},         {"EINVAL", EINVAL},        {"EMFILE", EMFILE}, {"ENOSPC", ENOSPC},
     {"EROFS", EROFS},           {"EPIPE", EPIPE},          {"ENOTTY", ENOTTY}, {"ETIMEDOUT", ETIMEDOUT},
     {"ECONNRESET", ECONNRESET}, {"EADDRINUSE", EADDRINUSE}}};

constexpr std::array<Faults::Word, 11> kWords = {{
    {"fail", "[ERRNO]", true, "the call fails, with EIO if not said"},
    {"value", "N", true, "a wrong answer"},
    {"silence", "", true, "no answer, nothing happens"},
    {"delay", "TIME", true, "it takes so much longer"},
    {"powercut", "[N]", true, "the board loses its power"},
    {"nth", "N", false, "first the N-th time; 1 if not said"},
    {"times", "N|always", false, "so often; once if not said"},
    {"detail", "N", false, "only for this layer, channel, register, port"},
    {"after", "TIME", false, "not before so much time has passed"},
    {"for", "TIME", false, "only for so long from then"},
    {"p", "0..1", false, "each time with this probability"},
}};

// "fail[=ERRNO], value=N, ..."
std::string Forms(bool effects) {
  std::string forms;
  for (const Faults::Word& word : kWords) {
    if (word.effect != effects) continue;
    const bool optional = word.value.starts_with('[');
    forms += (forms.empty() ? "" : ", ") + std::string(word.word);
    if (!word.value.empty()) forms += (optional ? "[=" : "=") + std::string(word.value.substr(optional));
  }
  return forms;
}

std::string Quoted(std::string_view text) { return '"' + std::string(text) + '"'; }

[[noreturn]] void Refuse(const std::string& message) { throw std::invalid_argument(message); }

// Decimal or 0x, with a sign.
int64_t Number(std::string_view key, std::string_view text) {
  std::string_view digits = text;
  const bool negative = !digits.empty() && digits[0] == '-';
  if (negative) digits.remove_prefix(1);
  const bool hex = digits.starts_with("0x") || digits.starts_with("0X");
  if (hex) digits.remove_prefix(2);
  int64_t number = 0;
  const auto [rest, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number, hex ? 16 : 10);
  if (error != std::errc{} || rest != digits.data() + digits.size() || digits[0] == '-') {
    Refuse(std::string(key) + " wants a number, not " + Quoted(text));
  }
  return negative ? -number : number;
}

uint64_t Count(std::string_view key, std::string_view text) {
  const int64_t number = Number(key, text);
  if (number < 1) Refuse(std::string(key) + " wants a number from 1, not " + Quoted(text));
  return static_cast<uint64_t>(number);
}

Duration Length(std::string_view key, std::string_view text) {
  const auto length = ReadDuration(text);
  if (!length) Refuse(std::string(key) + " wants a time such as 200ms or 3s, not " + Quoted(text));
  return *length;
}

double Probability(std::string_view text) {
  double p = 0;
  const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), p);
  if (error != std::errc{} || rest != text.data() + text.size() || !(p >= 0 && p <= 1)) {
    Refuse("p wants a probability from 0 to 1, not " + Quoted(text));
  }
  return p;
}

int64_t ErrorValue(std::string_view text) {
  if (text.empty()) return EIO;
  for (const ErrorName& error : errorNames) {
    if (error.name == text) return error.value;
  }
  if (text[0] == 'E') Refuse("fail does not know the error " + Quoted(text));
  return Number("fail", text);
}

std::vector<std::string_view> Words(std::string_view text) {
  std::vector<std::string_view> words;
  while (true) {
    const size_t start = text.find_first_not_of(" \t");
    if (start == std::string_view::npos) return words;
    text.remove_prefix(start);
    const size_t length = std::min(text.find_first_of(" \t"), text.size());
    words.push_back(text.substr(0, length));
    text.remove_prefix(length);
  }
}

std::string EffectText(const Effect& effect) {
  switch (effect.kind) {
    case Effect::Kind::Fail:
      for (const ErrorName& error : errorNames) {
        if (error.value == effect.value) return "fail=" + std::string(error.name);
      }
      return "fail=" + std::to_string(effect.value);
    case Effect::Kind::Value: return "value=" + std::to_string(effect.value);
    case Effect::Kind::Silence: return "silence";
    case Effect::Kind::Delay: return "delay=" + DurationText(effect.delay);
    case Effect::Kind::PowerCut: return "powercut=" + std::to_string(effect.value);
  }
  return "";
}

// Number of letters to change, add or drop to get from one name to the other.
size_t Distance(std::string_view a, std::string_view b) {
  std::vector<size_t> row(b.size() + 1);
  for (size_t j = 0; j <= b.size(); j++) row[j] = j;
  for (size_t i = 1; i <= a.size(); i++) {
    size_t diagonal = row[0];
    row[0] = i;
    for (size_t j = 1; j <= b.size(); j++) {
      const size_t changed = diagonal + (a[i - 1] != b[j - 1]);
      diagonal = row[j];
      row[j] = std::min({changed, row[j] + 1, row[j - 1] + 1});
    }
  }
  return row[b.size()];
}

}  // namespace

std::string Faults::UnknownPoint(std::string_view name) const {
  std::string message = "there is no fault point " + Quoted(name);
  const FaultPoint* nearest = nullptr;
  size_t distance = 4;  // further away is no typing error
  for (const FaultPoint* point : points_) {
    if (const size_t d = Distance(name, point->Name()); d < distance) {
      distance = d;
      nearest = point;
    }
  }
  return message + (nearest ? "; did you mean " + Quoted(nearest->Name()) + "?" : "");
}

void Faults::Add(std::string_view text) {
  const auto words = Words(text);
  if (words.empty()) Refuse("a fault wants a point and an effect: " + Forms(true));
  FaultRule rule;
  rule.point = words[0];
  bool known = false;
  for (const FaultPoint* point : points_) known = known || point->Name() == rule.point;
  if (!known) Refuse(UnknownPoint(rule.point));

  bool effectGiven = false, timesGiven = false, open = false;
  std::optional<Duration> lasting;
  auto give = [&](Effect effect) {
    if (effectGiven) Refuse("a fault has one effect, this one has two: " + Quoted(text));
    effectGiven = true;
    rule.effect = effect;
  };
  for (size_t i = 1; i < words.size(); i++) {
    const size_t equals = words[i].find('=');
    const bool bare = equals == std::string_view::npos;
    const std::string_view key = words[i].substr(0, equals);
    const std::string_view value = bare ? std::string_view{} : words[i].substr(equals + 1);
    if (key == "fail") {
      give({.kind = Effect::Kind::Fail, .value = ErrorValue(value)});
    } else if (key == "value") {
      give({.kind = Effect::Kind::Value, .value = Number(key, value)});
    } else if (key == "silence" && bare) {
      give({.kind = Effect::Kind::Silence});
    } else if (key == "delay") {
      give({.kind = Effect::Kind::Delay, .delay = Length(key, value)});
    } else if (key == "powercut") {
      give({.kind = Effect::Kind::PowerCut, .value = bare ? -1 : Number(key, value)});
    } else if (key == "nth") {
      rule.nth = Count(key, value);
    } else if (key == "times") {
      rule.times = value == "always" ? FaultRule::kAlways : Count(key, value);
      timesGiven = true;
    } else if (key == "detail") {
      rule.detail = Number(key, value);
    } else if (key == "after") {
      rule.after = kernel_.Now() + Length(key, value);
    } else if (key == "for") {
      lasting = Length(key, value);
      open = true;
    } else if (key == "p") {
      rule.probability = Probability(value);
      open = true;
    } else {
      Refuse("a fault does not know " + Quoted(words[i]) + "; effects: " + Forms(true) +
             "; conditions: " + Forms(false));
    }
  }
  if (!effectGiven) Refuse(Quoted(text) + " says when but not how it breaks; effects: " + Forms(true));
  if (open && !timesGiven) rule.times = FaultRule::kAlways;
  if (lasting) rule.until = rule.after.value_or(kernel_.Now()) + *lasting;
  Add(std::move(rule));
}

std::span<const Faults::Word> Faults::TextWords() { return kWords; }

std::vector<Faults::Standing> Faults::Rules() const {
  std::vector<Standing> rules;
  for (const ActiveRule& active : rules_) {
    const FaultRule& rule = active.rule;
    std::string line = rule.point + ' ' + EffectText(rule.effect);
    if (rule.nth != 1) line += " nth=" + std::to_string(rule.nth);
    if (rule.times != 1)
      line += rule.times == FaultRule::kAlways ? " times=always" : " times=" + std::to_string(rule.times);
    if (rule.detail) line += " detail=" + std::to_string(*rule.detail);
    if (rule.after) line += " from " + DurationText(*rule.after);
    if (rule.until) line += " until " + DurationText(*rule.until);
    if (rule.probability < 1) line += " p=" + std::to_string(rule.probability);
    if (rule.condition) line += " (while a test's condition holds)";
    rules.push_back({rule.point, line, active.seen, active.fired});
  }
  return rules;
}

std::vector<std::string> Faults::Describe() const {
  std::vector<std::string> lines;
  for (const Standing& rule : Rules()) {
    lines.push_back(rule.text + ", fired " + std::to_string(rule.fired) + (rule.fired == 1 ? " time" : " times"));
  }
  return lines;
}

}  // namespace twin
