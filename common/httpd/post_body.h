// A request's body, taken into a file.
#pragma once

#include <cstdio>

// Reads up to `size` bytes from the socket into `file` and returns the CRC-32 (IEEE 802.3) of the bytes taken. It stops
// early, without a word, when the peer goes away or the file takes no more: the CRC then is of the bytes so far. What
// comes behind stays unread.
unsigned int get_post_body(int sock, FILE* file, int size);
