// Whole files, for tests that judge what was written or lay out what will be read.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

inline std::vector<uint8_t> FileBytes(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + path.string());
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline std::string FileText(const std::filesystem::path& path) {
  if (!std::filesystem::exists(path)) return "(no file)";
  const auto bytes = FileBytes(path);
  return {bytes.begin(), bytes.end()};
}

inline void PutText(const std::filesystem::path& path, std::string_view text) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream{path, std::ios::binary} << text;
}

inline void PutBytes(const std::filesystem::path& path, const std::vector<uint8_t>& bytes) {
  PutText(path, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}
