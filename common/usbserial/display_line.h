// The lines that the camera shows on the remote: 19 characters, always.
#pragma once

#include "common/control_signals.h"

// What a line says in front of its two percentages, 11 characters; see the table in display_line.cpp.
enum DisplayLine { kLineReady, kLineCapture, kLineSave, kLineShot, kLineDiskFull, kLineError };

// Battery and disk as the lines show them, 0 to 99 percent. Both take time to find out, so a shot asks once.
struct TagDisplayLevels {
  int storageLevel;
  int batteryLevel;
};
using DisplayLevels = TagDisplayLevels;
DisplayLevels LumoReadDisplayLevels(ControlSignals* ctrlSigs);

// Sends one line to `serialFd` and logs it. `hasPosition` is for the ready line, "Y" or "N"; the shot line shows
// `oriInfo`. Control thread.
void LumoSendDisplayLine(ControlSignals* ctrlSigs, DisplayLine line, const DisplayLevels& levels, bool hasPosition);
