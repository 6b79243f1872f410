#include "twin/console/script_options.h"

#include <fstream>
#include <sstream>

#include "twin/console/words.h"

namespace twin {

std::vector<std::string> OptionsOfScript(const std::string& path) {
  std::ifstream script(path);
  std::string line;
  std::getline(script, line);
  Words words = SplitLine(line);
  if (words.empty() || words[0] != "options") return {};
  words.erase(words.begin());
  return words;
}

std::string OptionsFor(const BoardOptions& board) {
  std::ostringstream text;
  text.precision(17);
  text << "--pace free --seed " << board.seed << " --pictures "
       << (board.pictures == Pictures::Rendered ? "rendered" : "marked") << " --light " << board.light
       << " --disk-size " << board.diskKBs;
  if (!board.scene.empty()) text << " --scene \"" << board.scene.string() << '"';
  if (!board.coProcessor) text << " --no-co-processor";
  const char* separator = " --usb ";
  for (const UsbAdapter adapter : board.usb) {
    for (const UsbAdapterKind& kind : kUsbAdapters) {
      if (kind.adapter == adapter) text << std::exchange(separator, ",") << kind.word;
    }
  }
  return text.str();
}

}  // namespace twin
