// Layer 1's scene measurement and its six exposure sets: what the layers' exposure steps fetch.
//
// A set is eight bytes: shutter in sixteenths of a row (3), frame length in rows (2), coarse and fine gain, end mark
// (0 more sets follow, 0xFF the last). A step fetches them one by one, byte 7 ends it. Until the host's sets are there,
// whole up to an end mark, the steps fetch the meter's own exposure, and the frame that follows is measured; from the
// next step on that no layer has begun, they fetch set 1, 2, ... one a step. All layers change over at one step.
//
// The meter begins with the exposure that it was told, and stays in the dark without one. It aims at an average of 28
// of 255. It takes a step of at most 16 times up or down, from the exposure that the measured frame really had, so that
// its two-frame delay does no harm.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <vector>

#include "twin/devices/fpga/array_faults.h"

namespace twin {

class SceneMeter {
 public:
  static constexpr int kSetBytes = 8;
  static constexpr int kTarget = 28;
  static constexpr uint32_t kLeastExposure = 0x20;  // two rows at unity gain
  static constexpr uint32_t kMostRows = 0x8E0;      // what fits the standard frame of 2470 rows
  static constexpr uint32_t kMostExposure = kMostRows * 16 * 16;

  // What one group of cameras has fetched of its present step.
  struct Cursor {
    uint32_t step = 0;  // steps completed
    bool open = false;
    int set = 0;  // 1 to 6, or 0: the meter's own exposure
    std::array<uint8_t, kSetBytes> bytes{};
    uint32_t exposure = 0;
  };
  // What the frame after a step is.
  struct Step {
    uint32_t number = 0;
    int bracket = -1;       // 0 to 5, or -1: to be measured
    bool last = false;      // the set with the end mark
    bool spent = false;     // all sets were used up before: nothing special
    uint32_t exposure = 0;  // of a measuring frame
  };

  explicit SceneMeter(ArrayFaults& faults) : faults_(faults) {}

  void Reset();    // the fabric's reset
  void Prepare();  // a new capture: sets, counts and measuring exposure begin anew; the starting exposure stays
  void SetStart(uint16_t rows);
  void SetBracketed(bool on) { bracketed_ = on; }  // off: the first set is the only one
  void WriteSet(int set, int index, uint8_t value);
  // Called once a capture when the sets come into use.
  void OnBracketing(std::function<void()> listener) { bracketing_ = std::move(listener); }

  // Byte `index` of the present set. After index 7, `finished` tells what the step was.
  uint8_t Fetch(Cursor& cursor, int index, Step* finished);

  // A camera of layer 1 begins, or has ended, a frame to be measured; `signal` 0 to 1.
  void FrameBegins(const Step& step);
  void FrameEnds(const Step& step, double signal);

  uint8_t Count() const { return count_; }
  uint8_t Average() const { return average_; }
  uint32_t MeasuredExposure() const { return measuredExposure_; }  // rows x 16ths of gain, of the frame of Average
  int SetsInUse() const { return setsInUse_; }                     // 0: measuring
  bool SetsComplete() const { return CompleteSets() > 0; }
  using Set = std::array<uint8_t, kSetBytes>;
  std::vector<Set> Sets() const { return {sets_.begin(), sets_.begin() + CompleteSets()}; }  // those that are whole

 private:
  struct Sum {
    int begun = 0, ended = 0;
    double signal = 0;
  };
  int CompleteSets() const;
  void BeginStep(Cursor& cursor);
  void Publish(uint32_t exposure, double signal);

  ArrayFaults& faults_;
  std::function<void()> bracketing_;
  std::array<Set, 6> sets_{};
  std::array<uint8_t, 6> written_{};  // a bit a byte
  bool bracketed_ = false;
  uint32_t startExposure_ = 0;
  uint32_t exposure_ = kLeastExposure;  // that the next measuring step fetches
  uint32_t begunSteps_ = 0;             // by the group that is farthest
  int setsInUse_ = 0;
  uint32_t firstSetStep_ = 0;
  std::map<uint32_t, Sum> sums_;  // by step
  uint8_t count_ = 0;
  uint8_t average_ = 0;
  uint32_t measuredExposure_ = 0;
};

}  // namespace twin
