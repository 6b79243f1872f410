// How the layers over the media SDK report: on standard output, not in the debug log.
#pragma once

#include <cstdio>

// Writes one line with "[function]-line: " in front. `text` is a string literal that ends in a line feed.
#define SAMPLE_PRT(text, ...) printf("[%s]-%d: " text, __func__, __LINE__ __VA_OPT__(, ) __VA_ARGS__)
