// The build directory, asked how it makes a program, to make it again with one source file changed: only what that
// file is part of is compiled, only the program is linked, and the build itself stays as it is.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace mutate {

class BuildTree {
 public:
  // `build` has been built; its generator is Ninja.
  BuildTree(std::filesystem::path source, std::filesystem::path build);

  // Whether `file`, a source or a header, is part of `program`.
  bool Has(const std::string& file, const std::string& program) const;

  // A changed source: what is compiled of it, for one program after the other.
  class Variant {
   public:
    // `place` is a directory of its own; what stands there is removed. `text` takes the place of `file`; `options` are
    // for compiler and linker.
    Variant(const BuildTree& tree, std::filesystem::path place, const std::string& file, const std::string& text,
            const std::string& options = "");
    // Makes `program`, a name in the build's bin/. Returns where it is; empty if it does not build, with Messages.
    std::filesystem::path Make(const std::string& program);
    const std::string& Messages() const { return messages_; }

   private:
    bool Run(const std::string& command);
    bool Compile(const std::string& object);

    const BuildTree& tree_;
    std::filesystem::path place_;
    std::string file_, options_;
    std::string messages_;
    std::map<std::string, std::string> made_;  // object of the build: the one that takes its place
  };

 private:
  struct Program {
    std::string link;                  // its command
    std::vector<std::string> objects;  // those that it names itself, not through a library
  };
  const Program& Of(const std::string& program) const;

  std::filesystem::path source_, build_;
  std::string throughTheDoors_;                             // the command that leads an object through the doors
  std::map<std::string, std::string> compile_;              // command by object
  std::map<std::string, std::vector<std::string>> usedBy_;  // objects by source or header
  mutable std::map<std::string, Program> programs_;
};

}  // namespace mutate
