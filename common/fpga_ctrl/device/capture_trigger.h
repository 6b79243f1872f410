// How the control thread takes one shot, and the debounced wait for the button.
#pragma once

#include "common/control_signals.h"

// Takes one shot and returns when it is over: checks the disk, counts the delay down with light and sound, hands the
// shot to the snap thread and follows it to its end. Control thread. There is no time limit: a snap thread that never
// answers holds the caller for ever.
//   captureTime  ms on the clock of LumoGetTime at which the shot is to start; the past means at once
// The outcome stays in `needCapture` and `needSave`: both 0 saved, or a time-lapse stopped in its wait; both 0x10
// refused, no room on the disk; both 0x11 failed. A refusal and a stop clear `timeLapse`, a failure does not.
void LumoNeedCapture(ControlSignals* ctrlSigs, unsigned int captureTime);

// Waits for a button level that stands for 10 ms.
//   waitBtnOut  kBtnPressed or kBtnReleased, see stc_link.h
//   maxTime     ms on the clock of LumoGetTime at which to give up, 0 never
// Returns the level last read: the wanted one, or time has run out.
BYTE LumoWaitBtnOut(ControlSignals* ctrlSigs, BYTE waitBtnOut, unsigned int maxTime);
