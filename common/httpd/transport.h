// The transport of one connection: lines in, answers out. Blocking calls, no time-outs.
#pragma once

#include <cstddef>
#include <cstdio>

// Reads one line; a carriage return, a line feed or both end it and are stored as one line feed. At most size - 1
// characters and a terminator; the rest of a longer line is the next line.
// Returns the characters stored, -1 if the peer closed, -2 on an error; what was collected is then lost.
int get_line(int sock, char* buf, int size);

// Writes a whole text answer. Returns statusNo, or -1 if a send failed.
int send_txt(int client, int statusNo, const char* statusMsg, const char* content);
// The same for content that has no terminator.
int send_txt_of_length(int client, int statusNo, const char* statusMsg, const char* content, size_t length);

// Writes status 200 and the headers of a binary answer. Returns 0, or -1 if a send failed.
int send_head(int client, const char* contentType, int contentLength);

// Writes `size` bytes of an open file from `offset` on. What lies behind the file's end is sent as whatever the buffer
// holds, so that the promised length is kept. Returns 0, or -1 if a send failed.
int send_part(int client, FILE* resource, unsigned int offset, unsigned int size);

// Sends all of a record in one call. Returns 0, or -1 if it failed.
int send_bytes(int client, const void* data, size_t size);
