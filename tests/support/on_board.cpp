#include "tests/support/on_board.h"

#include <gtest/gtest.h>

#include "common/log.h"

extern "C" FILE* twin_stderr;

void OnBoard(twin::Board& board, const std::function<void()>& body, twin::Duration limit) {
  board.PowerOff();
  board.PowerOn([&body] {
    g_lumoDebug = twin_stderr;
    body();
    return 0;
  });
  EXPECT_TRUE(board.RunUntil([&board] { return board.Exited(); }, limit)) << "still running; log:\n" << board.Log();
}
