// Filing a shot's 150 JPEGs, each flushed pack by pack, against one plain write of each.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <random>
#include <vector>

#include "bench/ratios.h"
#include "common/log.h"
#include "common/sample_comm_venc/encoder.h"
#include "common/sample_comm_venc/frame_filing.h"
#include "common/sample_comm_venc/replay_tables.h"

namespace {

constexpr int kFullSize = 1'300'000, kHalfSize = 260'000;  // a bright room at the qualities 95 and 85
constexpr int kHeadSize = 623;                             // what the encoder hands over as a pack of its own

// The frames of a shot, in order of arrival. All are of one memory, as the encoder's are of its stream buffer.
struct ShotFrames {
  std::vector<HI_U8> memory = std::vector<HI_U8>(kFullSize + kFullSize / 4);
  std::vector<int> sizes;  // half and full, frame by frame

  ShotFrames() {
    std::mt19937 random(1);
    for (HI_U8& byte : memory) byte = static_cast<HI_U8>(random());
    for (int frame = 0; frame <= kReplayThree.cntD; frame++) {
      const int spread = static_cast<int>(random() % 200) - 100;  // in thousandths
      sizes.push_back(kHalfSize + kHalfSize / 1000 * spread);
      sizes.push_back(kFullSize + kFullSize / 1000 * spread);
    }
  }
};

const ShotFrames& Shot() {
  static const ShotFrames shot;
  return shot;
}

const std::filesystem::path& FilePath() {
  static const std::filesystem::path path =
      std::filesystem::temp_directory_path() / ("lumora-filing-" + std::to_string(getpid()) + ".tmp");
  return path;
}

void RemoveFile() { std::filesystem::remove(FilePath()); }

void SaveSnap(benchmark::State& state) {
  auto ctrlSigs = std::make_unique<ControlSignals>();
  int64_t bytes = 0;
  for (auto _ : state) {
    state.PauseTiming();
    RemoveFile();
    auto en = std::make_unique<LumoVencStatus>();
    en->oriFile = fopen(FilePath().c_str(), "wb");
    state.ResumeTiming();
    for (size_t i = 0; i < Shot().sizes.size(); i++) {
      VENC_PACK_S packs[2] = {};
      packs[0].pu8Addr = packs[1].pu8Addr = const_cast<HI_U8*>(Shot().memory.data());
      packs[0].u32Len = kHeadSize;
      packs[1].u32Len = Shot().sizes[i];
      packs[1].u32Offset = kHeadSize;
      VENC_STREAM_S stream = {};
      stream.pstPack = packs;
      stream.u32PackCount = 2;
      SAMPLE_COMM_VENC_SaveSnap(&stream, en.get(), i % 2 == 0 ? VencChn1 : VencChn0, ctrlSigs.get());
    }
    state.PauseTiming();
    bytes += en->fileOffset;
    if (std::filesystem::file_size(FilePath()) != static_cast<uintmax_t>(en->fileOffset)) {
      state.SkipWithError("not all bytes were filed");
    }
    fclose(en->oriFile);
    free(en->jpgFileBuf);
    state.ResumeTiming();
  }
  state.SetBytesProcessed(bytes);
  RemoveFile();
}

void PlainWrite(benchmark::State& state) {
  int64_t bytes = 0;
  for (auto _ : state) {
    state.PauseTiming();
    RemoveFile();
    const int file = open(FilePath().c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    state.ResumeTiming();
    for (size_t i = 2; i < Shot().sizes.size(); i++) {
      if (kReplayThree.idxMap[i / 2 - 1] == -1) continue;
      if (write(file, Shot().memory.data(), Shot().sizes[i]) != Shot().sizes[i]) state.SkipWithError("short write");
      bytes += Shot().sizes[i];
    }
    state.PauseTiming();
    close(file);
    state.ResumeTiming();
  }
  state.SetBytesProcessed(bytes);
  RemoveFile();
}

BENCHMARK(SaveSnap)->Unit(benchmark::kMillisecond)->MinTime(0.05);
BENCHMARK(PlainWrite)->Unit(benchmark::kMillisecond)->MinTime(0.05);

}  // namespace

int main(int argc, char** argv) {
  g_lumoDebug = stderr;
  return RunBenchmarks(argc, argv, {{"SaveSnap", "PlainWrite", 1.1}});
}
