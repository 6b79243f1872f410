// Files that are read as a whole. Main thread, at start.
#pragma once

#include <cstddef>
#include <cstdio>

// Bytes of an open file, which is left at its start. -1 if that cannot be found out.
long LumoFileSize(FILE* file);

// The whole file with a zero and `room` more zero bytes behind it, to be freed by the caller. Null if it cannot be read
// in full.
char* LumoReadWholeText(const char* path, size_t room);
