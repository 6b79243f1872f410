// The frame around every request: reads it, checks the session, finds the route, closes the connection.
#pragma once

#include "common/control_signals.h"

constexpr uint16_t kControlMode = 0;  // which of the two ports a request came in on
constexpr uint16_t kBulkMode = 1;

// Handles one connection to its end and closes `client`. `mode` tells the port. Always returns null.
void* accept_request(ControlSignals* ctrlSigs, int client, uint16_t mode);
