// The application's entry.
#pragma once

// Brings the device up, starts the threads, runs the capture loop and tears down. Main thread; does not return after
// a successful start, since the power goes. Results for the process's exit status: -1 the device could not be
// opened; -2 to -5 a thread could not be started (control, serial, HTTP 0, HTTP 1).
int LumoMain();
