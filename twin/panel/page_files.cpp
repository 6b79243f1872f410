#include "twin/panel/page_files.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace twin::panel {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kThree = "/usr/share/javascript/three";

struct Type {
  std::string_view extension, type;
};
constexpr std::array<Type, 4> kTypes = {{{".html", "text/html; charset=utf-8"},
                                         {".css", "text/css; charset=utf-8"},
                                         {".js", "text/javascript; charset=utf-8"},
                                         {".svg", "image/svg+xml"}}};

std::optional<Answer> FileOf(const fs::path& place, const std::string& name, bool lasting) {
  const bool plain = std::ranges::all_of(name, [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' || c == '_' ||
           c == '-' || c == '/';
  });
  if (!plain || name.find("..") != std::string::npos) return std::nullopt;
  const fs::path file = place / fs::path(name).relative_path();
  const auto type = std::ranges::find(kTypes, file.extension().string(), &Type::extension);
  std::error_code error;
  if (type == kTypes.end() || !fs::is_regular_file(file, error)) return std::nullopt;
  return Answer{.type = std::string(type->type), .file = file, .lasting = lasting};
}

}  // namespace

std::optional<Answer> PageFile(const std::string& path) {
  constexpr std::string_view kPage = "/page/", kLibrary = "/three/";
  if (path == "/") return FileOf(LUMORA_PAGE_DIR, "index.html", false);
  if (path.starts_with(kPage)) return FileOf(LUMORA_PAGE_DIR, path.substr(kPage.size()), false);
  if (path.starts_with(kLibrary)) return FileOf(kThree, path.substr(kLibrary.size()), true);
  return std::nullopt;
}

std::string Unescaped(std::string_view text) {
  std::string plain;
  for (size_t i = 0; i < text.size(); i++) {
    unsigned char byte = 0;
    if (text[i] == '%' && i + 2 < text.size() &&
        std::from_chars(text.data() + i + 1, text.data() + i + 3, byte, 16).ptr == text.data() + i + 3) {
      plain += static_cast<char>(byte);
      i += 2;
    } else {
      plain += text[i];
    }
  }
  return plain;
}

}  // namespace twin::panel
