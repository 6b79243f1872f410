// The frame around every request: reads it, checks the session, finds the route, closes the connection.
#pragma once

#include "common/control_signals.h"

// Handles one connection to its end and closes `client`. `mode` tells the port, see server.h. Always returns null.
void* accept_request(ControlSignals* ctrlSigs, int client, uint16_t mode);
