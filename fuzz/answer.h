// One answer of the camera, held against the form that every answer has.
#pragma once

#include <string>

namespace fuzz {

struct Answer {
  int status = 0;  // 0: there was none
  std::string type, body;
};

// Takes apart what the client of this run got. The run fails unless that is nothing at all, or one whole answer whose
// body is as long as it says; `whole` false: it may be cut anywhere, as the client went away.
Answer ReadAnswer(bool whole);

// Serves what the client has sent on one port, and checks what holds after every request: the connection is closed
// once, no file stays open, no half-arrived upload stays, the list of shots is as it was.
//   sendsUntilGone  so many sends succeed, then the client is gone; -1: it stays
Answer Serve(const std::string& fromClient, int mode, int sendsUntilGone = -1);

}  // namespace fuzz
