// The finished shots on the disk, each judged and, if asked for, joined to a panorama, by lumora-shot in the
// background.
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "twin/board.h"
#include "twin/panel/jobs.h"

namespace twin::panel {

class Shelf {
 public:
  explicit Shelf(Board& board);  // outlives it
  ~Shelf();                      // removes the panoramas
  Shelf(const Shelf&) = delete;
  Shelf& operator=(const Shelf&) = delete;

  // Looks at the disk; what is new there will be judged.
  void Refresh();
  // Does nothing for a shot that is not there, or whose panorama is there or being made.
  void MakePanorama(const std::string& name);

  // By the name with its extension, as State has it; nothing if there is none.
  std::optional<std::filesystem::path> Shot(const std::string& name) const;
  std::optional<std::filesystem::path> Panorama(const std::string& name) const;
  std::shared_ptr<const std::vector<uint8_t>> Thumbnail(const std::string& name) const;

  // For the page: by name {size, state, finding, panorama, made}. state: checking, good, bad. panorama: none, waiting,
  // making, ready, failed; `made` tells how far.
  nlohmann::json State() const;

 private:
  struct Entry {
    uintmax_t size = 0;
    std::filesystem::file_time_type changed = {};
    uint64_t ticket = 0;  // of the file as it is: what is told of an earlier one is dropped
    std::string state = "checking", finding = {}, panorama = "none", made = {};
  };
  void Judge(const std::string& name, uint64_t ticket);
  Entry* Present(const std::string& name, uint64_t ticket);

  Board& board_;
  const std::string program_;  // lumora-shot, beside this program
  std::filesystem::path place_;
  std::map<std::string, Entry> entries_;
  uint64_t tickets_ = 0;
  Jobs jobs_;
};

}  // namespace twin::panel
