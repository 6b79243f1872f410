#include "tools/mutate/build_tree.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <mutex>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>

namespace mutate {

namespace fs = std::filesystem;

namespace {

std::string OutputOf(const std::string& command) {
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) throw std::runtime_error("cannot run " + command);
  std::string text;
  for (int c; (c = fgetc(pipe)) != EOF;) text += static_cast<char>(c);
  if (pclose(pipe) != 0) throw std::runtime_error("failed: " + command);
  return text;
}

// Replaces `from`, which stands there once as a word of its own.
void Replace(std::string& text, const std::string& from, const std::string& to) {
  const size_t at = (text + " ").find(" " + from + " ");
  if (at == std::string::npos) throw std::runtime_error("no " + from + " in " + text);
  text.replace(at + 1, from.size(), to);
}

std::string After(const std::string& command, const std::string& option) {
  const size_t start = command.find(" " + option + " ") + option.size() + 2;
  return command.substr(start, command.find(' ', start) - start);
}

bool OfApplication(const std::string& object) { return object.find("lumora_app.dir") != std::string::npos; }

bool OfLibrary(const std::string& object) {
  return OfApplication(object) || object.find("twin_board.dir") != std::string::npos ||
         object.find("lumora_shot.dir") != std::string::npos;
}

}  // namespace

BuildTree::BuildTree(fs::path source, fs::path build) : source_(std::move(source)), build_(std::move(build)) {
  std::ifstream commands(build_ / "compile_commands.json");
  for (const auto& entry : nlohmann::json::parse(commands)) {
    const std::string command = entry.at("command");
    compile_[After(command, "-o")] = command;
  }
  // "objcopy OPTIONS library other": the options are what each object goes through on its way to the twin.
  std::istringstream last(OutputOf("ninja -C '" + build_.string() + "' -t commands liblumora_on_twin.a | tail -n 1"));
  bool inside = false;
  for (std::string word; last >> word;) {
    if (inside && word.ends_with("liblumora_app.a")) break;
    inside = inside || word.ends_with("objcopy");
    if (inside) throughTheDoors_ += word + " ";
  }
  std::istringstream deps(OutputOf("ninja -C '" + build_.string() + "' -t deps"));
  std::string object;
  for (std::string line; std::getline(deps, line);) {
    if (line.empty()) continue;
    if (line[0] != ' ') {
      object = line.substr(0, line.find(':'));
    } else if (const std::string path = (build_ / line.substr(4)).lexically_normal();
               path.starts_with(source_.string() + "/")) {  // a compiler cache may have made it relative
      usedBy_[path.substr(source_.string().size() + 1)].push_back(object);
    }
  }
}

const BuildTree::Program& BuildTree::Of(const std::string& program) const {
  static std::mutex mutex;
  const std::scoped_lock lock(mutex);
  const auto [entry, isNew] = programs_.try_emplace(program);
  if (isNew) {
    std::istringstream lines(OutputOf("ninja -C '" + build_.string() + "' -t commands bin/" + program));
    std::string last;
    for (std::string line; std::getline(lines, line);) last = line;
    const std::string begin = ": && ";
    last = last.substr(last.find(begin) + begin.size());
    entry->second.link = last.substr(0, last.find(" && "));
    std::istringstream words(entry->second.link);
    for (std::string word; words >> word;) {
      if (word.ends_with(".o")) entry->second.objects.push_back(word);
    }
  }
  return entry->second;
}

bool BuildTree::Has(const std::string& file, const std::string& program) const {
  const auto users = usedBy_.find(file);
  return users != usedBy_.end() && std::ranges::any_of(users->second, [&](const std::string& object) {
           return OfLibrary(object) || std::ranges::count(Of(program).objects, object) > 0;
         });
}

BuildTree::Variant::Variant(const BuildTree& tree, fs::path place, const std::string& file, const std::string& text,
                            const std::string& options)
    : tree_(tree), place_(std::move(place)), file_(file), options_(options.empty() ? "" : " " + options) {
  fs::remove_all(place_);
  const fs::path changed = place_ / "source" / file;
  fs::create_directories(changed.parent_path());
  std::ofstream(changed, std::ios::binary) << text;
}

bool BuildTree::Variant::Run(const std::string& command) {
  const fs::path log = place_ / "messages.txt";
  const bool well =
      std::system(("cd '" + tree_.build_.string() + "' && " + command + " >'" + log.string() + "' 2>&1").c_str()) == 0;
  if (!well) {
    std::ifstream text(log);
    messages_.assign(std::istreambuf_iterator<char>(text), {});
  }
  return well;
}

// The changed file's directory is looked at first, so headers are found there too.
bool BuildTree::Variant::Compile(const std::string& object) {
  const std::string target = (place_ / ("object" + std::to_string(made_.size()) + ".o")).string();
  std::string command = tree_.compile_.at(object);
  const std::string source = After(command, "-c"), changed = (place_ / "source" / file_).string();
  Replace(command, object, target);
  if (source == (tree_.source_ / file_).string()) Replace(command, source, changed);
  command.insert(command.find(' '), " -I" + (place_ / "source").string());
  // A change may leave a name unused: that is no fault of the change.
  command += " -Wno-error" + options_;
  if (OfApplication(object)) command += " -g0";
  if (!Run(command)) return false;
  if (OfApplication(object) && !Run(tree_.throughTheDoors_ + target)) {
    return false;
  }
  made_[object] = target;
  return true;
}

fs::path BuildTree::Variant::Make(const std::string& name) {
  const Program& program = tree_.Of(name);
  const fs::path target = place_ / name;
  std::string link = program.link, first;
  Replace(link, "bin/" + name, target.string());
  const auto users = tree_.usedBy_.find(file_);
  if (users == tree_.usedBy_.end()) throw std::runtime_error(file_ + " is part of nothing that was built");
  for (const std::string& object : users->second) {
    const bool own = std::ranges::count(program.objects, object) > 0;
    if (!own && !OfLibrary(object)) continue;
    if (!made_.contains(object) && !Compile(object)) return {};
    if (own) {
      Replace(link, object, made_[object]);
    } else {
      first += " " + made_[object];
    }
  }
  // What is named before the libraries takes the place of what they have under the same names.
  Replace(link, "-o", first + options_ + " -Wl,--strip-debug -o");
  return Run(link) ? target : fs::path();
}

}  // namespace mutate
