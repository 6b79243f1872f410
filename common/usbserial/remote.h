// The wireless remote: takes its frames from the serial port, sets the clock by them and posts what they ask for.
//
// A frame is 16 ASCII bytes: "X", this camera's address digit, a command ("I" status, "H" hand-held shot, "T" shot on a
// tripod), six two-digit numbers of the date and time, and one byte that is skipped. It has no checksum.
#pragma once

// Thread body; arg is the ControlSignals record. Opens the port, stores it in `serialFd`, and serves it until needQuit.
void* LumoSerialMain(void* arg);
