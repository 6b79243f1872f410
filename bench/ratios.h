// Prints benchmarks as ratios against yardsticks of the same run: the one figure that means something on any machine.
#pragma once

#include <string>
#include <vector>

struct Ratio {
  std::string measured;  // names of benchmarks
  std::string yardstick;
  double aim;                                      // the ratio should not pass this
  enum class Time { Real, Cpu } time = Time::Cpu;  // processor time means most on a machine that is shared
};

// Runs all benchmarks several times in random order, and prints the ratio of the medians of each pair. Returns a
// program's exit status: 0, or 2 if the command line or a benchmark was wrong. A missed aim is told, not punished.
int RunBenchmarks(int argc, char** argv, const std::vector<Ratio>& ratios);
