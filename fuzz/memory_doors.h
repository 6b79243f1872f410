// The other side of the application's doors, made of memory alone: one client's bytes, a few files, a clock that
// stands, and a control thread that answers at once. For programs that call the request code some thousand times a
// second.
//
// One process, one thread. What the application asks for that is not here does not link.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "common/control_signals.h"

namespace fuzz {

constexpr int kClient = 5;  // the descriptor of the one connection

struct Disk {
  std::map<std::string, std::shared_ptr<const std::string>> files;  // by the path that the application says
  int open = 0;                                                     // streams that nobody has closed
  bool flashToo = false;  // the files of the working directory may be opened, besides those of the disk
};
extern Disk disk;

struct Wire {
  std::string fromClient;
  size_t read = 0;
  std::string toClient;
  int sendsUntilGone = -1;  // so many sends succeed, then the peer is gone; -1: it stays
  int closed = 0;           // how often the application closed it
};
extern Wire wire;

// What the control thread sees: every sleep of the application is its turn.
extern ControlSignals* signals;
// Its turn: it takes what waits, and holds it against what it was promised.
void ControlThread();

extern int clockSets;  // how often the system's clock was set

// Ends the program, with what was being sent shown, unless `holds`.
void Require(bool holds, const char* what);

}  // namespace fuzz
