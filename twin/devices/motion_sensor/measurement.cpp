// What the sensor measures of the board's attitude, with its errors.
#include <algorithm>
#include <cmath>
#include <numbers>

#include "twin/devices/motion_sensor/motion_sensor.h"

namespace twin {

namespace {

// How it is soldered: from its own axes to the camera's. Its own inverse.
constexpr Rotation kSoldered = {{{-1, 0, 0}, {0, -1, 0}, {0, 0, 1}}};

constexpr double kRadians = std::numbers::pi / 180;
constexpr double kAngleBias = 0.05 * kRadians;   // most, each axis
constexpr double kAngleNoise = 0.02 * kRadians;  // deviation
constexpr double kAccelNoise = 0.004;            // g
constexpr double kGyroNoise = 0.05;              // degrees per second
constexpr std::array<double, 3> kAccelBias = {0.021, -0.013, 0.034};
constexpr std::array<double, 3> kGyroBias = {-1.4, 0.6, 0.9};
constexpr double kDegreesCelsius = 31;

constexpr double kAccelScale = 16384;  // units a g in the lowest range
constexpr double kGyroScale = 131;     // units a degree per second in the lowest range

constexpr uint8_t kSelfTestTrim = 0x0D;
constexpr uint8_t kGyroConfig = 0x1B;
constexpr uint8_t kAccelConfig = 0x1C;
constexpr uint8_t kFifoSources = 0x23;

// Kinds of noise, so that each is its own sequence.
constexpr uint64_t kOfAngle = 0, kOfAccel = 3, kOfGyro = 6, kOfBias = 9;
constexpr uint64_t kForever = ~uint64_t{0};

uint64_t Mixed(uint64_t value) {  // SplitMix64's step (public domain)
  value += 0x9E3779B97F4A7C15u;
  value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9u;
  value = (value ^ (value >> 27)) * 0x94D049BB133111EBu;
  return value ^ (value >> 31);
}

double Evenly(uint64_t value) { return static_cast<double>(value >> 11) * 0x1p-53; }

int16_t Saturated(double value) { return static_cast<int16_t>(std::clamp(std::round(value), -32768.0, 32767.0)); }

// The quaternion of a rotation, its scalar not negative; by the largest of its four parts, which divides best.
std::array<double, 4> ToQuaternion(const Rotation& r) {
  const std::array<double, 4> squares = {1 + r[0][0] + r[1][1] + r[2][2], 1 + r[0][0] - r[1][1] - r[2][2],
                                         1 - r[0][0] + r[1][1] - r[2][2], 1 - r[0][0] - r[1][1] + r[2][2]};
  const auto largest = static_cast<size_t>(std::max_element(squares.begin(), squares.end()) - squares.begin());
  const double twice = std::sqrt(squares[largest]);  // of the largest part
  const double x = r[2][1] - r[1][2], y = r[0][2] - r[2][0], z = r[1][0] - r[0][1];
  const double xy = r[0][1] + r[1][0], xz = r[0][2] + r[2][0], yz = r[1][2] + r[2][1];
  const std::array<std::array<double, 4>, 4> byLargest = {
      {{twice * twice, x, y, z}, {x, twice * twice, xy, xz}, {y, xy, twice * twice, yz}, {z, xz, yz, twice * twice}}};
  std::array<double, 4> q = byLargest[largest];
  const double scale = (q[0] < 0 ? -0.5 : 0.5) / twice;
  for (double& part : q) part *= scale;
  return q;
}

}  // namespace

double MotionSensor::Noise(uint64_t number, uint64_t what) const {
  uint64_t value = Mixed(seed_ ^ Mixed(number * 16 + what));
  double sum = -6;
  for (int i = 0; i < 12; i++) sum += Evenly(value = Mixed(value));
  return sum;
}

MotionSensor::Motion MotionSensor::Measure(uint64_t number) const {
  const Vector3 up = kSoldered * (Transposed(attitude_.ToWorld()) * Vector3{0, 0, 1});
  Motion motion{up, {0, 0, 0}};
  if (!noise_) return motion;
  for (size_t axis = 0; axis < 3; axis++) {
    motion.accel[axis] += kAccelBias[axis] + kAccelNoise * Noise(number, kOfAccel + axis);
    motion.gyro[axis] += kGyroBias[axis] + kGyroNoise * Noise(number, kOfGyro + axis);
  }
  return motion;
}

std::array<int16_t, 7> MotionSensor::RawRegisters(uint64_t number) const {
  const Motion motion = Measure(number);
  const int accelRange = At(kAccelConfig) >> 3 & 3;
  const int gyroRange = At(kGyroConfig) >> 3 & 3;
  std::array<int16_t, 7> raw{};
  raw[3] = Saturated((kDegreesCelsius - 36.53) * 340);
  for (size_t axis = 0; axis < 3; axis++) {
    const int bit = 0x80 >> axis;
    const int trim = registers_[kSelfTestTrim + axis];
    const int gyroCode = trim & 0x1F;
    const int accelCode = (trim >> 3 & 0x1C) | (registers_[kSelfTestTrim + 3] >> (4 - 2 * axis) & 3);
    // The masses are moved electrically: as the factory wrote down, but for a few percent of ageing.
    const double accelMoved = (At(kAccelConfig) & bit) != 0 ? 0.34 * std::pow(0.92 / 0.34, (accelCode - 1) / 30.0) : 0;
    const double gyroMoved = (At(kGyroConfig) & bit) != 0 ? 25 * std::pow(1.046, gyroCode - 1) : 0;
    raw[axis] = Saturated((motion.accel[axis] + 1.03 * accelMoved) * kAccelScale / (1 << accelRange));
    const double rate = motion.gyro[axis] + (axis == 1 ? -0.97 : 0.97) * gyroMoved;
    raw[4 + axis] = Saturated(rate * kGyroScale / (1 << gyroRange));
  }
  return raw;
}

// In the order of the registers; 0x23 says which.
std::vector<uint8_t> MotionSensor::Samples() const {
  constexpr std::array<uint8_t, 7> kSource = {0x08, 0x08, 0x08, 0x80, 0x40, 0x20, 0x10};
  const auto raw = RawRegisters(samples_.number);
  std::vector<uint8_t> bytes;
  for (size_t i = 0; i < raw.size(); i++) {
    if ((At(kFifoSources) & kSource[i]) == 0) continue;
    bytes.push_back(static_cast<uint8_t>(raw[i] >> 8));
    bytes.push_back(static_cast<uint8_t>(raw[i]));
  }
  return bytes;
}

std::vector<uint8_t> MotionSensor::Packet() {
  MotionProgram::Measured measured{};
  if (const auto mounting = program_.Mounting()) measured.quaternion = Quaternion(*mounting);
  const Motion motion = Measure(packets_.number);
  for (size_t axis = 0; axis < 3; axis++) {
    measured.accel[axis] = Saturated(motion.accel[axis] * kAccelScale);
    measured.gyro[axis] = Saturated(motion.gyro[axis] * kGyroScale / 8);
  }
  return program_.Packet(measured);
}

std::array<double, 4> MotionSensor::Quaternion(const Rotation& mounting) const {
  Rotation error = TurnAboutX(0);
  if (noise_) {
    std::array<double, 3> angle{};
    for (size_t axis = 0; axis < 3; axis++) {
      const double bias = 2 * Evenly(Mixed(seed_ ^ Mixed(kForever - kOfBias - axis))) - 1;
      angle[axis] = kAngleBias * bias + kAngleNoise * Noise(packets_.number, kOfAngle + axis);
    }
    error = TurnAboutX(angle[0]) * TurnAboutY(angle[1]) * TurnAboutZ(angle[2]);
  }
  const Rotation sincePowerOn = TurnAboutZ(-yawAtStart_ * kRadians) * attitude_.ToWorld();
  return ToQuaternion(sincePowerOn * kSoldered * Transposed(mounting) * error);
}

}  // namespace twin
