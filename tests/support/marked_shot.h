// Judges a shot file of marked pictures by the pixels inside it, with a reader that shares nothing with the writer.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>

struct ExpectedShot {
  int exposures = 3;
  // Exposure of the array (StoredFrame::shot) that a camera's pictures must come from.
  std::function<uint32_t(int camera)> shotOf;
  int thumbCamera = 12;
};

// Fails the test for each of the 150 or 300 pictures that is not where the index says, for a thumbnail that is not the
// camera's middle exposure turned by 180 degrees, and for anything that is wrong with the file's structure.
void ExpectMarkedShot(const std::filesystem::path& path, const ExpectedShot& expected);
void ExpectMarkedShot(const std::filesystem::path& path, int exposures, uint32_t shot);
