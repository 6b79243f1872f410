#include "twin/devices/motion_sensor/motion_sensor.h"

#include <algorithm>

namespace twin {

namespace {

constexpr uint8_t kAddress = 0x68;
constexpr Duration kResetTime = 100ms;
constexpr Duration kProgramPeriod = 5ms;  // of the samples that the motion program counts on

// --- registers with a meaning ---
constexpr uint8_t kAccelTrim = 0x06;  // six bytes; bit 0 of the odd ones is the revision
constexpr uint8_t kProduct = 0x0C;
constexpr uint8_t kSelfTestTrim = 0x0D;  // four bytes
constexpr uint8_t kRateDivider = 0x19;
constexpr uint8_t kConfig = 0x1A;  // bits 2 to 0: filter; 0 and 7 leave the gyroscope at 8 kHz
constexpr uint8_t kGyroConfig = 0x1B, kAccelConfig = 0x1C;
constexpr uint8_t k2000DegreesPerSecond = 0x18, k2g = 0;  // in these two
constexpr uint8_t kFifoSources = 0x23;
constexpr uint8_t kStatus = 0x3A;
constexpr uint8_t kFirstMeasured = 0x3B;
constexpr uint8_t kLastMeasured = 0x48;
constexpr uint8_t kUserControl = 0x6A;
constexpr uint8_t kPower1 = 0x6B;
constexpr uint8_t kPower2 = 0x6C;
constexpr uint8_t kBank = 0x6D;
constexpr uint8_t kMemoryAddress = 0x6E;
constexpr uint8_t kMemory = 0x6F;
constexpr uint8_t kStartHigh = 0x70;
constexpr uint8_t kStartLow = 0x71;
constexpr uint8_t kFifoCountHigh = 0x72;
constexpr uint8_t kFifoCountLow = 0x73;
constexpr uint8_t kFifoData = 0x74;
constexpr uint8_t kWhoAmI = 0x75;

constexpr uint8_t kDeviceReset = 0x80, kSleep = 0x40;                     // power 1
constexpr uint8_t kDmpOn = 0x80, kFifoOn = 0x40, kDmpReset = 0x08;        // user control
constexpr uint8_t kFifoReset = 0x04, kSelfClearing = 0x0F;                // user control
constexpr uint8_t kOverflow = 0x10, kDmpReady = 0x02, kDataReady = 0x01;  // status

// Registers that the part's map gives to whoever writes, besides the measured ones.
constexpr std::pair<uint8_t, uint8_t> kWritable[] = {{0x0D, 0x10}, {0x19, 0x1C}, {0x1F, 0x1F}, {0x23, 0x38},
                                                     {0x3A, 0x3A}, {0x63, 0x69}, {0x6A, 0x74}};

bool Writable(uint8_t address) {
  return std::any_of(std::begin(kWritable), std::end(kWritable),
                     [address](const auto& range) { return address >= range.first && address <= range.second; });
}

}  // namespace

MotionSensor::MotionSensor(Kernel& kernel, Faults& faults, Attitude& attitude, Pin& clock, Pin& data, uint64_t seed)
    : kernel_(kernel),
      attitude_(attitude),
      complain_([](const std::string&) {}),
      seed_(seed),
      absent_(faults, "motion.absent", "no motion sensor is fitted"),
      ack_(faults, "motion.ack", "the motion sensor does not acknowledge; detail register, -1 its address"),
      hang_(faults, "motion.hang", "the motion sensor holds its data line low"),
      garbage_(faults, "motion.garbage", "value=N: what the motion sensor sends, else drawn; detail register"),
      memory_(faults, "motion.memory", "a byte of the motion program arrives inverted; detail address"),
      slave_(kernel, clock, data, *this),
      monitor_(clock, data) {
  attitude_.BeforeChange([this] { CatchUp(); });
  PowerOnReset();
}

void MotionSensor::PowerOnReset() {
  program_.PowerOn();
  DeviceReset();
  resetUntil_ = kernel_.Now();
  slave_.Release();
}

void MotionSensor::DeviceReset() {
  constexpr std::array<uint8_t, 6> trim = {0xFB, 0x40, 0x07, 0x1C, 0x05, 0xB2};
  constexpr std::array<uint8_t, 4> selfTest = {0x94, 0x93, 0x95, 0x00};  // gyroscope codes 20, 19, 21; others 16
  registers_.fill(0);
  for (size_t i = 0; i < trim.size(); i++) registers_[kAccelTrim + i] = trim[i];
  for (int bit = 0; bit < 3; bit++) {
    registers_[static_cast<size_t>(kAccelTrim + 1 + 2 * bit)] |= static_cast<uint8_t>(revision_ >> bit & 1);
  }
  At(kProduct) = static_cast<uint8_t>(product_);
  for (size_t i = 0; i < selfTest.size(); i++) registers_[kSelfTestTrim + i] = selfTest[i];
  At(kPower1) = kSleep;
  At(kWhoAmI) = kAddress;
  fifo_.clear();
  programIsGood_ = false;
  pointer_ = 0;
  resetUntil_ = kernel_.Now() + kResetTime;
  Retune();
}

void MotionSensor::SetPart(int revision, int product) {
  revision_ = revision;
  product_ = product;
  DeviceReset();
}

void MotionSensor::SetNoise(bool on) {
  CatchUp();
  noise_ = on;
}

// --- the bus ---

bool MotionSensor::HoldsDataLow() { return hang_.Ask().has_value(); }

bool MotionSensor::Addressed(uint8_t address, bool reads) {
  if (address != kAddress || absent_.Ask() || ack_.Ask(-1)) return false;
  CatchUp();
  pointerFollows_ = !reads;
  return true;
}

bool MotionSensor::Written(uint8_t byte) {
  if (pointerFollows_) {
    pointerFollows_ = false;
    pointer_ = byte;
    return !ack_.Ask(byte);
  }
  if (ack_.Ask(pointer_)) return false;
  if (kernel_.Now() >= resetUntil_) WriteRegister(pointer_, byte);
  Advance();
  return true;
}

uint8_t MotionSensor::Read() {
  uint8_t value = kernel_.Now() >= resetUntil_ ? ReadRegister(pointer_) : 0;
  if (const auto effect = garbage_.Ask(pointer_)) {
    value = static_cast<uint8_t>(effect->kind == Effect::Kind::Value ? effect->value
                                                                     : static_cast<int64_t>(kernel_.Random() >> 56));
  }
  Advance();
  return value;
}

void MotionSensor::Advance() {
  if (pointer_ != kFifoData && pointer_ != kMemory) pointer_ = (pointer_ + 1) & 0x7F;
}

// --- registers ---

void MotionSensor::WriteRegister(uint8_t address, uint8_t value) {
  if (!Writable(address)) Complain("write to register " + std::to_string(address));
  switch (address) {
    case kUserControl: ControlUser(value); break;
    case kPower1:
      if ((value & kDeviceReset) != 0) return DeviceReset();
      At(kPower1) = value;
      break;
    case kMemory:
      if (!Asleep()) {
        const auto to = static_cast<uint16_t>(At(kBank) << 8 | At(kMemoryAddress));
        program_.Write(to, memory_.Ask(to) ? static_cast<uint8_t>(~value) : value);
        programIsGood_ = programIsGood_ && program_.Fault().empty();
        At(kMemoryAddress)++;
      }
      break;
    case kStartHigh:
    case kStartLow:
      At(address) = value;
      program_.SetStart(static_cast<uint16_t>(At(kStartHigh) << 8 | At(kStartLow)));
      break;
    case kStatus:
    case kFifoCountHigh:
    case kFifoCountLow:
    case kWhoAmI: break;  // read only
    case kFifoData: fifo_.push_back(value); break;
    default:
      if (address > kWhoAmI) return;
      if (address < kFirstMeasured || address > kLastMeasured) At(address) = value;
      break;
  }
  Retune();
}

void MotionSensor::ControlUser(uint8_t value) {
  const bool starts = (value & kDmpOn) != 0 && ((At(kUserControl) & kDmpOn) == 0 || (value & kDmpReset) != 0);
  At(kUserControl) = value & static_cast<uint8_t>(~kSelfClearing);
  if ((value & kFifoReset) != 0 && (value & kFifoOn) == 0) fifo_.clear();  // only while it is off
  if (!starts) return;
  yawAtStart_ = attitude_.Yaw();
  JudgeProgram();
}

// Whether what has been loaded and set can run.
void MotionSensor::JudgeProgram() {
  std::string fault = program_.Fault();
  if (fault.empty() && SamplePeriod() != kProgramPeriod) fault = "counts on 200 samples a second";
  if (fault.empty() && (At(kGyroConfig) != k2000DegreesPerSecond || At(kAccelConfig) != k2g)) {
    fault = "counts on 2000 degrees per second and 2 g";
  }
  programIsGood_ = fault.empty();
  if (!programIsGood_) Complain("the motion program " + fault);
}

uint8_t MotionSensor::ReadRegister(uint8_t address) {
  switch (address) {
    case kStatus: {
      const uint8_t status = At(kStatus);
      At(kStatus) = 0;
      return status;
    }
    case kMemory: {
      if (Asleep()) return 0;
      const auto from = static_cast<uint16_t>(At(kBank) << 8 | At(kMemoryAddress));
      At(kMemoryAddress)++;
      return program_.Read(from);
    }
    case kFifoCountHigh: latchedCount_ = static_cast<uint16_t>(fifo_.size()); return latchedCount_ >> 8;
    case kFifoCountLow: return latchedCount_ & 0xFF;
    case kFifoData:
      if (!fifo_.empty() && (At(kUserControl) & kFifoOn) != 0) {
        lastFifoByte_ = fifo_.front();
        fifo_.pop_front();
      }
      return lastFifoByte_;
    default: break;
  }
  if (address > kWhoAmI) Complain("read of register " + std::to_string(address));
  if (address < kFirstMeasured || address > kLastMeasured) return At(address);
  if (Asleep()) return 0;
  const auto word = RawRegisters(static_cast<uint64_t>(kernel_.Now() / 1ms))[(address - kFirstMeasured) / 2u];
  return static_cast<uint8_t>((address - kFirstMeasured) % 2 == 0 ? word >> 8 : word);
}

// --- what fills the FIFO ---

bool MotionSensor::Asleep() const { return (At(kPower1) & kSleep) != 0; }

Duration MotionSensor::SamplePeriod() const {
  const int filter = At(kConfig) & 7;
  const Duration base = filter == 0 || filter == 7 ? Duration(125us) : Duration(1ms);
  return base * (1 + At(kRateDivider));
}

void MotionSensor::Retune() {
  const Time now = kernel_.Now();
  const bool awake = !Asleep() && (At(kUserControl) & kFifoOn) != 0;
  const bool allAxes = (At(kPower2) & 0x3F) == 0;
  const bool dmp = awake && allAxes && (At(kUserControl) & kDmpOn) != 0 && programIsGood_;
  Tune(samples_, awake && At(kFifoSources) != 0, SamplePeriod(), now);
  Tune(packets_, dmp, SamplePeriod() * program_.Divider(), now);
}

void MotionSensor::Tune(Stream& stream, bool runs, Duration period, Time now) {
  if (stream.runs == runs && (!runs || stream.period == period)) return;
  stream.runs = runs;
  stream.period = period;
  stream.next = now + period;
}

// Whatever was due up to now, with the attitude of until now.
void MotionSensor::CatchUp() {
  const Time now = kernel_.Now();
  Skip(samples_);
  Skip(packets_);
  for (;;) {
    Stream* due = nullptr;
    for (Stream* stream : {&samples_, &packets_}) {
      if (stream->runs && stream->next <= now && (due == nullptr || stream->next < due->next)) due = stream;
    }
    if (due == nullptr) return;
    Fill(due == &packets_ ? Packet() : Samples());
    At(kStatus) |= due == &packets_ ? kDmpReady : kDataReady;
    due->next += due->period;
    due->number++;
  }
}

// What would have been pushed out of the FIFO again is not made.
void MotionSensor::Skip(Stream& stream) {
  constexpr int64_t kMostInFifo = kFifoSize / 2;
  if (!stream.runs) return;
  const int64_t due = (kernel_.Now() - stream.next) / stream.period;
  if (due <= 2 * kMostInFifo) return;
  stream.next += (due - kMostInFifo) * stream.period;
  stream.number += static_cast<uint64_t>(due - kMostInFifo);
  At(kStatus) |= kOverflow;
}

void MotionSensor::Fill(const std::vector<uint8_t>& bytes) {
  fifo_.insert(fifo_.end(), bytes.begin(), bytes.end());
  if (fifo_.size() <= kFifoSize) return;
  fifo_.erase(fifo_.begin(), fifo_.end() - static_cast<long>(kFifoSize));
  At(kStatus) |= kOverflow;
}

}  // namespace twin
