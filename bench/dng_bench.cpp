// Writing one frame as a DNG file, preview and all, against one plain write of the finished file's bytes. Both make the
// file anew, in the host's temporary directory (TMPDIR chooses another file system, and with it other figures).
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "bench/ratios.h"
#include "common/log.h"
#include "common/sample_comm_venc/dng_writer.h"

namespace {

constexpr int kWidth = 3264, kHeight = 2448;

const std::filesystem::path& FilePath() {
  static const std::filesystem::path path =
      std::filesystem::temp_directory_path() / ("lumora-dng-" + std::to_string(getpid()) + "-RAW_05_1.dng");
  return path;
}

void RemoveFile() { std::filesystem::remove(FilePath()); }

// A frame with all levels in it: neither the curve nor the branch predictor gets off lightly.
const std::vector<uint16_t>& Frame() {
  static const auto frame = [] {
    std::mt19937 random(1);
    std::vector<uint16_t> samples(kWidth * kHeight);
    for (uint16_t& sample : samples) sample = static_cast<uint16_t>(random() % 1010 << 6);
    return samples;
  }();
  return frame;
}

bool Save(int camera) {
  static LumoVencStatus en = {};
  en.gain[1] = 16;
  en.expsTime[1] = 0.01F;
  return LumoSaveDNG(Frame().data(), kWidth, kHeight, camera, 1, &en, FilePath().c_str()) == 0;
}

void SaveDng(benchmark::State& state, int camera) {
  for (auto _ : state) {
    state.PauseTiming();
    RemoveFile();
    state.ResumeTiming();
    if (!Save(camera)) state.SkipWithError("not written");
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(std::filesystem::file_size(FilePath())));
  RemoveFile();
}

void PlainWrite(benchmark::State& state) {
  RemoveFile();
  if (!Save(0)) state.SkipWithError("not written");
  std::ifstream file(FilePath(), std::ios::binary);
  const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
  for (auto _ : state) {
    state.PauseTiming();
    RemoveFile();
    state.ResumeTiming();
    const int written = open(FilePath().c_str(), O_RDWR | O_CREAT | O_TRUNC, 0666);
    if (write(written, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
      state.SkipWithError("short write");
    }
    close(written);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes.size()));
  RemoveFile();
}

BENCHMARK_CAPTURE(SaveDng, upright, 0)->Unit(benchmark::kMillisecond)->MinTime(0.1);
BENCHMARK_CAPTURE(SaveDng, turned, 5)->Unit(benchmark::kMillisecond)->MinTime(0.1);
BENCHMARK(PlainWrite)->Unit(benchmark::kMillisecond)->MinTime(0.1);

}  // namespace

int main(int argc, char** argv) {
  g_lumoDebug = stderr;
  return RunBenchmarks(argc, argv, {{"SaveDng/upright", "PlainWrite", 1.5}, {"SaveDng/turned", "PlainWrite", 1.5}});
}
