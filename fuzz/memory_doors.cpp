#include "fuzz/memory_doors.h"

#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace fuzz {

Disk disk;
Wire wire;
ControlSignals* signals = nullptr;
int clockSets = 0;

void Require(bool holds, const char* what) {
  if (holds) return;
  fprintf(stderr, "violated: %s\n--- the client sent %zu bytes:\n%.400s\n--- and got %zu bytes:\n%.400s\n", what,
          wire.fromClient.size(), wire.fromClient.c_str(), wire.toClient.size(), wire.toClient.c_str());
  abort();
}

namespace {

int Failed(int error) {
  errno = error;
  return -1;
}

bool Between(int value, int least, int most) { return least <= value && value <= most; }

// A stream over one file. A file that is read stays what it was when it was opened.
struct Stream {
  std::string path;
  bool writes = false;
  std::string written;  // the whole file, if the stream writes
  std::shared_ptr<const std::string> content;
  size_t position = 0;

  const std::string& Bytes() const { return writes ? written : *content; }
};

ssize_t ReadStream(void* cookie, char* data, size_t size) {
  auto* stream = static_cast<Stream*>(cookie);
  if (stream->position >= stream->Bytes().size()) return 0;
  const size_t got = stream->Bytes().copy(data, size, stream->position);
  stream->position += got;
  return static_cast<ssize_t>(got);
}

ssize_t WriteStream(void* cookie, const char* data, size_t size) {
  auto* stream = static_cast<Stream*>(cookie);
  stream->written.resize(std::max(stream->written.size(), stream->position + size));
  stream->written.replace(stream->position, size, data, size);
  stream->position += size;
  return static_cast<ssize_t>(size);
}

int SeekStream(void* cookie, off64_t* offset, int whence) {
  auto* stream = static_cast<Stream*>(cookie);
  if (whence == SEEK_CUR) *offset += static_cast<off64_t>(stream->position);
  if (whence == SEEK_END) *offset += static_cast<off64_t>(stream->Bytes().size());
  if (*offset < 0) return Failed(EINVAL);
  stream->position = static_cast<size_t>(*offset);
  return 0;
}

int CloseStream(void* cookie) {
  const auto* stream = static_cast<Stream*>(cookie);
  if (stream->writes) disk.files[stream->path] = std::make_shared<const std::string>(stream->written);
  delete stream;
  return 0;
}

}  // namespace

void ControlThread() {
  ControlSignals& s = *signals;
  if (const unsigned int word = s.remoteCapCmd) {
    Require(Between(static_cast<int>(word >> 28), 0, 3), "strobe mode");
    Require(Between(word >> 24 & 15, 0, 8), "delay mode");
    Require(Between(word >> 16 & 255, 0, 7), "capture mode");
    Require(Between(word >> 8 & 255, 112, 144), "exposure compensation");
    Require(Between(word & 255, 0, 3), "iso mode");
    Require(Between(s.timeLapse, 0, 7), "time lapse");
    Require(Between(s.manualExpsUs, s.timeLapse > 0 ? 0 : 250, s.timeLapse > 0 ? 250000 : 9000000), "exposure");
    Require(Between(s.manualIso, 100, 1600), "iso");
    Require(Between(s.saveRaw, 0, 1) && Between(s.gyroCorrect, 0, 2) && Between(s.saveSingle, 0, 25),
            "flags of a shot");
    s.remoteCapCmd = 0;
  }
  if (s.needCompassCalibrate == 1) s.needCompassCalibrate = 0;
  if (s.needCompassCalibrate == 2) s.needCompassCalibrate = kRequested;
  s.needReadTemperature = 0;
}

}  // namespace fuzz

using namespace fuzz;

