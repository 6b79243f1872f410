// lumora-shot: looks into shot files from the command line.
#include <CLI/CLI.hpp>
#include <cstdio>

#include "tools/lumora-shot/verify.h"

namespace {

constexpr int good = 0;
constexpr int bad = 1;
constexpr int noAnswer = 2;  // wrong use, or a file that cannot be read or written

int VerifyAll(const std::vector<std::string>& paths) {
  int result = good;
  for (const std::string& path : paths) {
    try {
      const shot::File file(path);
      const auto findings = shot::Verify(file);
      const bool fault = shot::HasFault(findings);
      std::printf("%s: %s\n%s", path.c_str(), fault ? "BAD" : "good", shot::Text(findings).c_str());
      if (fault) result = std::max(result, bad);
    } catch (const shot::CannotRead& error) {
      std::fprintf(stderr, "lumora-shot: %s\n", error.what());
      result = noAnswer;
    }
  }
  return result;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Looks into the shot files of the camera.", "lumora-shot");
  app.require_subcommand(1);

  std::vector<std::string> paths;
  CLI::App* verify = app.add_subcommand("verify", "Judges shot files: says what is wrong and where");
  verify->add_option("FILE", paths, "Shot files")->required();

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? good : noAnswer;
  }
  return VerifyAll(paths);
}
