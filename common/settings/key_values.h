// Small text files of key=value lines, and the plain reading of a small file.
#pragma once

#include <cstddef>

// Reads at most `size` - 1 bytes of the file into `text` and ends it with a zero. What is longer is cut without notice.
// Returns how many bytes were read, or -1 if the file does not open (`text` is then empty).
int LumoReadText(const char* path, char* text, size_t size);

// Calls `take` with each line's key and value, in order. Only a line that a line feed ends counts: what stands behind
// the last line feed is dropped. A line is split at its first "="; one without is skipped. Nothing is trimmed.
// Zeros are written into `text` on the way.
void LumoWalkKeyValues(char* text, void (*take)(void* target, const char* key, const char* value), void* target);
