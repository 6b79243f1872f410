// The transport of the two HTTP ports: listening sockets, one request a connection, lines in, answers out.
//
// Two threads, one a port; each handles one connection at a time, to its end. Blocking calls, no time-outs: a client
// that stalls holds its own port and nothing else. Descriptors belong to the caller unless it says otherwise.
#pragma once

#include <cstddef>
#include <cstdio>

#include "common/types.h"

constexpr uint16_t kControlPort = 8080;
constexpr uint16_t kBulkPort = 8081;
constexpr uint16_t kControlMode = 0;  // which of the two a request came in on
constexpr uint16_t kBulkMode = 1;

// Thread bodies; arg is the ControlSignals record. They return null after needQuit, which is read between connections.
void* LumoServerMain0(void* arg);  // control port; clears the session table first
void* LumoServerMain1(void* arg);  // bulk port

// Creates the listening socket on one interface: "eth0" if bit 1 of usbMode is set, else "wlan0".
// Returns the socket, or -1 socket, -2 interface, -3 bind, -5 listen refused (the socket then stays open).
int startup(uint16_t port, BYTE usbMode);

// Reads one line; a carriage return, a line feed or both end it and are stored as one line feed. At most size - 1
// characters and a terminator; the rest of a longer line is the next line.
// Returns the characters stored, -1 if the peer closed, -2 on an error; what was collected is then lost.
int get_line(int sock, char* buf, int size);

// Writes a whole text answer. Returns statusNo, or -1 if a send failed.
int send_txt(int client, int statusNo, const char* statusMsg, const char* content);
// The same for content that has no terminator.
int send_text(int client, int statusNo, const char* statusMsg, const char* content, size_t length);

// Writes status 200 and the headers of a binary answer. Returns 0, or -1 if a send failed.
int send_head(int client, const char* contentType, int contentLength);

// Writes `size` bytes of an open file from `offset` on. What lies behind the file's end is sent as whatever the buffer
// holds, so that the promised length is kept. Returns 0, or -1 if a send failed.
int send_part(int client, FILE* resource, unsigned int offset, unsigned int size);

// Sends all of a record in one call. Returns 0, or -1 if it failed.
int send_bytes(int client, const void* data, size_t size);
