#include "tools/campaign/handshakes.h"

#include <functional>

#include "common/control_signals.h"
#include "common/fpga_ctrl/device/control_loop.h"
#include "common/httpd/server.h"
#include "common/usbserial/remote.h"

namespace campaign {

namespace {

enum Field { kNeedCapture, kNeedSave, kRemoteCapCmd, kRawLoadInfo, kNeedQuit };
constexpr char kSnap = 's', kControl = 'c', kRemote = 'r', kPhone = 'p', kOther = 'o';

char RoleOf(void* (*body)(void*)) {
  if (body == LumoHandleControl) return kControl;
  if (body == LumoSerialMain) return kRemote;
  return body == LumoServerMain0 || body == LumoServerMain1 ? kPhone : kOther;
}

bool UnderWay(unsigned status) { return status == kShotAccepted || status == kShotRunning; }

}  // namespace

Handshakes::Handshakes(twin::Board& board) : board_(board) {
  board_.OnThread([this](const twin::Board::StartedThread& thread) {
    const twin::Time start = board_.Now() - board_.Uptime();
    if (start != start_ || record_ == nullptr) roles_.clear();
    start_ = start;
    roles_[thread.fiber] = RoleOf(thread.body);
    if (RoleOf(thread.body) != kControl) return;
    record_ = thread.argument;
    fields_ = Now();
    Close();
  });
  board_.kernel.AfterEachTurn([this](const twin::Fiber* fiber) { Turn(fiber); });
}

Handshakes::Fields Handshakes::Now() const {
  const auto* signals = static_cast<const ControlSignals*>(record_);
  // Of a request that it is there: its parameters make no order.
  return {signals->needCapture, signals->needSave, signals->remoteCapCmd == 0 ? 0u : 1u, signals->rawLoadInfo,
          signals->needQuit};
}

bool Handshakes::AtRest(const Fields& fields) const {
  return !UnderWay(fields[kNeedCapture]) && !UnderWay(fields[kNeedSave]) && fields[kRemoteCapCmd] == 0 &&
         fields[kRawLoadInfo] == kRawLoadEmpty && fields[kNeedQuit] == 0;
}

void Handshakes::Close() {
  sequence_.clear();
  kind_.clear();
  last_ = 0;
  raw_ = quit_ = shot_ = false;
}

void Handshakes::Turn(const twin::Fiber* fiber) {
  if (record_ == nullptr) return;
  if (!board_.Powered() || board_.Exited() || board_.Now() - board_.Uptime() != start_) {
    record_ = nullptr;  // it is gone with its process
    return Close();
  }
  const auto found = roles_.find(fiber);
  const char role = found == roles_.end() ? kSnap : found->second;
  if (last_ != 0 && role != last_) {
    sequence_ += role;
    last_ = 0;
  }
  const Fields now = Now();
  if (now == fields_) return;
  for (size_t i = 0; i < now.size(); i++) {
    if (now[i] == fields_[i]) continue;
    sequence_ += ' ';
    sequence_ += role;
    sequence_ += std::to_string(i) + '=' + std::to_string(now[i]);
  }
  if (now[kRemoteCapCmd] != 0 && fields_[kRemoteCapCmd] != now[kRemoteCapCmd]) {
    kind_ = kind_.empty() ? role == kRemote ? "remote" : "phone" : "several requests";
  }
  shot_ = shot_ || UnderWay(now[kNeedSave]);
  raw_ = raw_ || now[kRawLoadInfo] != kRawLoadEmpty;
  quit_ = quit_ || now[kNeedQuit] != 0;
  fields_ = now;
  last_ = role;
  const bool begins = !kind_.empty() && !shot_;  // a request was taken, and its shot is about to begin
  if (!AtRest(now) || begins) return;
  if (kind_.empty()) kind_ = shot_ ? "button" : "";
  if (raw_) kind_ += ", raw";
  if (quit_) kind_ += kind_.empty() ? "switch-off" : ", switch-off";
  if (!kind_.empty()) seen_.push_back({kind_, std::hash<std::string>()(sequence_)});
  Close();
}

}  // namespace campaign
