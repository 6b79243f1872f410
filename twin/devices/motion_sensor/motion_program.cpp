#include "twin/devices/motion_sensor/motion_program.h"

#include <algorithm>
#include <cmath>

namespace twin {

namespace {

constexpr uint32_t kSize = 3062;
constexpr uint16_t kStart = 0x0400;

// --- the program's places, and what stands there when something is on ---
constexpr uint16_t kRateDivider = 0x216;  // two bytes, high first
constexpr uint16_t kQuaternion = 0xA9E;   // six-axis
constexpr std::array<uint8_t, 4> kQuaternionOn = {0x20, 0x28, 0x30, 0x38};
constexpr uint16_t kAccel = 0xAA8;
constexpr std::array<uint8_t, 3> kAccelOn = {0xC0, 0xC8, 0xC2};
constexpr uint16_t kGyro = 0xAAB;
constexpr std::array<uint8_t, 3> kGyroOn = {0xC4, 0xCC, 0xC6};
constexpr uint16_t kGesture = 0xAB6;
constexpr std::array<uint8_t, 1> kGestureOn = {0x20};

// Everything that may be set, with what it may be set to; nothing: it may be anything.
using Bytes = std::vector<uint8_t>;
struct Place {
  uint16_t address;
  uint16_t size;
  std::vector<Bytes> settings;
};
const std::vector<Place>& Places() {
  static const std::vector<Place> places = {
      {0x068, 4, {{0x02, 0xCA, 0xE3, 0x09}}},  // the gyroscope's unit at 200 Hz
      {kRateDivider, 2, {}},
      {0x426, 3, {}},
      {0x42A, 3, {}},
      {0x431, 3, {}},
      {0x440, 3, {}},
      {0x4B8,
       9,
       {{0xB8, 0xAA, 0xB3, 0x8D, 0xB4, 0x98, 0x0D, 0x35, 0x5D},
        {0xB8, 0xAA, 0xAA, 0xAA, 0xB0, 0x88, 0xC3, 0xC5, 0xC7}}},
      {0x73D, 1, {{0xD9}, {0xD8}}},
      {0x8B0, 1, {{0xF8}, {0xD8}}},
      {0xA98, 4, {{0xC0, 0xC2, 0xC4, 0xC6}, {0x8B, 0x8B, 0x8B, 0x8B}}},
      {kQuaternion, 4, {{0x20, 0x28, 0x30, 0x38}, {0xA3, 0xA3, 0xA3, 0xA3}}},
      {0xAA2, 4, {{0xB2, 0x8B, 0xB6, 0x9B}, {0xB0, 0x80, 0xB4, 0x90}}},
      {0xAA7, 1, {{0xA3}}},
      {kAccel, 3, {{0xC0, 0xC8, 0xC2}, {0xA3, 0xA3, 0xA3}}},
      {kGyro, 3, {{0xC4, 0xCC, 0xC6}, {0xA3, 0xA3, 0xA3}}},
      {0xAAE, 3, {{0xA3, 0xA3, 0xA3}}},
      {kGesture, 1, {{0x20}, {0xD8}}},
      {0xAC1, 12, {{0xFE, 0xF2, 0xAB, 0xC4, 0xAA, 0xF1, 0xDF, 0xDF, 0xBB, 0xAF, 0xDF, 0xDF}}}};
  return places;
}

// Mounting: for each axis of the packets an instruction that fetches one of the chip's, and one that adds it, its
// lowest bit meaning reversed.
struct MountingPlace {
  uint16_t axes;
  std::array<uint8_t, 3> fetch;  // x, y, z
  uint16_t signs;
  std::array<uint8_t, 3> add;
};
constexpr MountingPlace kGyroMounting = {0x426, {0x4C, 0xCD, 0x6C}, 0x440, {0x36, 0x56, 0x76}};
constexpr MountingPlace kAccelMounting = {0x42A, {0x0C, 0xC9, 0x2C}, 0x431, {0x26, 0x46, 0x66}};

double Determinant(const Rotation& r) {
  return r[0][0] * (r[1][1] * r[2][2] - r[1][2] * r[2][1]) - r[0][1] * (r[1][0] * r[2][2] - r[1][2] * r[2][0]) +
         r[0][2] * (r[1][0] * r[2][1] - r[1][1] * r[2][0]);
}

std::optional<Rotation> ReadMounting(const MotionProgram& program, const MountingPlace& place) {
  Rotation rotation{};
  for (uint16_t row = 0; row < 3; row++) {
    const uint8_t fetch = program.Read(static_cast<uint16_t>(place.axes + row));
    const uint8_t add = program.Read(static_cast<uint16_t>(place.signs + row));
    const auto axis = std::find(place.fetch.begin(), place.fetch.end(), fetch);
    if (axis == place.fetch.end() || (add & 0xFE) != place.add[row]) return std::nullopt;
    rotation[row][static_cast<size_t>(axis - place.fetch.begin())] = (add & 1) != 0 ? -1 : 1;
  }
  if (Determinant(rotation) != 1) return std::nullopt;
  return rotation;
}

void Append(std::vector<uint8_t>& packet, int64_t value, int bytes) {
  for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) packet.push_back(static_cast<uint8_t>(value >> shift));
}

}  // namespace

