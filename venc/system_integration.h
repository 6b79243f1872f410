// The small Linux system around the application: its log file and its disk. Main thread.
#pragma once

// Points `g_lumoDebug` at standard error, or, if the disk holds a writable file "/mnt/udisk/debug", at that file,
// emptied. Returns 0, or -2 if such a file does not open (the log is then standard error).
int LumoOpenDebugFile();

// Flushes the log, writes all buffers of the system to the disk and unmounts it. Takes more than 1.1 s.
void LumoSystemSync();
