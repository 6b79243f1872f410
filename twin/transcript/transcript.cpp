#include "twin/transcript/transcript.h"

#include <cstdio>
#include <cstring>
#include <sstream>
#include <stdexcept>

namespace twin {

namespace {

Transcript* recording = nullptr;

// The kinds as one text with a blank before and behind each, so that a kind is found whole.
std::string Framed(const std::string& kinds) {
  std::string framed = " ";
  std::istringstream words(kinds);
  for (std::string word; words >> word;) framed += word + " ";
  return framed;
}

}  // namespace

Transcript::Transcript(Kernel& kernel, const std::string& kinds) : kernel_(kernel), kinds_(Framed(kinds)) {
  if (recording != nullptr) throw std::logic_error("one transcript at a time");
  recording = this;
}

Transcript::~Transcript() { recording = nullptr; }

std::vector<std::string> Transcript::Texts(const std::string& thread) const {
  std::vector<std::string> texts;
  for (const Line& line : lines_) {
    if (thread.empty() || line.thread == thread) texts.push_back(line.text);
  }
  return texts;
}

bool Transcript::Hears(const char* kind) {
  if (recording == nullptr || recording->kernel_.Dying()) return false;
  return recording->kinds_ == " " || recording->kinds_.find(" " + std::string(kind) + " ") != std::string::npos;
}

void Transcript::Note(const char* kind, const std::string& text) {
  Line line{recording->kernel_.Now(), recording->kernel_.FiberName(), std::string(kind) + " " + text};
  if (recording->listener_) {
    recording->listener_(line);
  } else {
    recording->lines_.push_back(std::move(line));
  }
}

std::string Quoted(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '\n') {
      quoted += "\\n";
    } else if (c == '"' || c == '\\') {
      quoted += std::string("\\") + c;
    } else if (static_cast<unsigned char>(c) < 0x20) {
      char code[8];
      snprintf(code, sizeof code, "\\x%02X", static_cast<unsigned char>(c));
      quoted += code;
    } else {
      quoted += c;
    }
  }
  return quoted + "\"";
}

std::string WordsOf(const void* record, size_t bytes) {
  std::vector<uint32_t> words((bytes + 3) / 4);
  std::memcpy(words.data(), record, bytes);
  while (!words.empty() && words.back() == 0) words.pop_back();
  std::string text;
  for (const uint32_t word : words) {
    char number[16];
    snprintf(number, sizeof number, word < 10'000 ? "%u" : "0x%x", word);
    text += (text.empty() ? "" : " ") + std::string(number);
  }
  return text;
}

std::string HexBytes(const uint8_t* bytes, size_t count) {
  std::string text;
  for (size_t i = 0; i < count; i++) {
    char number[4];
    snprintf(number, sizeof number, "%02X", bytes[i]);
    text += (text.empty() ? "" : " ") + std::string(number);
  }
  return text;
}

}  // namespace twin
