// Doors for threads, descriptors, time and the process itself.
#include <fcntl.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/select.h>
#include <sys/time.h>
#include <termios.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <ctime>
#include <unordered_map>

#include "twin/board.h"
#include "twin/seam/errno_result.h"
#include "twin/transcript/transcript.h"

using twin::Board;
using twin::DeviceFile;
using twin::Duration;
using twin::WithErrno;
using namespace std::chrono_literals;

namespace {

constexpr Duration kCall = 500ns;  // a system call that does next to nothing, on the device's processor

void NoteSleep(uint64_t microseconds) {
  if (twin::Transcript::Hears("sleep")) twin::Transcript::Note("sleep", std::to_string(microseconds));
}

void NoteThread(const std::string& what) {
  if (twin::Transcript::Hears("thread")) twin::Transcript::Note("thread", what);
}

Duration Of(const timeval& time) { return std::chrono::seconds(time.tv_sec) + std::chrono::microseconds(time.tv_usec); }

}  // namespace

extern "C" {

// --- descriptors ---

int twin_open(const char* path, int flags, ...) {
  Board& board = Board::Current();
  board.kernel.Spend(20us);
  const twin::BoardPath where = board.paths.Resolve(path);
  if (where.board.compare(0, 5, "/dev/") != 0) board.Complain("open of a file that is no device: " + where.board);
  return WithErrno(board.descriptors.Open(where.board, flags));
}

int twin_close(int descriptor) {
  Board::Current().kernel.Spend(kCall);
  return WithErrno(Board::Current().descriptors.Close(descriptor));
}

int twin_ioctl(int descriptor, unsigned long request, ...) {
  va_list arguments;
  va_start(arguments, request);
  void* argument = va_arg(arguments, void*);
  va_end(arguments);
  DeviceFile* device = Board::Current().descriptors.Find(descriptor);
  return WithErrno(device == nullptr ? -EBADF : device->Ioctl(request, argument));
}

ssize_t twin_read(int descriptor, void* data, size_t size) {
  DeviceFile* device = Board::Current().descriptors.Find(descriptor);
  return WithErrno(device == nullptr ? -EBADF : device->Read(data, size));
}

ssize_t twin_write(int descriptor, const void* data, size_t size) {
  DeviceFile* device = Board::Current().descriptors.Find(descriptor);
  return WithErrno(device == nullptr ? -EBADF : device->Write(data, size));
}

int twin_fcntl(int descriptor, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  const int flags = va_arg(arguments, int);
  va_end(arguments);
  DeviceFile* device = Board::Current().descriptors.Find(descriptor);
  if (device == nullptr) return WithErrno(-EBADF);
  if (command == F_SETFL) return WithErrno(device->SetFlags(flags));
  Board::Current().Complain("fcntl with command " + std::to_string(command));
  return WithErrno(-EINVAL);
}

// A physical address is 32 bits wide, also where an offset has a sign.
void* twin_mmap(void* /*wish*/, size_t size, int /*protection*/, int /*flags*/, int descriptor, off_t offset) {
  Board& board = Board::Current();
  board.kernel.Spend(kCall);
  void* where = MAP_FAILED;
  WithErrno(board.descriptors.Map(descriptor, size, static_cast<uint32_t>(offset), &where));
  return where;
}

int twin_munmap(void* where, size_t size) {
  Board::Current().kernel.Spend(kCall);
  return WithErrno(Board::Current().descriptors.Unmap(where, size));
}

// Terminal settings go to the device by the requests that the C library uses for them.
int twin_tcgetattr(int descriptor, termios* settings) { return twin_ioctl(descriptor, TCGETS, settings); }
int twin_tcsetattr(int descriptor, int /*when*/, const termios* settings) {
  return twin_ioctl(descriptor, TCSETS, const_cast<termios*>(settings));
}
int twin_tcflush(int descriptor, int queue) {
  return twin_ioctl(descriptor, TCFLSH, reinterpret_cast<void*>(static_cast<intptr_t>(queue)));
}

int twin_select(int count, fd_set* reading, fd_set* writing, fd_set* exceptions, timeval* timeout) {
  Board& board = Board::Current();
  board.kernel.Spend(kCall);
  std::vector<twin::WaitQueue*> queues;
  std::vector<std::pair<int, DeviceFile*>> watched;
  for (int descriptor = 0; descriptor < count && reading != nullptr; descriptor++) {
    if (!FD_ISSET(descriptor, reading)) continue;
    DeviceFile* device = board.descriptors.Find(descriptor);
    if (device == nullptr) {
      errno = EBADF;
      return -1;
    }
    watched.emplace_back(descriptor, device);
    if (device->ReadableChanged() != nullptr) queues.push_back(device->ReadableChanged());
  }
  const twin::Time end = timeout == nullptr ? twin::Time::max() : board.Now() + Of(*timeout);
  if (writing != nullptr) FD_ZERO(writing);
  if (exceptions != nullptr) FD_ZERO(exceptions);
  for (;;) {
    int ready = 0;
    if (reading != nullptr) FD_ZERO(reading);
    for (const auto& [descriptor, device] : watched) {
      if (!device->Readable()) continue;
      FD_SET(descriptor, reading);
      ready++;
    }
    if (ready > 0 || board.Now() >= end || board.kernel.Dying()) return ready;
    twin::WaitQueue::WaitAny(board.kernel, queues, end == twin::Time::max() ? Duration::max() : end - board.Now());
  }
}

// --- time ---

int twin_usleep(useconds_t length) {
  NoteSleep(length);
  Board::Current().kernel.Spend(std::chrono::microseconds(length));
  return 0;
}

unsigned twin_sleep(unsigned length) {
  NoteSleep(uint64_t{length} * 1'000'000);
  Board::Current().kernel.Spend(std::chrono::seconds(length));
  return 0;
}

int twin_clock_gettime(clockid_t clock, timespec* time) {
  Board& board = Board::Current();
  board.kernel.Spend(kCall);
  const Duration value = clock == CLOCK_MONOTONIC ? board.Uptime() : board.SystemTime();
  time->tv_sec = static_cast<time_t>(value / 1s);
  time->tv_nsec = static_cast<long>((value % 1s).count());
  return 0;
}

int twin_gettimeofday(timeval* time, void* /*zone*/) {
  Board& board = Board::Current();
  board.kernel.Spend(kCall);
  time->tv_sec = static_cast<time_t>(board.SystemTime() / 1s);
  time->tv_usec = static_cast<suseconds_t>((board.SystemTime() % 1s) / 1us);
  return 0;
}

int twin_settimeofday(const timeval* time, const void* /*zone*/) {
  if (twin::Transcript::Hears("clock")) twin::Transcript::Note("clock", "set " + std::to_string(time->tv_sec));
  Board::Current().SetSystemTime(Of(*time));
  return 0;
}

time_t twin_time(time_t* where) {
  const auto now = static_cast<time_t>(Board::Current().SystemTime() / 1s);
  if (where != nullptr) *where = now;
  return now;
}

// The board knows no time zone: local time is the clock's.
tm* twin_localtime_r(const time_t* time, tm* result) { return gmtime_r(time, result); }
time_t twin_mktime(tm* time) { return timegm(time); }

// --- threads ---

int twin_pthread_create(pthread_t* id, const pthread_attr_t* /*attributes*/, void* (*body)(void*), void* argument) {
  const int result = Board::Current().StartThread(id, body, argument);
  NoteThread("create " + std::to_string(*id));
  return result;
}

int twin_pthread_join(pthread_t id, void** result) {
  if (result != nullptr) *result = nullptr;
  NoteThread("join " + std::to_string(id));
  return Board::Current().JoinThread(id);
}

// --- process ---

void twin_exit(int status) {
  NoteThread("exit " + std::to_string(status));
  Board::Current().ApplicationExits(status);
}

sighandler_t twin_signal(int number, sighandler_t handler) {
  NoteThread("signal " + std::to_string(number) + (handler == SIG_IGN ? " ignored" : " handled"));
  return Board::Current().SetSignalHandler(number, handler);
}

// Setting alone; mask and flags are not judged.
int twin_sigaction(int number, const struct sigaction* action, struct sigaction* before) {
  if (action == nullptr || before != nullptr) {
    Board::Current().Complain("sigaction that asks what was set");
    errno = EINVAL;
    return -1;
  }
  twin_signal(number, action->sa_handler);
  return 0;
}

// --- heap ---

void* twin_malloc(size_t size) { return Board::Current().heap.Allocate(size, false); }
void* twin_calloc(size_t count, size_t size) { return Board::Current().heap.Allocate(count * size, true); }
void* twin_realloc(void* block, size_t size) { return Board::Current().heap.Resize(block, size); }
void twin_free(void* block) { Board::Current().heap.Free(block); }

}  // extern "C"
