#include "tools/mutate/reached.h"

#include <fstream>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <vector>

#include "tools/mutate/mutant.h"

namespace mutate {

namespace fs = std::filesystem;

namespace {

struct Function {
  size_t first, last;
};

}  // namespace

std::function<bool(size_t line)> Reached(const BuildTree& tree, const fs::path& place, const fs::path& source,
                                         const std::string& file, const std::string& program,
                                         const std::function<void(const fs::path&)>& run) {
  BuildTree::Variant variant(tree, place, file, ReadText(source / file), "--coverage");
  const fs::path counting = variant.Make(program);
  if (counting.empty()) throw std::runtime_error(file + " does not build with --coverage: " + variant.Messages());
  run(counting);

  std::map<size_t, long> counts;  // by line
  std::vector<Function> functions;
  const std::string command = "cd '" + place.string() +
                              "' && for c in *.gcda; do [ ! -e \"$c\" ] || gcov --json-format --stdout \"$c\"; done "
                              ">counts.json";
  if (std::system(command.c_str()) != 0) throw std::runtime_error(file + ": gcov has failed");
  std::ifstream reports(place / "counts.json");
  for (std::string report; std::getline(reports, report);) {
    const auto json = nlohmann::json::parse(report);
    for (const auto& counted : json.at("files")) {
      if (!counted.at("file").get<std::string>().ends_with(file)) continue;
      for (const auto& function : counted.at("functions"))
        functions.push_back({function.at("start_line"), function.at("end_line")});
      for (const auto& line : counted.at("lines")) counts[line.at("line_number")] += line.at("count").get<long>();
    }
  }
  fs::remove_all(place);
  if (counts.empty()) return [](size_t) { return false; };
  return [counts, functions](size_t line) {
    for (const Function& function : functions) {
      if (line < function.first || line > function.last) continue;
      const auto after = counts.upper_bound(line);
      return after != counts.begin() && std::prev(after)->first >= function.first && std::prev(after)->second > 0;
    }
    return true;
  };
}

}  // namespace mutate
