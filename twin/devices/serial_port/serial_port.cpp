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

namespace twin {

namespace {

constexpr size_t kInputRoom = 4095;
constexpr int kBitsPerByte = 10;  // start, eight data, stop
constexpr size_t kLineSize = 19;

struct Speed {
  speed_t code;
  int bitsPerSecond;
};
constexpr std::array<Speed, 7> speeds = {
    {{B115200, 115200}, {B19200, 19200}, {B9600, 9600}, {B4800, 4800}, {B2400, 2400}, {B1200, 1200}, {B300, 300}}};

}  // namespace

SerialPort::SerialPort(Kernel& kernel, Faults& faults)
    : kernel_(kernel),
      changed_(kernel),
      open_(faults, "serial.open", "the port does not open"),
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
  settings_ = {};
  settings_.c_cflag = B9600 | CS8 | CREAD;
  settings_.c_lflag = ICANON | ECHO | ISIG;
  cfsetispeed(&settings_, B9600);
  cfsetospeed(&settings_, B9600);
  input_.clear();
  line_.clear();
  epoch_++;
  inFree_ = outFree_ = kernel_.Now();
}

void SerialPort::SetPlugged(bool plugged) {
  gone_ = !plugged;
  changed_.Notify();
  if (plugged && pluggedListener_) pluggedListener_();
}

Duration SerialPort::ByteTime() const {
  const speed_t code = cfgetospeed(&settings_);
  const auto found = std::find_if(speeds.begin(), speeds.end(), [code](const Speed& s) { return s.code == code; });
  const int bits = found == speeds.end() ? 9600 : found->bitsPerSecond;
  return Duration(1'000'000'000LL * kBitsPerByte / bits);
}

// --- bus ---

int SerialPort::Open(int /*flags*/) {
  if (const auto effect = open_.Ask()) return -static_cast<int>(effect->value);
  return gone_ ? -ENXIO : 0;
}

void SerialPort::Close() { input_.clear(); }

// In raw mode: the first byte is waited for, then VMIN bytes, or a gap of VTIME tenths of a second.
long SerialPort::Read(void* data, size_t size) {
  const size_t wanted = std::min<size_t>(size, std::max<size_t>(settings_.c_cc[VMIN], 1));
  const Duration gap = std::chrono::milliseconds(100) * settings_.c_cc[VTIME];
  while (input_.size() < wanted && !gone_ && !kernel_.Dying()) {
    const bool any = !input_.empty();
    if (!changed_.Wait(any && gap.count() > 0 ? gap : Duration::max()) && any) break;
  }
  const size_t taken = std::min(size, input_.size());
  std::copy_n(input_.begin(), taken, static_cast<char*>(data));
  input_.erase(input_.begin(), input_.begin() + static_cast<std::ptrdiff_t>(taken));
  return static_cast<long>(taken);
}

long SerialPort::Write(const void* data, size_t size) {
  kernel_.Spend(20us);
  if (gone_) return -EIO;
  size_t taken = size;
  if (const auto effect = write_.Ask()) {
    if (effect->kind == Effect::Kind::Fail) return -effect->value;
    if (effect->kind == Effect::Kind::Value) taken = std::min(size, static_cast<size_t>(effect->value));
  }
  Leave(std::string(static_cast<const char*>(data), taken));
  return static_cast<long>(taken);
}

int SerialPort::Ioctl(unsigned long request, void* argument) {
  if (gone_) return -EIO;
  switch (request) {
    case TCGETS: std::memcpy(argument, &settings_, sizeof settings_); return 0;
    case TCSETS: std::memcpy(&settings_, argument, sizeof settings_); return 0;
    case TCFLSH:
      if (reinterpret_cast<intptr_t>(argument) != TCOFLUSH) input_.clear();
      return 0;
    default: return -ENOTTY;
  }
}

// --- world ---

void SerialPort::Send(std::string_view bytes) {
  for (const char byte : bytes) {
    inFree_ = std::max(inFree_, kernel_.Now()) + ByteTime();
    kernel_.At(inFree_, [this, byte, epoch = epoch_] {
      if (epoch == epoch_) Arrive(byte);
    });
  }
}

void SerialPort::Arrive(char byte) {
  if (const auto effect = byte_.Ask(static_cast<unsigned char>(byte))) {
    if (effect->kind == Effect::Kind::Silence) return;
    if (effect->kind == Effect::Kind::Value) byte = static_cast<char>(effect->value);
  }
  if (gone_ || input_.size() >= kInputRoom) return;
  input_.push_back(byte);
  changed_.Notify();
}

// What the board sends reaches the remote when its last bit is through.
void SerialPort::Leave(std::string bytes) {
  outFree_ = std::max(outFree_, kernel_.Now()) + ByteTime() * static_cast<int64_t>(bytes.size());
  kernel_.At(outFree_, [this, bytes = std::move(bytes), epoch = epoch_] {
    if (epoch != epoch_) return;
    received_ += bytes;
    if (master_ >= 0) [[maybe_unused]]
      const ssize_t written = write(master_, bytes.data(), bytes.size());
    line_ += bytes;
    for (; line_.size() >= kLineSize; line_.erase(0, kLineSize)) {
      if (lineListener_) lineListener_(line_.substr(0, kLineSize));
    }
  });
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
