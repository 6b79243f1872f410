// The control thread: the device's one place of decision. It owns the button, the buzzer, LED 0 and the power, turns
// presses into shots and carries out what other threads ask for in ControlSignals, one request a pass. All work on the
// array outside a shot is done here, and this thread sits still for the whole of a shot: that is what keeps the link
// to the array at one user.
#pragma once

// Thread entry; `arg` is the ControlSignals pointer. Returns null, and only after the power-off has been sent.
void* LumoHandleControl(void* arg);
