// lumora-shot: looks into shot files from the command line.
#include <CLI/CLI.hpp>
#include <cstdio>

#include "tools/lumora-shot/info.h"
#include "tools/lumora-shot/sheet.h"
#include "tools/lumora-shot/verify.h"
#include "tools/panorama/command.h"
#include "tools/panorama/hugin.h"
#include "tools/photos/extract.h"
#include "tools/rescue/advice.h"
#include "tools/rescue/command.h"

namespace {

// What the program's result tells.
constexpr int good = 0;
constexpr int bad = 1;       // something is wrong with the file
constexpr int noAnswer = 2;  // wrong use, or a file that cannot be read or written

int Complain(const std::exception& error) {
  std::fprintf(stderr, "lumora-shot: %s\n", error.what());
  return noAnswer;
}

// One wrong number can put every entry of the index in the wrong; a person needs the first few.
constexpr size_t shownFindings = 20;

void PrintFindings(std::vector<shot::Finding> findings, bool all) {
  const size_t hidden = all || findings.size() <= shownFindings ? 0 : findings.size() - shownFindings;
  findings.resize(findings.size() - hidden);
  std::fputs(shot::Text(findings).c_str(), stdout);
  if (hidden > 0) std::printf("and %zu more; --all tells them\n", hidden);
}

int VerifyAll(const std::vector<std::string>& paths, bool all) {
  int result = good;
  for (const std::string& path : paths) {
    try {
      const shot::File file(path);
      const auto findings = shot::Verify(file);
      const bool fault = shot::HasFault(findings);
      std::printf("%s: %s\n", path.c_str(), fault ? "BAD" : "good");
      PrintFindings(findings, all);
      if (!fault) continue;
      if (const std::string advice = rescue::AdviceFor(file); !advice.empty()) std::printf("%s\n", advice.c_str());
      result = std::max(result, bad);
    } catch (const shot::CannotRead& error) {
      result = Complain(error);
    }
  }
  return result;
}

int Info(const std::string& path, bool json) {
  const shot::File file(path);
  const auto findings = shot::Verify(file, shot::Depth::Structure);
  // A path may hold bytes that are no text; JSON gets a mark in their place.
  const std::string text =
      json ? shot::InfoJson(file, findings).dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n"
           : shot::InfoText(file, findings);
  std::fputs(text.c_str(), stdout);
  return shot::HasFault(findings) ? bad : good;
}

int Extract(const std::string& path, const std::string& directory, const shot::Choice& choice, bool plain) {
  const shot::File file(path);
  const shot::Shot& shot = file.Get();
  const auto tooHigh = [&](const char* what, const std::optional<int>& chosen, int count) {
    if (!chosen || count == 0 || *chosen < count) return false;
    std::fprintf(stderr, "lumora-shot: --%s %d: this shot has %ss 0 to %d\n", what, *chosen, what, count - 1);
    return true;
  };
  if (tooHigh("camera", choice.camera, shot.cameras) || tooHigh("exposure", choice.exposure, shot.exposures))
    return noAnswer;
  const shot::Extracted extracted = shot::Extract(file, directory, choice, plain);
  std::printf("%zu files in %s\n", extracted.files.size(), directory.c_str());
  shot::TellMissing(path, extracted.missing);
  return extracted.missing.empty() ? good : bad;
}

int Hugin(const std::string& path, const std::string& directory, const panorama::View& view) {
  const shot::File file(path);
  const panorama::HuginProjects projects = panorama::WriteHugin(file, directory, view);
  shot::TellMissing(path, projects.missing);
  if (projects.pictures == 0) return bad;
  std::printf("%zu pictures in %s\n", projects.pictures, directory.c_str());
  if (projects.placed.empty())
    std::fprintf(stderr, "lumora-shot: %s: no usable calibration: the places are to be found by features\n",
                 path.c_str());
  else
    std::printf("every picture in its place: %s\n", projects.placed.c_str());
  std::printf("to be placed by features:   %s\n", projects.unplaced.c_str());
  return projects.missing.empty() && !projects.placed.empty() ? good : bad;
}

void AddView(CLI::App* command, panorama::View& view) {
  command->add_option("--yaw", view.yaw, "Degrees by which the middle looks to the right of north, or of the front")
      ->check(CLI::Range(-360.0, 360.0));
  command->add_flag("!--no-level", view.level, "Leave the camera's tilt as it was");
}

int Sheet(const std::string& path, const std::string& out) {
  const shot::File file(path);
  const shot::Rgb page = shot::DrawSheet(file);
  shot::WriteWhole(out, shot::EncodeRgb(page, 90));
  std::printf("%s: %d x %d\n", out.c_str(), page.width, page.height);
  return file.Get().entries.empty() ? bad : good;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Looks into the shot files (\"ori\", \"dwo\") of the camera.", "lumora-shot");
  app.require_subcommand(1);
  app.footer(
      "Exit: 0 good, 1 something is wrong with the file, 2 wrong use or a file that cannot be read or written.\n"
      "`lumora-shot COMMAND --help` tells more of a command.");

  std::string path, target;
  std::vector<std::string> paths;

  CLI::App* info = app.add_subcommand("info", "Tells what is in a shot: record, exposures, sections, pictures");
  bool json = false;
  info->add_option("FILE", path, "Shot file")->required();
  info->add_flag("--json", json, "All of it, each record word and index entry, as JSON");

  CLI::App* verify = app.add_subcommand(
      "verify", "Judges shots: structure, record, index, and every JPEG decoded. Says what is wrong and where");
  verify->add_option("FILE", paths, "Shot files")->required();
  bool all = false;
  verify->add_flag("--all", all, "Tell everything that is found, not the first 20 only");

  CLI::App* extract = app.add_subcommand("extract", "Writes the pictures of a shot out as JPEG files");
  shot::Choice choice;
  std::string size;
  extract->add_option("FILE", path, "Shot file")->required();
  extract->add_option("DIR", target, "Where to; made if it is not there")->required();
  extract->add_option("--camera", choice.camera, "Only this camera, from 0")->check(CLI::NonNegativeNumber);
  extract->add_option("--exposure", choice.exposure, "Only this step of the bracket, from 0")
      ->check(CLI::NonNegativeNumber);
  extract->add_option("--size", size, "Only this size")->check(CLI::IsMember({"half", "full"}));

  bool plain = false;
  extract->add_flag("--plain", plain, "Byte for byte as the shot has them, without EXIF");

  CLI::App* hugin =
      app.add_subcommand("hugin", "Writes the full pictures and projects of them for the panorama program Hugin");
  panorama::View view;
  hugin->add_option("FILE", path, "Shot file")->required();
  hugin->add_option("DIR", target, "Where to; made if it is not there")->required();
  AddView(hugin, view);

  CLI::App* sheet = app.add_subcommand("sheet", "Draws all cameras and exposures of a shot on one page");
  sheet->add_option("FILE", path, "Shot file")->required();
  sheet->add_option("OUT.jpg", target, "The page to write")->required();

  CLI::App* panorama = app.add_subcommand("panorama", "Joins the pictures of a shot to one of all around");
  panorama::Order order;
  panorama->add_option("FILE", order.shot, "Shot file")->required();
  panorama->add_option("OUT", order.out, "What to write: .jpg, or .exr or .hdr for the light itself; equirectangular")
      ->required();
  panorama->add_option("--exposure", order.exposure, "This step of the bracket alone, from 0; else all of them")
      ->check(CLI::NonNegativeNumber);
  panorama->add_option("--width", order.width, "Pixels all round: a multiple of 128; 8192 if the lenses resolve it");
  AddView(panorama, order.view);
  panorama->add_flag("--progress", order.progress, "Tell on standard error how far it is, a line a camera");
  panorama->add_flag("--crop", order.crop, "Leave out the rows that are not seen all round");

  CLI::App* rescue = app.add_subcommand(
      "rescue", "Makes a whole shot of what a power cut or a broken disk left of one; the source stays as it is");
  rescue::Order wreck;
  rescue->add_option("FILE", wreck.source, "What is left of a shot: a \"tmp\", or a damaged or cut file")->required();
  rescue->add_option("OUT", wreck.out, "The shot file to write, which must not be there yet")->required();
  rescue->add_flag("--scan", wreck.scan,
                   "FILE is a disk, or its image: searches all of it for shots and pictures, and writes them into the "
                   "directory OUT");
  rescue->add_flag("--list", wreck.list,
                   "Tell of each picture whether its place is certain or doubtful, or it is lost");
  rescue->add_flag("--certain", wreck.certainOnly, "Leave pictures out whose place is doubtful");
  rescue->footer(
      "Exit: 0 all pictures are there and certain, 1 some, 2 none, or a file that cannot be read or written.");

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? good : noAnswer;
  }
  if (!size.empty()) choice.size = size == "full" ? shot::PictureSize::Full : shot::PictureSize::Half;
  try {
    if (*info) return Info(path, json);
    if (*extract) return Extract(path, target, choice, plain);
    if (*hugin) return Hugin(path, target, view);
    if (*sheet) return Sheet(path, target);
    if (*panorama) return panorama::Make(order);
    if (*rescue) return rescue::Run(wreck);
    return VerifyAll(paths, all);
  } catch (const std::exception& error) {
    return Complain(error);
  }
}
