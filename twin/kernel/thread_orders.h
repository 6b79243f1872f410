// What the thread sanitizer is told of the board: each fiber is a thread of its own, though one host thread runs them
// all, and a change from one to another orders nothing. So an access of two fibers to the same memory is a race unless
// the application itself has put it in order: by an atomic, by starting a thread, by joining it.
//
// The application alone is compiled for the sanitizer. What the board does to its memory is not looked at, but for the
// buffers of calls that read or write them as the device's C library would (TellRead, TellWritten).
//
// Nothing in other builds.
#pragma once

#include <cstddef>

namespace twin {

// What the sanitizer knows a thread by. Null in other builds.
using SeenThread = void*;

SeenThread PresentThread();
// Begun by the present thread: what that has done so far comes before all that the new one does.
SeenThread BeginThread();
void EndThread(SeenThread thread);    // one that is not present and never will be again
void EnterThread(SeenThread thread);  // right before the switch to it

// What came before Release of `what` in one thread comes before what follows Acquire of it in another.
void Release(const void* what);
void Acquire(const void* what);

// The present thread's call has read, or written, this memory of the application.
void TellRead(const void* data, size_t size);
void TellWritten(void* data, size_t size);

}  // namespace twin
