// The two HTTP ports: listening sockets, one request a connection.
//
// Two threads, one a port; each handles one connection at a time, to its end: a client that stalls holds its own port
// and nothing else.
#pragma once

#include "common/types.h"

constexpr uint16_t kControlPort = 8080;
constexpr uint16_t kBulkPort = 8081;

// Thread bodies; arg is the ControlSignals record. They return null after needQuit, which is read between connections.
void* LumoServerMain0(void* arg);  // control port; clears the session table first
void* LumoServerMain1(void* arg);  // bulk port

// Creates the listening socket on one interface: "eth0" if bit 1 of usbMode is set, else "wlan0".
// Returns the socket, or -1 socket, -2 interface, -3 bind, -5 listen refused (the socket then stays open).
int startup(uint16_t port, BYTE usbMode);
