// The reduction of a half picture to the thumbnail, against copying the same bytes and against a vision library.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <random>
#include <vector>

#include "bench/ratios.h"
#include "common/fpga_ctrl/capture/thumbnail.h"

namespace {

constexpr int kWidth = 408, kHeight = 306;  // of the thumbnail
constexpr size_t kThumbSize = size_t{kWidth} * kHeight * 3 / 2;

struct Pictures {
  std::vector<BYTE> half = std::vector<BYTE>(16 * kThumbSize);
  std::vector<BYTE> copy = std::vector<BYTE>(16 * kThumbSize);
  std::vector<BYTE> thumb = std::vector<BYTE>(kThumbSize);
  std::vector<BYTE> visionThumb = std::vector<BYTE>(kThumbSize);

  Pictures() {
    std::mt19937 random(1);
    for (BYTE& sample : half) sample = static_cast<BYTE>(random());
  }
};

Pictures& Shared() {
  static Pictures pictures;
  return pictures;
}

void VisionPlane(BYTE* dst, BYTE* src, int width, int height) {
  const cv::Mat from(4 * height, 4 * width, CV_8UC1, src);
  static cv::Mat small;  // kept, so that its memory is not counted
  cv::resize(from, small, cv::Size(width, height), 0, 0, cv::INTER_AREA);
  cv::Mat to(height, width, CV_8UC1, dst);
  cv::flip(small, to, -1);
}

void VisionZoom(BYTE* dst, BYTE* src) {
  const size_t luma = size_t{kWidth} * kHeight;
  VisionPlane(dst, src, kWidth, kHeight);
  VisionPlane(dst + luma, src + 16 * luma, kWidth / 2, kHeight / 2);
  VisionPlane(dst + luma + luma / 4, src + 16 * (luma + luma / 4), kWidth / 2, kHeight / 2);
}

void Memcpy(benchmark::State& state) {
  Pictures& pictures = Shared();
  for (auto _ : state) {
    std::memcpy(pictures.copy.data(), pictures.half.data(), pictures.half.size());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * pictures.half.size());
}

void Zoom(benchmark::State& state) {
  Pictures& pictures = Shared();
  for (auto _ : state) {
    ZoomQtrYuv(pictures.thumb.data(), pictures.half.data(), kWidth, kHeight);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * pictures.half.size());
}

// The library rounds halves to even and this system rounds them up: one apart at most, or the comparison is void.
void Vision(benchmark::State& state) {
  Pictures& pictures = Shared();
  for (auto _ : state) {
    VisionZoom(pictures.visionThumb.data(), pictures.half.data());
    benchmark::ClobberMemory();
  }
  ZoomQtrYuv(pictures.thumb.data(), pictures.half.data(), kWidth, kHeight);
  for (size_t i = 0; i < kThumbSize; i++) {
    if (std::abs(pictures.thumb[i] - pictures.visionThumb[i]) > 1) state.SkipWithError("the pictures differ");
  }
  state.SetBytesProcessed(state.iterations() * pictures.half.size());
}

BENCHMARK(Memcpy)->Unit(benchmark::kMicrosecond);
BENCHMARK(Zoom)->Name("ZoomQtrYuv")->Unit(benchmark::kMicrosecond);
BENCHMARK(Vision)->Name("OpenCvAreaFlip")->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
  cv::setNumThreads(1);
  return RunBenchmarks(argc, argv, {{"ZoomQtrYuv", "Memcpy", 1.5}, {"ZoomQtrYuv", "OpenCvAreaFlip", 1.0}});
}
