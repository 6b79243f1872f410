// Who comes to the camera besides the one who presses its button: a phone on its network, and the wireless remote. Each
// goes through what it can ask for. While things break, no answer need come; what comes must not be wrong.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <set>
#include <string>

#include "twin/board.h"

namespace campaign {

// Called with a sentence for each thing that must not be.
using Tell = std::function<void(const std::string& find)>;

class Phone {
 public:
  // `name`, without an extension, of a shot that lies on the disk.
  Phone(twin::Board& board, Tell tell, std::string name);

  // The list, the shot and its parts, time and settings, a new firmware, a picture of one camera, a shot and its
  // deletion.
  void Talk();
  // Asks for a shot with its raw frames. False if none begins.
  bool AsksForRaw();
  // Whether the list comes, and holds the shot of this name.
  bool Lists(const std::string& name);
  bool HasDeleted(const std::filesystem::path& shot) const { return deleted_.contains(shot); }
  // A firmware on the disk that waits for the next start is the one that was sent, whole.
  void LookAtFirmware();

 private:
  std::optional<std::string> Ask(uint16_t port, const std::string& text);
  std::optional<std::string> Get(const std::string& target, uint16_t port = 8080);
  void LookAtFile(const std::string& body);

  twin::Board& board_;
  Tell tell_;
  const std::string name_, firmware_;
  std::set<std::filesystem::path> deleted_;
};

class Remote {
 public:
  Remote(twin::Board& board, Tell tell);
  void Talk();      // status, a shot by hand, one on a tripod, status
  bool Answered();  // whether a question for the status is

 private:
  void Send(char command);

  twin::Board& board_;
  Tell tell_;
};

// Until a shot that somebody has asked for is over; one that does not begin was refused.
void AwaitShot(twin::Board& board, const Tell& tell, twin::Duration limit);

}  // namespace campaign
