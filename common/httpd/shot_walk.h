// Finds its way through a shot file: where the index, the JPEGs and the thumbnail lie. Reads only, holds nothing.
#pragma once

#include <array>
#include <cstdio>

#include "common/sample_comm_venc/container.h"

constexpr int kMaxIndexEntries = 432;  // 36 cameras x 12 in the largest form that a file may have

struct TagShotLayout {
  int indexInfoNum;       // entries of the index, at most kMaxIndexEntries
  int64_t indexOffset;    // first byte of the index body
  int64_t jpgSizeOffset;  // the 4-byte size of the JPEG section, where the thumbnail's walk looks for it
};
using ShotLayout = TagShotLayout;

// Returns false if the file ends too early.
bool LumoWalkShot(FILE* file, ShotLayout* layout);

// Reads exactly `size` bytes at `offset`. False if that cannot be.
bool LumoReadAt(FILE* file, int64_t offset, void* data, size_t size);
