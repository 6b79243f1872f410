#include "twin/console/words.h"

#include <charconv>
#include <cmath>

#include "twin/kernel/duration_text.h"

namespace twin {

namespace {

[[noreturn]] void Refuse(std::string_view what, std::string_view wanted, const std::string& word) {
  throw CommandError(std::string(what) + " wants " + std::string(wanted) + ", not \"" + word + '"');
}

template <class Number>
bool ReadWhole(const std::string& word, Number& number) {
  const auto [rest, error] = std::from_chars(word.data(), word.data() + word.size(), number);
  return error == std::errc{} && rest == word.data() + word.size();
}

}  // namespace

Words SplitLine(std::string_view line) {
  Words words;
  bool inWord = false, inQuotes = false;
  for (size_t i = 0; i < line.size(); i++) {
    const char c = line[i];
    const bool blank = c == ' ' || c == '\t' || c == '\r';
    if (!inQuotes && (blank || c == '#')) {
      inWord = false;
      if (c == '#') break;
      continue;
    }
    if (!inWord) {
      words.emplace_back();
      inWord = true;
    }
    if (c == '"') {
      inQuotes = !inQuotes;
    } else if (inQuotes && c == '\\' && i + 1 < line.size()) {
      words.back() += line[++i];
    } else {
      words.back() += c;
    }
  }
  if (inQuotes) throw CommandError("a quote is left open");
  return words;
}

int64_t NumberFrom(const std::string& word, std::string_view what) {
  int64_t number = 0;
  if (!ReadWhole(word, number)) Refuse(what, "a whole number", word);
  return number;
}

double FractionFrom(const std::string& word, std::string_view what) {
  double number = 0;
  if (!ReadWhole(word, number) || !std::isfinite(number) || number < 0) Refuse(what, "a number from 0", word);
  return number;
}

Duration LengthFrom(const std::string& word, std::string_view what) {
  const auto length = ReadDuration(word);
  if (!length) Refuse(what, "a time such as 100ms or 4s", word);
  return *length;
}

bool SwitchFrom(const std::string& word, std::string_view what) {
  if (word != "on" && word != "off") Refuse(what, "on or off", word);
  return word == "on";
}

std::string Joined(const Words& words, size_t first) {
  std::string text;
  for (size_t i = first; i < words.size(); i++) text += (i > first ? " " : "") + words[i];
  return text;
}

}  // namespace twin
