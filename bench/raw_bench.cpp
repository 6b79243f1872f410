// The cleaning of raw frames against copying the same bytes: a frame alone, and the mean frame of a whole raw pass.
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <vector>

#include "bench/ratios.h"
#include "common/sample_comm_venc/raw_preprocess.h"

namespace {

constexpr size_t kSamples = size_t{kRawWidth} * kRawHeight;
constexpr int kStraight = 0, kMirrored = 12;  // cameras

struct Frames {
  std::vector<uint16_t> frame = std::vector<uint16_t>(kSamples);
  std::vector<uint16_t> copy = std::vector<uint16_t>(kSamples);

  Frames() {
    InitRandomTable();
    std::mt19937 random(1);
    for (uint16_t& sample : frame) sample = static_cast<uint16_t>(random());
  }
};

Frames& Shared() {
  static Frames frames;
  return frames;
}

void CountFrames(benchmark::State& state) { state.SetBytesProcessed(state.iterations() * kSamples * sizeof(uint16_t)); }

void Memcpy(benchmark::State& state) {
  Frames& frames = Shared();
  for (auto _ : state) {
    std::memcpy(frames.copy.data(), frames.frame.data(), kSamples * sizeof(uint16_t));
    benchmark::ClobberMemory();
  }
  CountFrames(state);
}

// A frame whose order is known, or is measured first.
void Clean(benchmark::State& state, int camera, int order) {
  Frames& frames = Shared();
  for (auto _ : state) {
    int orderTable[25] = {};
    orderTable[camera] = order;
    PreProcRawData(frames.copy.data(), kRawWidth, kRawHeight, camera, orderTable);
    benchmark::ClobberMemory();
  }
  CountFrames(state);
}

// Of each camera's three frames the first is measured, and 21 of 25 cameras are mirrored.
void CleanPass(benchmark::State& state) {
  Frames& frames = Shared();
  int orderTable[25] = {};
  int number = 0;
  for (auto _ : state) {
    const int camera = number / 3 % 25;
    if (number++ % 3 == 0) orderTable[camera] = 0;
    PreProcRawData(frames.copy.data(), kRawWidth, kRawHeight, camera, orderTable);
    benchmark::ClobberMemory();
  }
  CountFrames(state);
}

BENCHMARK(Memcpy)->Unit(benchmark::kMicrosecond);
BENCHMARK(CleanPass)->Name("PreProcRawData")->Unit(benchmark::kMicrosecond)->Iterations(75);
BENCHMARK_CAPTURE(Clean, straight, kStraight, 1)->Name("PreProcStraight")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(Clean, mirrored, kMirrored, -1)->Name("PreProcMirrored")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(Clean, measured, kMirrored, 0)->Name("PreProcMeasured")->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
  return RunBenchmarks(argc, argv,
                       {{"PreProcRawData", "Memcpy", 2.0},
                        {"PreProcStraight", "Memcpy", 2.0},
                        {"PreProcMirrored", "Memcpy", 2.0},
                        {"PreProcMeasured", "Memcpy", 2.0}});
}
