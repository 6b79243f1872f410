#include "tools/campaign/plan.h"

#include <algorithm>
#include <charconv>
#include <sstream>
#include <stdexcept>

#include "twin/kernel/duration_text.h"

namespace campaign {

namespace {

struct Head {
  std::string_view word;
  bool Plan::*is;
};
constexpr Head kHeads[] = {{"explore", &Plan::explore},
                           {"off", &Plan::off},
                           {"phone", &Plan::phone},
                           {"remote", &Plan::remote},
                           {"raw", &Plan::raw}};

void ReadHead(const std::string& text, Plan& plan) {
  std::istringstream words(text);
  for (std::string word; words >> word;) {
    const auto* head = std::ranges::find(kHeads, word, &Head::word);
    if (head != std::end(kHeads)) {
      plan.*head->is = true;
    } else if (word.starts_with("seed=") &&
               std::from_chars(word.data() + 5, word.data() + word.size(), plan.seed).ptr ==
                   word.data() + word.size()) {
      continue;
    } else {
      throw std::invalid_argument("a plan begins with seed=N, explore, off, phone, remote and raw, not \"" + word +
                                  '"');
    }
  }
}

std::string Trimmed(std::string_view text) {
  const size_t begin = text.find_first_not_of(" \t"), end = text.find_last_not_of(" \t");
  return begin == std::string_view::npos ? "" : std::string(text.substr(begin, end - begin + 1));
}

}  // namespace

std::string TextOf(const Plan& plan) {
  std::string text = "seed=" + std::to_string(plan.seed);
  for (const Head& head : kHeads) {
    if (plan.*head.is) (text += ' ') += head.word;
  }
  for (const std::string& fault : plan.faults) text += " | fault " + fault;
  for (const Action& action : plan.actions) {
    text += " | " + std::to_string(action.at / std::chrono::milliseconds(1)) + "ms " + action.what;
  }
  return text;
}

Plan PlanOf(std::string_view text) {
  Plan plan;
  bool head = true;
  while (true) {
    const size_t bar = text.find('|');
    const std::string item = Trimmed(text.substr(0, bar));
    const size_t space = item.find(' ');
    if (head) {
      ReadHead(item, plan);
    } else if (item.starts_with("fault ")) {
      plan.faults.push_back(item.substr(6));
    } else {
      const auto at = twin::ReadDuration(item.substr(0, space));
      if (!at || space == std::string::npos) {
        throw std::invalid_argument("a plan goes on with `fault RULE` or `TIME ACTION`, not \"" + item + '"');
      }
      plan.actions.push_back({*at, Trimmed(item.substr(space))});
    }
    head = false;
    if (bar == std::string_view::npos) return plan;
    text.remove_prefix(bar + 1);
  }
}

}  // namespace campaign
