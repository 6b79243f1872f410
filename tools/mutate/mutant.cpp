#include "tools/mutate/mutant.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <iterator>
#include <random>
#include <regex>
#include <stdexcept>

namespace mutate {

namespace fs = std::filesystem;

std::string ReadText(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error(path.string() + ": cannot be read");
  return {std::istreambuf_iterator<char>(file), {}};
}

namespace {

std::string Trimmed(const std::string& text) {
  const size_t first = text.find_first_not_of(" \t");
  return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

Mutant ReadRow(const std::string& line, const std::string& file, const std::string& where) {
  const auto fail = [&](const char* what) -> std::runtime_error { return std::runtime_error(where + ": " + what); };
  Mutant mutant;
  mutant.file = file;
  mutant.row = where;
  if (file.empty()) throw fail("no file has been named by a row \"@ FILE\"");
  const size_t arrow = line.find("==>");
  const size_t meaning = arrow == std::string::npos ? arrow : line.find(" :: ", arrow);
  if (meaning == std::string::npos) throw fail("a row is BEFORE ==> AFTER :: MEANING");
  mutant.before = Trimmed(line.substr(0, arrow));
  mutant.after = Trimmed(line.substr(arrow + 3, meaning - arrow - 3));
  std::string rest = line.substr(meaning + 4);
  if (const size_t filter = rest.find(" :: "); filter != std::string::npos) {
    mutant.filter = Trimmed(rest.substr(filter + 4));
    rest.resize(filter);
  }
  mutant.meaning = Trimmed(rest);
  if (mutant.filter.starts_with("=")) {
    mutant.equal = Trimmed(mutant.filter.substr(1));
    mutant.filter.clear();
  }
  static const std::regex number(R"(\[(\d+)\]\s*)");
  if (std::smatch found; std::regex_search(mutant.before, found, number, std::regex_constants::match_continuous)) {
    mutant.occurrence = std::stoi(found[1]);
    mutant.before = found.suffix();
  }
  if (mutant.before.empty()) throw fail("there is no text to change");
  return mutant;
}

// Ends of the places where `before` stands, white space standing for any other.
std::vector<std::pair<size_t, size_t>> Places(const std::string& text, const std::string& before) {
  std::vector<std::pair<size_t, size_t>> places;
  const auto blank = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
  for (size_t start = 0; start < text.size(); start++) {
    size_t at = start, i = 0;
    while (i < before.size() && at < text.size()) {
      if (blank(before[i])) {
        if (!blank(text[at])) break;
        while (i < before.size() && blank(before[i])) i++;
        while (at < text.size() && blank(text[at])) at++;
      } else if (before[i] == text[at]) {
        i++, at++;
      } else {
        break;
      }
    }
    if (i == before.size()) places.emplace_back(start, at);
  }
  return places;
}

}  // namespace

std::vector<Mutant> ReadLists(const fs::path& folder) {
  std::vector<fs::path> lists;
  for (const auto& entry : fs::directory_iterator(folder)) {
    if (entry.path().extension() == ".txt") lists.push_back(entry.path());
  }
  std::sort(lists.begin(), lists.end());
  std::vector<Mutant> mutants;
  for (const fs::path& list : lists) {
    std::ifstream rows(list);
    std::string file, line;
    for (int number = 1; std::getline(rows, line); number++) {
      line = Trimmed(line);
      if (line.empty() || line[0] == '#') continue;
      if (line.starts_with("@ ")) {
        file = Trimmed(line.substr(2));
      } else {
        mutants.push_back(ReadRow(line, file, list.filename().string() + ":" + std::to_string(number)));
      }
    }
  }
  return mutants;
}

Changed Apply(const fs::path& source, const Mutant& mutant) {
  std::string text = ReadText(source / mutant.file);
  const auto places = Places(text, mutant.before);
  const auto wanted = static_cast<size_t>(std::max(mutant.occurrence, 1));
  if (places.size() < wanted || (mutant.occurrence == 0 && places.size() != 1)) {
    throw std::runtime_error("\"" + mutant.before + "\" stands " + std::to_string(places.size()) + " times in " +
                             mutant.file);
  }
  const auto [start, end] = places[wanted - 1];
  const size_t line = 1 + static_cast<size_t>(std::count(text.begin(), text.begin() + static_cast<long>(start), '\n'));
  text.replace(start, end - start, mutant.after);
  return {text, line};
}

std::vector<Mutant> Draw(std::vector<Mutant> mutants, size_t count, const std::string& seed) {
  std::vector<size_t> order(mutants.size());
  for (size_t i = 0; i < order.size(); i++) order[i] = i;
  std::seed_seq sequence(seed.begin(), seed.end());
  std::mt19937 chance(sequence);
  for (size_t i = order.size(); i > 1; i--) std::swap(order[i - 1], order[chance() % i]);
  order.resize(std::min(count, order.size()));
  std::sort(order.begin(), order.end());
  std::vector<Mutant> drawn;
  for (const size_t index : order) drawn.push_back(mutants[index]);
  return drawn;
}

}  // namespace mutate
