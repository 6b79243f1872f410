#include "twin/devices/serial_port/line_discipline.h"

namespace twin {

namespace {

constexpr size_t kRoom = 4095;
constexpr size_t kNearlyFull = kRoom - 128, kNearlyEmpty = 128;  // where IXOFF stops the far end, and lets it go on

}  // namespace

void LineDiscipline::Reset() {
  settings_ = {};
  settings_.c_iflag = ICRNL | IXON;
  settings_.c_oflag = OPOST | ONLCR;
  settings_.c_cflag = B9600 | CS8 | CREAD | HUPCL | CLOCAL;
  settings_.c_lflag = ISIG | ICANON | ECHO | ECHOE | ECHOK | ECHOCTL | ECHOKE | IEXTEN;
  constexpr std::pair<int, cc_t> keys[] = {{VINTR, 3}, {VQUIT, 28}, {VERASE, 127}, {VKILL, 21}, {VEOF, 4},
                                           {VTIME, 0}, {VMIN, 1},   {VSTART, 17},  {VSTOP, 19}, {VSUSP, 26}};
  for (const auto& [key, value] : keys) settings_.c_cc[key] = value;
  cfsetispeed(&settings_, B9600);
  cfsetospeed(&settings_, B9600);
  held_ = stopping_ = false;
  Flush();
}

void LineDiscipline::Flush() {
  input_.clear();
  lines_.clear();
  open_ = 0;
}

void LineDiscipline::Set(const termios& settings) {
  settings_ = settings;
  if (!Has(settings_.c_iflag, IXON)) held_ = false;
  if (Raw()) lines_.clear();
}

void LineDiscipline::Put(uint8_t byte) {
  if (input_.size() >= kRoom) return;
  input_.push_back(static_cast<char>(byte));
  open_++;
}

void LineDiscipline::EndLine() {
  lines_.push_back(open_);
  open_ = 0;
}

bool LineDiscipline::TakesSignal(uint8_t byte) {
  if (!Has(settings_.c_lflag, ISIG) || !(Is(byte, VINTR) || Is(byte, VQUIT) || Is(byte, VSUSP))) return false;
  if (!Has(settings_.c_lflag, NOFLSH)) Flush();
  return true;
}

std::string LineDiscipline::Echo(uint8_t byte) const {
  if (!Has(settings_.c_lflag, ECHO)) return {};
  if (byte < 0x20 && byte != '\n' && byte != '\t' && Has(settings_.c_lflag, ECHOCTL)) {
    return {'^', static_cast<char>(byte ^ 0x40)};
  }
  return Processed(std::string(1, static_cast<char>(byte)));
}

std::string LineDiscipline::FlowControl() {
  if (!Has(settings_.c_iflag, IXOFF)) return {};
  const bool full = input_.size() >= kNearlyFull;
  if (full == stopping_ || (!full && input_.size() > kNearlyEmpty)) return {};
  stopping_ = full;
  return std::string(1, static_cast<char>(settings_.c_cc[full ? VSTOP : VSTART]));
}

std::string LineDiscipline::TakeIntoLine(uint8_t byte) {
  if (Is(byte, VEOF)) {
    EndLine();
    return {};
  }
  const bool kill = Is(byte, VKILL);
  if (kill || Is(byte, VERASE)) {
    for (size_t count = kill ? open_ : std::min<size_t>(open_, 1); count > 0; count--, open_--) input_.pop_back();
    return Echo(byte);
  }
  Put(byte);
  if (byte == '\n') EndLine();
  return Echo(byte);
}

std::string LineDiscipline::Take(uint8_t byte, Reception reception) {
  const tcflag_t in = settings_.c_iflag;
  if (!Has(settings_.c_cflag, CREAD)) return {};
  if (reception != Reception::Good) {
    const bool isBreak = reception == Reception::BadFrame && byte == 0;
    if (isBreak && Has(in, IGNBRK)) return {};
    if (isBreak && Has(in, BRKINT)) {
      Flush();
      return {};
    }
    if (isBreak || Has(in, INPCK)) {
      if (!isBreak && Has(in, IGNPAR)) return {};
      if (Has(in, PARMRK)) {
        Put(0xFF);
        Put(0);
      }
      Put(Has(in, PARMRK) ? byte : 0);
      return {};
    }
  }
  if (Has(in, ISTRIP)) byte &= 0x7F;
  if (Has(in, IXON)) {
    if (Is(byte, VSTOP) || Is(byte, VSTART)) {
      held_ = Is(byte, VSTOP);
      return {};
    }
    if (Has(in, IXANY)) held_ = false;
  }
  if (TakesSignal(byte)) return Echo(byte);
  if (byte == '\r') {
    if (Has(in, IGNCR)) return {};
    if (Has(in, ICRNL)) byte = '\n';
  } else if (byte == '\n' && Has(in, INLCR)) {
    byte = '\r';
  }
  if (!Raw()) return TakeIntoLine(byte);
  if (byte == 0xFF && Has(in, PARMRK)) Put(0xFF);
  Put(byte);
  return Echo(byte) + FlowControl();
}

std::string LineDiscipline::Processed(std::string_view text) const {
  if (!Has(settings_.c_oflag, OPOST)) return std::string(text);
  std::string out;
  for (const char byte : text) {
    if (byte == '\n' && Has(settings_.c_oflag, ONLCR)) out += '\r';
    out += byte == '\r' && Has(settings_.c_oflag, OCRNL) ? '\n' : byte;
  }
  return out;
}

std::string LineDiscipline::Give(size_t most) {
  const size_t count = std::min(most, Waiting());
  std::string taken(input_.begin(), input_.begin() + static_cast<std::ptrdiff_t>(count));
  input_.erase(input_.begin(), input_.begin() + static_cast<std::ptrdiff_t>(count));
  if (!Raw() && !lines_.empty() && (lines_.front() -= count) == 0) lines_.pop_front();
  if (Raw()) open_ = std::min(open_, input_.size());
  return taken;
}

}  // namespace twin
