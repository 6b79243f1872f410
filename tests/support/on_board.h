// Calls application functions on the board's processor without starting the application.
#pragma once

#include <functional>

#include "twin/board.h"

// Powers the board on, lets the boot script mount the disk, and runs `body` as the main thread of a fresh process whose
// debug stream is standard error. Returns when it has ended; fails the test if that takes longer than `limit` of board
// time. The power stays on.
void OnBoard(twin::Board& board, const std::function<void()>& body, twin::Duration limit = std::chrono::minutes(10));