void MotionProgram::PowerOn() {
  memory_.fill(0);
  written_ = broken_ = 0;
  start_.reset();
}

void MotionProgram::Write(uint16_t address, uint8_t value) {
  if (address == 0) written_ = broken_ = 0;  // it is loaded anew
  if (address >= memory_.size()) return;
  memory_[address] = value;
  if (address == written_ && written_ < kSize) {
    written_++;
    return;
  }
  const bool known = std::any_of(Places().begin(), Places().end(), [address](const Place& place) {
    return address >= place.address && address < place.address + place.size;
  });
  if (written_ >= kSize && !known && broken_ == 0) broken_ = address;
}

uint8_t MotionProgram::Read(uint16_t address) const { return address < memory_.size() ? memory_[address] : 0; }

std::string MotionProgram::Fault() const {
  const auto at = [](uint32_t address) {
    char text[16];
    snprintf(text, sizeof text, "0x%03X", address);
    return std::string(text);
  };
  if (written_ < kSize) return "is not there, only " + std::to_string(written_) + " bytes of it";
  if (!start_ || *start_ != kStart) return "begins at " + at(kStart);
  if (broken_ != 0) return "is broken at " + at(broken_);
  for (const Place& place : Places()) {
    if (place.settings.empty()) continue;
    const Bytes now(memory_.begin() + place.address, memory_.begin() + place.address + place.size);
    const auto& settings = place.settings;
    if (std::find(settings.begin(), settings.end(), now) == settings.end()) return "is not set at " + at(place.address);
  }
  if (!Mounting()) return "has axes that make no mounting";
  return {};
}

uint32_t MotionProgram::Divider() const {
  return 1u + (static_cast<uint32_t>(Read(kRateDivider)) << 8 | Read(kRateDivider + 1));
}

std::optional<Rotation> MotionProgram::Mounting() const {
  const auto gyro = ReadMounting(*this, kGyroMounting);
  return gyro == ReadMounting(*this, kAccelMounting) ? gyro : std::nullopt;
}

template <size_t N>
bool MotionProgram::Holds(uint16_t address, const std::array<uint8_t, N>& bytes) const {
  return std::equal(bytes.begin(), bytes.end(), memory_.begin() + address);
}

std::vector<uint8_t> MotionProgram::Packet(const Measured& measured) const {
  std::vector<uint8_t> packet;
  if (Holds(kQuaternion, kQuaternionOn)) {
    for (const double part : measured.quaternion) Append(packet, std::llround(part * 0x1p30), 4);
  }
  if (Holds(kAccel, kAccelOn)) {
    for (const int16_t axis : measured.accel) Append(packet, axis, 2);
  }
  if (Holds(kGyro, kGyroOn)) {
    for (const int16_t axis : measured.gyro) Append(packet, axis, 2);
  }
  if (Holds(kGesture, kGestureOn)) packet.insert(packet.end(), 4, 0);
  return packet;
}

}  // namespace twin
