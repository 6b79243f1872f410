#include "twin/devices/serial_port/serial_port.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "twin/transcript/transcript.h"

namespace twin {

namespace {

constexpr size_t kLineSize = 19;
constexpr Framing kRemote = {};
constexpr int kClosed = -1;  // access

struct Speed {
  speed_t code;
  int bitsPerSecond;
};
constexpr std::array<Speed, 11> speeds = {{{B115200, 115200},
                                           {B57600, 57600},
                                           {B38400, 38400},
                                           {B19200, 19200},
                                           {B9600, 9600},
                                           {B4800, 4800},
                                           {B2400, 2400},
                                           {B1800, 1800},
                                           {B1200, 1200},
                                           {B600, 600},
                                           {B300, 300}}};

void Note(const std::string& what) {
  if (Transcript::Hears("tty")) Transcript::Note("tty", what);
}

void NoteSettings(const termios& settings) {
  char text[96];
  snprintf(text, sizeof text, "settings i 0x%x o 0x%x c 0x%x l 0x%x min %d time %d", settings.c_iflag, settings.c_oflag,
           settings.c_cflag, settings.c_lflag, settings.c_cc[VMIN], settings.c_cc[VTIME]);
  Note(text);
}

std::string Hex(int value) {
  char text[16];
  snprintf(text, sizeof text, "0x%x", static_cast<unsigned>(value));
  return text;
}

}  // namespace

SerialPort::SerialPort(Kernel& kernel, Faults& faults)
    : kernel_(kernel),
      fromRemote_(kernel, [this](uint8_t byte, Reception reception) { Arrive(byte, reception); }),
      toRemote_(kernel, [this](uint8_t byte, Reception) { Show(byte); }),
      changed_(kernel),
      open_(faults, "serial.open", "the port does not open"),
      refuses_(faults, "serial.settings", "fail=ERRNO: the port's settings are not told, or not taken; detail 0, 1"),
      write_(faults, "serial.write", "fail=ERRNO; value=N: only N bytes are taken"),
      byte_(faults, "serial.byte", "a byte from the remote: value=V arrives instead, silence: it is lost") {
  Reset();
}

SerialPort::~SerialPort() {
  if (master_ < 0) return;
  kernel_.Host().Remove(master_);
  close(master_);
  close(slave_);
}

void SerialPort::Reset() {
  access_ = kClosed;
  kernelSide_.Reset();
  fromRemote_.Forget();
  toRemote_.Forget();
  waiting_.clear();
  line_.clear();
  fromRemote_.SetReceiver(FramingOf());
  toRemote_.SetReceiver(kRemote);
}

void SerialPort::SetPlugged(bool plugged) {
  gone_ = !plugged;
  changed_.Notify();
  if (plugged && pluggedListener_) pluggedListener_();
}

Framing SerialPort::FramingOf() const {
  const termios& settings = kernelSide_.Settings();
  const speed_t code = cfgetospeed(&settings);
  const auto found = std::find_if(speeds.begin(), speeds.end(), [code](const Speed& s) { return s.code == code; });
  Framing framing;
  if (found != speeds.end()) framing.bitsPerSecond = found->bitsPerSecond;
  const tcflag_t flags = settings.c_cflag;
  framing.dataBits = (flags & CSIZE) == CS5 ? 5 : (flags & CSIZE) == CS6 ? 6 : (flags & CSIZE) == CS7 ? 7 : 8;
  framing.stopBits = (flags & CSTOPB) != 0 ? 2 : 1;
  if ((flags & PARENB) != 0) {
    const bool odd = (flags & PARODD) != 0;
    framing.parity = (flags & CMSPAR) != 0 ? (odd ? Framing::Parity::Mark : Framing::Parity::Space)
                                           : (odd ? Framing::Parity::Odd : Framing::Parity::Even);
  }
  return framing;
}

void SerialPort::Apply(const termios& settings) {
  kernelSide_.Set(settings);
  fromRemote_.SetReceiver(FramingOf());
  Leave("");
  changed_.Notify();
}

// --- bus ---

int SerialPort::Open(int flags) {
  Note("open " + Hex(flags));
  if (const auto effect = open_.Ask()) return -static_cast<int>(effect->value);
  if (gone_) return -ENXIO;
  access_ = flags & O_ACCMODE;
  nonblocking_ = (flags & O_NONBLOCK) != 0;
  while ((kernelSide_.Settings().c_cflag & CLOCAL) == 0 && !nonblocking_ && !gone_ && !kernel_.Dying()) {
    changed_.Wait(Duration::max());
  }
  return 0;
}

void SerialPort::Close() {
  Note("close");
  access_ = kClosed;
  kernelSide_.Flush();
}

int SerialPort::SetFlags(int flags) {
  Note("flags " + Hex(flags));
  nonblocking_ = (flags & O_NONBLOCK) != 0;
  return 0;
}

bool SerialPort::Readable() const {
  if (gone_) return true;
  if (!kernelSide_.Raw()) return kernelSide_.Any();
  const cc_t* keys = kernelSide_.Settings().c_cc;
  return kernelSide_.Waiting() >= (keys[VTIME] == 0 && keys[VMIN] != 0 ? keys[VMIN] : 1u);
}

// Without lines: the first byte is waited for, then VMIN bytes, or a gap of VTIME tenths of a second. VMIN 0: for
// VTIME at most.
long SerialPort::Read(void* data, size_t size) {
  if (access_ == O_WRONLY) return -EBADF;
  const cc_t* keys = kernelSide_.Settings().c_cc;
  const bool raw = kernelSide_.Raw();
  const size_t least = raw ? std::max<size_t>(keys[VMIN], 1) : 1;
  const Duration gap = std::chrono::milliseconds(100) * keys[VTIME];
  const auto enough = [&] { return raw ? kernelSide_.Waiting() >= std::min(size, least) : kernelSide_.Any(); };
  while (!enough() && !gone_ && !kernel_.Dying()) {
    const bool any = raw && kernelSide_.Waiting() > 0;
    if (nonblocking_) {
      if (!any) return -EAGAIN;
      break;
    }
    if (raw && keys[VMIN] == 0 && keys[VTIME] == 0) break;
    const bool timed = raw && keys[VTIME] != 0 && (any || keys[VMIN] == 0);
    if (!changed_.Wait(timed ? gap : Duration::max()) && timed) break;
  }
  const std::string taken = kernelSide_.Give(size);
  taken.copy(static_cast<char*>(data), taken.size());
  Note("read " + std::to_string(taken.size()));
  return static_cast<long>(taken.size());
}

long SerialPort::Write(const void* data, size_t size) {
  kernel_.Spend(20us);
  const std::string text(static_cast<const char*>(data), size);
  Note("write " + Quoted(text));
  if (access_ == O_RDONLY) return -EBADF;
  if (gone_) return -EIO;
  size_t taken = size;
  if (const auto effect = write_.Ask()) {
    if (effect->kind == Effect::Kind::Fail) return -effect->value;
    if (effect->kind == Effect::Kind::Value) taken = std::min(size, static_cast<size_t>(effect->value));
  }
  Leave(kernelSide_.Processed(text.substr(0, taken)));
  return static_cast<long>(taken);
}

int SerialPort::Ioctl(unsigned long request, void* argument) {
  if (gone_) return -EIO;
  if (request == TCGETS || request == TCSETS) {
    if (const auto effect = refuses_.Ask(request == TCSETS)) return -static_cast<int>(effect->value);
  }
  switch (request) {
    case TCGETS: std::memcpy(argument, &Settings(), sizeof(termios)); return 0;
    case TCSETS: {
      termios settings{};
      std::memcpy(&settings, argument, sizeof settings);
      NoteSettings(settings);
      Apply(settings);
      return 0;
    }
    case TCFLSH: {
      const auto queue = reinterpret_cast<intptr_t>(argument);
      Note(queue == TCIFLUSH ? "flush input" : queue == TCOFLUSH ? "flush output" : "flush");
      if (queue != TCOFLUSH) kernelSide_.Flush();
      if (queue != TCIFLUSH) waiting_.clear();
      return 0;
    }
    default: return -ENOTTY;
  }
}

// --- world ---

void SerialPort::Send(std::string_view bytes) { fromRemote_.Send(bytes, kRemote); }

void SerialPort::Arrive(uint8_t byte, Reception reception) {
  if (const auto effect = byte_.Ask(byte)) {
    if (effect->kind == Effect::Kind::Silence) return;
    if (effect->kind == Effect::Kind::Value) byte = static_cast<uint8_t>(effect->value);
  }
  if (gone_ || access_ == kClosed) return;  // nobody listens, and nobody echoes
  Leave(kernelSide_.Take(byte, reception));
  changed_.Notify();
}

void SerialPort::Leave(std::string_view bytes) {
  waiting_ += bytes;
  if (waiting_.empty() || kernelSide_.OutputHeld() || (Settings().c_cflag & CRTSCTS) != 0) return;
  toRemote_.Send(waiting_, FramingOf());
  waiting_.clear();
}

// The remote takes what comes, good or not.
void SerialPort::Show(uint8_t byte) {
  const char character = static_cast<char>(byte);
  received_ += character;
  if (master_ >= 0) [[maybe_unused]]
    const ssize_t written = write(master_, &character, 1);
  line_ += character;
  if (line_.size() < kLineSize) return;
  if (lineListener_) lineListener_(line_);
  line_.clear();
}

std::string SerialPort::OpenTerminal() {
  if (slave_ >= 0) return terminal_;
  master_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
  if (master_ < 0 || grantpt(master_) != 0 || unlockpt(master_) != 0) {
    throw std::runtime_error(std::string("no pseudo-terminal: ") + std::strerror(errno));
  }
  terminal_ = ptsname(master_);
  // Our own hold on the far end: without one, the near end reads as hung up until somebody comes.
  slave_ = open(terminal_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  termios raw{};
  tcgetattr(slave_, &raw);
  cfmakeraw(&raw);
  tcsetattr(slave_, TCSANOW, &raw);
  kernel_.Host().Add(master_, POLLIN, [this] {
    std::array<char, 256> bytes;
    const ssize_t size = read(master_, bytes.data(), bytes.size());
    if (size > 0) Send(std::string_view(bytes.data(), static_cast<size_t>(size)));
  });
  return terminal_;
}

}  // namespace twin
