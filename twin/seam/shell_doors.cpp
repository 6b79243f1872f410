// Doors for the shell: a command run to its end, or read from.
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "twin/board.h"
#include "twin/seam/commands.h"
#include "twin/transcript/transcript.h"

using twin::Board;
using twin::Transcript;

extern "C" {

int twin_system(const char* command) {
  if (Transcript::Hears("shell")) Transcript::Note("shell", twin::Quoted(command));
  return twin::RunShellCommand(Board::Current(), command);
}

// The command runs to its end here; the reader then finds all of its output. Only reading is known on the board.
FILE* twin_popen(const char* command, const char* type) {
  if (Transcript::Hears("shell")) Transcript::Note("shell", "popen " + twin::Quoted(command));
  Board& board = Board::Current();
  if (strcmp(type, "r") != 0) {
    board.Complain("popen for writing: " + std::string(command));
    errno = EINVAL;
    return nullptr;
  }
  if (const int error = board.popenFault.AskFailure()) {
    errno = error;
    return nullptr;
  }
  std::string output;
  const int code = twin::RunCommandLine(board, command, output);
  return board.stdio.OpenPipe(std::move(output), code << 8);
}

int twin_pclose(FILE* pipe) { return Board::Current().stdio.ClosePipe(pipe); }

}  // extern "C"
