// Fails the test for anything that is wrong with a shot file of marked pictures.
#pragma once

#include <filesystem>

#include "twin/judge/marks.h"

void ExpectMarkedShot(const std::filesystem::path& path, const twin::ExpectedMarks& expected);
void ExpectMarkedShot(const std::filesystem::path& path, int exposures, uint32_t shot);
