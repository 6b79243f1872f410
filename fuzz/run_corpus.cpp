// Runs a fuzz target once over each file of the directories that are named. For every compiler; without a search.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
  int runs = 0;
  for (int i = 1; i < argc; i++) {
    for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
      std::ifstream file(entry.path(), std::ios::binary);
      const std::string input{std::istreambuf_iterator<char>(file), {}};
      LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(input.data()), input.size());
      runs++;
    }
  }
  std::printf("%d inputs\n", runs);
  return runs > 0 ? 0 : 2;
}
