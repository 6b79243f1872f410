// What a file holds; nothing if it cannot be read.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>

namespace campaign {

inline std::string Bytes(const std::filesystem::path& path) {
  std::error_code none;
  const auto size = std::filesystem::file_size(path, none);
  std::string bytes(none ? 0 : size, '\0');
  std::ifstream(path, std::ios::binary).read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  return bytes;
}

}  // namespace campaign