// clang-format off: one door a line where there is nothing to tell
extern "C" {

FILE* twin_stdout = stdout;
FILE* twin_stderr = nullptr;

// --- the connection ---

ssize_t twin_recv(int descriptor, void* data, size_t size, int flags) {
  Require(descriptor == kClient && wire.closed == 0, "receive from the open client alone");
  const size_t got = wire.fromClient.copy(static_cast<char*>(data), size, wire.read);
  if ((flags & MSG_PEEK) == 0) wire.read += got;
  return static_cast<ssize_t>(got);
}

ssize_t twin_send(int descriptor, const void* data, size_t size, int /*flags*/) {
  Require(descriptor == kClient && wire.closed == 0, "send to the open client alone");
  if (wire.sendsUntilGone == 0) return Failed(EPIPE);
  if (wire.sendsUntilGone > 0) wire.sendsUntilGone--;
  wire.toClient.append(static_cast<const char*>(data), size);
  return static_cast<ssize_t>(size);
}

int twin_close(int descriptor) {
  Require(descriptor == kClient, "close the client alone");
  wire.closed++;
  return 0;
}

// --- files ---

FILE* twin_fopen(const char* path, const char* mode) {
  Require(strncmp(path, "/mnt/udisk/", 11) == 0 || (disk.flashToo && path[0] != '/'), "files on the disk alone");
  auto* stream = new Stream{.path = path, .writes = mode[0] == 'w' || strchr(mode, '+'), .written = {}, .content = {}};
  if (mode[0] == 'r') {
    const auto found = disk.files.find(path);
    if (found == disk.files.end()) {
      delete stream;
      errno = ENOENT;
      return nullptr;
    }
    stream->content = found->second;
    if (stream->writes) stream->written = *stream->content;
  }
  disk.open++;
  return fopencookie(stream, mode, {ReadStream, WriteStream, SeekStream, CloseStream});
}

int twin_fclose(FILE* stream) {
  disk.open--;
  return fclose(stream);
}

time_t twin_time(time_t*) { return 1'790'000'000; }

int twin_stat(const char* path, struct stat* status) {
  const auto found = disk.files.find(path);
  if (found == disk.files.end()) return Failed(ENOENT);
  *status = {};
  status->st_size = static_cast<off_t>(found->second->size());
  status->st_mtime = twin_time(nullptr) - status->st_size % 40;  // some are young, some are old
  return 0;
}

void twin_sync() {}
int twin_remove(const char* path) { return disk.files.erase(path) > 0 ? 0 : Failed(ENOENT); }

int twin_rename(const char* from, const char* to) {
  auto moved = disk.files.extract(from);
  if (moved.empty()) return Failed(ENOENT);
  disk.files[to] = std::move(moved.mapped());
  return 0;
}

int twin_statfs(const char*, struct statfs* status) {
  *status = {};
  status->f_bsize = 32768;
  status->f_blocks = 1953125;
  status->f_bfree = 1234567;
  return 0;
}

size_t twin_fread(void* data, size_t size, size_t count, FILE* stream) { return fread(data, size, count, stream); }
size_t twin_fwrite(const void* data, size_t size, size_t count, FILE* stream) {
  if (stream == stderr) return count;  // words of the log without arguments
  return fwrite(data, size, count, stream);
}
long twin_ftell(FILE* stream) { return ftell(stream); }
int twin_fseek(FILE* stream, long offset, int whence) { return fseek(stream, offset, whence); }
int twin_fflush(FILE* stream) { return fflush(stream); }

void* twin_malloc(size_t size) { return malloc(size); }
void* twin_calloc(size_t count, size_t size) { return calloc(count, size); }
void twin_free(void* block) { free(block); }

// The log is formatted, as its arguments must be right, and goes nowhere.
int twin_fprintf(FILE* /*stream*/, const char* format, ...) {
  char text[4096];
  va_list arguments;
  va_start(arguments, format);
  const int length = vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  return length;
}
int twin_printf(const char* /*format*/, ...) { return 0; }

// --- clocks and chance ---

int twin_usleep(unsigned int) {
  ControlThread();
  return 0;
}
int twin_clock_gettime(int, struct timespec* now) {
  *now = {1000, 0};
  return 0;
}
int twin_settimeofday(const struct timeval*, const void*) {
  clockSets++;
  return 0;
}
time_t twin_mktime(struct tm* broken) { return mktime(broken); }
int twin_rand() { return 4; }
int twin_open(const char*, int, ...) { return Failed(ENOENT); }  // the clock chip
int twin_ioctl(int, unsigned long, ...) { return Failed(EBADF); }

// --- where no request leads ---

[[noreturn]] static int Never(const char* door) {
  Require(false, door);
  abort();
}

int twin_socket(int, int, int) { return Never("socket"); }
int twin_setsockopt(int, int, int, const void*, socklen_t) { return Never("setsockopt"); }
int twin_bind(int, const struct sockaddr*, socklen_t) { return Never("bind"); }
int twin_listen(int, int) { return Never("listen"); }
int twin_accept(int, struct sockaddr*, socklen_t*) { return Never("accept"); }
void* twin_opendir(const char*) { Never("opendir"); }
void* twin_readdir(void*) { Never("readdir"); }
int twin_closedir(void*) { return Never("closedir"); }

}  // extern "C"

int himm(unsigned int, unsigned int, unsigned int*) { return Never("a register"); }
void LumoStcSpiDelay() { Never("a register's delay"); }
void WriteCipher() { Never("the copy protection"); }
