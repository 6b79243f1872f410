// Changes that follow from the text alone, without knowing what it does.
#include <fstream>
#include <map>
#include <regex>
#include <sstream>
#include <stdexcept>

#include "tools/mutate/mutant.h"

namespace mutate {

namespace {

// One call, or one assignment, that fills its line.
const std::regex statement(R"(^\s*(?:[\w:]+(?:->|\.))*\w[\w:]*(?:\(.*\)|\s*[|&^+-]?= .*);$)");
const std::regex onlyTold(
    R"(LumoLog|printf|perror|SAMPLE_PRT|static_assert|^\s*(?:return|using|case|break|continue|goto)\b)");
const std::regex notCode(R"(^\s*(?://|#|\*)|static_assert|LumoLog|printf|SAMPLE_PRT|^\s*"|^(?:constexpr )?char\b)");
const std::regex number(R"([^\w.'"%]((?:0x[0-9A-Fa-f']+|\d[\d']*)(\.\d*)?(?:[uUlLfF]*)))");

// A wait or a limit of 1001 where 1000 stood is no fault: numbers that count much are halved.
constexpr uint64_t kHalvedFrom = 10;

std::string Altered(const std::string& digits, bool fraction) {
  std::string plain;
  for (const char c : digits) {
    if (c != '\'') plain += c;
  }
  if (fraction) return std::to_string(std::stod(plain) * 1.25 + 0.25);
  const bool hex = plain.starts_with("0x");
  const uint64_t value = std::stoull(plain, nullptr, 0);
  std::ostringstream text;
  if (hex) text << "0x" << std::hex;
  text << (hex ? value ^ 1 : value < kHalvedFrom ? value + 1 : value / 2);
  return text.str();
}

}  // namespace

std::vector<Mutant> MechanicalChanges(const std::filesystem::path& source, const std::string& file) {
  std::ifstream stream(source / file);
  if (!stream) throw std::runtime_error(file + ": cannot be read");
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);

  std::vector<Mutant> changes;
  std::map<std::string, int> seen;  // how often a line stood there before: a change names its place by the whole line
  const auto trimmed = [](const std::string& line) {
    const size_t first = line.find_first_not_of(' ');
    return first == std::string::npos ? std::string() : line.substr(first);
  };
  const auto isStatement = [&](size_t i) {
    return i < lines.size() && std::regex_match(lines[i], statement) && !std::regex_search(lines[i], onlyTold);
  };
  const auto isCall = [&](size_t i) { return isStatement(i) && lines[i].find(" = ") == std::string::npos; };
  for (size_t i = 0; i < lines.size(); i++) {
    const std::string line = trimmed(lines[i]);
    if (line.empty()) continue;
    std::string place = lines[i] + "\n" + (i + 1 < lines.size() ? lines[i + 1] : "") + "\n";
    const int occurrence = ++seen[place];
    const auto add = [&](const std::string& instead, const std::string& meaning) {
      const std::string after = instead + "\n" + (i + 1 < lines.size() ? lines[i + 1] : "") + "\n";
      changes.push_back({file, place, after, occurrence, meaning, "", "", "drawn"});
    };
    if (isStatement(i)) add("", "left out: " + line);
    if (isCall(i) && isCall(i + 1) && lines[i] != lines[i + 1]) {
      const std::string after = lines[i + 1] + "\n" + lines[i] + "\n";
      changes.push_back(
          {file, place, after, occurrence, "exchanged: " + line + " " + trimmed(lines[i + 1]), "", "", "drawn"});
    }
    if (std::regex_search(lines[i], notCode)) continue;
    const std::string code = lines[i].substr(0, lines[i].find("//"));
    for (std::sregex_iterator found(code.begin(), code.end(), number), end; found != end; ++found) {
      const std::string digits = (*found)[1];
      const auto at = static_cast<size_t>(found->position(1));
      if (code.substr(0, at).ends_with("return -")) continue;  // which failure it was
      const std::string other = Altered(digits, (*found)[2].matched);
      std::string changed = lines[i];
      changed.replace(at, digits.size(), other);
      add(changed, digits + " is " + other + ": " + line);
    }
  }
  return changes;
}

}  // namespace mutate
