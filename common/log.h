// The debug stream and the one way to write to it.
#pragma once

#include <cstdio>

// Where every diagnostic goes. Standard error until the disk asks for a file; set on the main thread before any
// other thread starts, never changed afterwards. Owned by the process, never closed.
extern FILE* g_lumoDebug;

// Writes one diagnostic with "function:line: " in front. `text` is a string literal that ends in a line feed.
// Any thread; lines of two threads may interleave, as the stream has no lock of ours.
#define LumoLog(text, ...) LumoLogAs(__func__, text __VA_OPT__(, ) __VA_ARGS__)

// The same from a step that stands in a function of its own: it speaks in the name of the whole, `function`.
#define LumoLogAs(function, text, ...) \
  fprintf(g_lumoDebug, "%s:%d: " text, function, __LINE__ __VA_OPT__(, ) __VA_ARGS__)
