// What a panorama costs: its processor time beside the decoding of the same pictures and beside the usual programs
// (nona and enblend, where they are installed), its memory, and how both grow with its width.
//   panorama_bench [--benchmark_filter=REGEX]
// The shot is made of the twin's room. Each measurement runs in a process of its own.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <regex>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/rendered_shot.h"
#include "tools/lumora-shot/pictures.h"
#include "tools/lumora-shot/shot_file.h"

namespace {

constexpr int repetitions = 3;  // the median counts

struct Cost {
  double cpu = 0, real = 0;  // seconds
  double peak = 0;           // MB
};

// Runs `work` in a child. Throws if it fails.
Cost InOwnProcess(const std::function<void()>& work) {
  std::fflush(nullptr);
  const auto start = std::chrono::steady_clock::now();
  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("no process");
  if (child == 0) {
    const int nowhere = open("/dev/null", O_WRONLY);
    dup2(nowhere, STDOUT_FILENO);
    try {
      work();
      _exit(0);
    } catch (const std::exception& error) {
      std::fprintf(stderr, "%s\n", error.what());
      _exit(1);
    }
  }
  int status = 0;
  rusage usage;
  wait4(child, &status, 0, &usage);
  if (status != 0) throw std::runtime_error("the measurement failed");
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
  };
  return {seconds(usage.ru_utime) + seconds(usage.ru_stime),
          std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(),
          static_cast<double>(usage.ru_maxrss) / 1000};
}

Cost Run(const std::vector<std::string>& command) {
  return InOwnProcess([&] {
    std::vector<char*> arguments;
    for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    throw std::runtime_error("cannot run " + command[0]);
  });
}

Cost Median(const std::function<Cost()>& measure) {
  std::array<Cost, repetitions> costs;
  for (Cost& cost : costs) cost = measure();
  std::sort(costs.begin(), costs.end(), [](const Cost& a, const Cost& b) { return a.cpu < b.cpu; });
  return costs[repetitions / 2];
}

bool IsInstalled(const std::string& program) {
  return std::system(("command -v " + program + " >/dev/null 2>&1").c_str()) == 0;
}

class Bench {
 public:
  explicit Bench(const std::string& filter) : wanted_(filter) {}

  void All() {
    if (!Named("Panorama")) return;
    support::MadeShot made;
    made.vertexX = made.vertexY = made.compassValue = 0;
    support::WriteRenderedShot(shot_, made, {0, 1, 2}, {}, 0.6);

    const Cost single = Panorama(8192, {"--exposure", "1"});
    Tell("PanoramaOfOneExposure, 8192 wide", single, 1000);
    const Cost decoding = Median([&] { return InOwnProcess([&] { Decode(); }); });
    TellRatio("PanoramaOfOneExposure / decoding its 25 pictures", single.cpu / decoding.cpu, 6);
    const Cost fused = Panorama(8192, {});
    Tell("PanoramaOfTheBracket, 8192 wide", fused, 1000);
    TellRatio("PanoramaOfTheBracket / PanoramaOfOneExposure", fused.cpu / single.cpu, 3);
    const Cost half = Panorama(4096, {"--exposure", "1"});
    TellRatio("PanoramaOfOneExposure, 8192 / 4096 wide", single.cpu / half.cpu, 4);
    Tell("PanoramaOfTheBracket, 13312 wide", Panorama(13312, {}, 1), 2000);
    if (IsInstalled("nona") && IsInstalled("enblend"))
      TellRatio("PanoramaOfOneExposure / nona and enblend --no-optimize", single.cpu / UsualPrograms(), 0.1);
    else
      std::printf("no nona and enblend: the usual programs are not measured\n");
  }

 private:
  bool Named(const char* name) const { return std::regex_search(name, wanted_); }

  Cost Panorama(int width, const std::vector<std::string>& options, int times = repetitions) const {
    std::vector<std::string> command = {LUMORA_SHOT, "panorama",           shot_, folder_ / "panorama.jpg",
                                        "--width",   std::to_string(width)};
    command.insert(command.end(), options.begin(), options.end());
    return times == 1 ? Run(command) : Median([&] { return Run(command); });
  }

  void Decode() const {
    const shot::File file(shot_);
    for (int camera = 0; camera < 25; camera++)
      shot::DecodeRgb(file.Jpeg(shot::Place{shot::PictureSize::Full, camera, 1}));
  }

  // Processor seconds for the same pictures, at the same width, with the project that `lumora-shot hugin` writes.
  double UsualPrograms() const {
    const std::string directory = folder_ / "hugin", project = directory + "/bench.pto";
    Run({LUMORA_SHOT, "hugin", shot_, directory});
    std::vector<std::string> nona = {"nona", "-m", "TIFF_m", "-o", directory + "/warped"};
    int picture = 0;
    std::ifstream written(directory + "/shot.pto");
    std::ofstream changed(project);
    for (std::string line; std::getline(written, line);) {
      if (line.starts_with("p ")) line = std::regex_replace(line, std::regex(" w\\d+ h\\d+"), " w8192 h4096");
      if (line.starts_with("i ")) {
        if (line.find("_exp1_") != std::string::npos)
          for (const std::string& word : {std::string("-i"), std::to_string(picture)}) nona.push_back(word);
        picture++;
      }
      changed << line << '\n';
    }
    changed.close();
    nona.push_back(project);
    const Cost warping = Run(nona);
    std::vector<std::string> enblend = {"enblend", "--verbose=0", "--no-optimize",
                                        "-w",      "-o",          directory + "/joined.tif"};
    const auto options = static_cast<std::ptrdiff_t>(enblend.size());
    for (const auto& file : std::filesystem::directory_iterator(directory))
      if (file.path().filename().string().starts_with("warped")) enblend.push_back(file.path());
    if (enblend.size() != static_cast<size_t>(options) + 25) throw std::runtime_error("nona did not warp 25 pictures");
    std::sort(enblend.begin() + options, enblend.end());
    const Cost blending = Run(enblend);
    std::printf("nona: %.1f s of processor time; enblend: %.1f s, %.0f MB\n", warping.cpu, blending.cpu, blending.peak);
    return warping.cpu + blending.cpu;
  }

  static void Tell(const char* name, const Cost& cost, double mostMemory) {
    std::printf("%s: %.2f s of processor time, %.2f s for who waits; peak memory %.0f MB, aim under %.0f%s\n", name,
                cost.cpu, cost.real, cost.peak, mostMemory, cost.peak < mostMemory ? "" : "  MISSED");
    std::fflush(stdout);
  }
  static void TellRatio(const char* name, double ratio, double aim) {
    std::printf("%s: %.3f, aim at most %g%s\n", name, ratio, aim, ratio <= aim ? "" : "  MISSED");
    std::fflush(stdout);
  }

  std::regex wanted_;
  support::TestFolder folder_;
  const std::string shot_ = folder_ / "shot.ori";
};

}  // namespace

int main(int argc, char** argv) {
  std::string filter = ".*";
  const std::string option = "--benchmark_filter=";
  for (int i = 1; i < argc; i++) {
    if (!std::string(argv[i]).starts_with(option)) {
      std::fprintf(stderr, "not understood: %s\n", argv[i]);
      return 2;
    }
    filter = argv[i] + option.size();
  }
  try {
    Bench(filter).All();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 2;
  }
  return 0;
}
