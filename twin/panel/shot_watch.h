// The shot as it happens: what of each camera has reached the file, with the newest half picture of each.
#pragma once

#include <array>
#include <cstdint>
#include <nlohmann/json.hpp>

#include "twin/board.h"
#include "twin/console/watch.h"

namespace twin::panel {

class ShotWatch {
 public:
  // Both outlive it, and it the board's last moment.
  ShotWatch(Board& board, const Watch& watch);

  struct Tile {
    Jpeg jpeg;            // null: none yet in this shot
    int exposure = -1;    // of it
    uint64_t number = 0;  // counts the pictures of all cameras, from 1: another number, another picture
    unsigned filed = 0;   // exposures that are in the file, a bit each
  };
  const std::array<Tile, kCameras>& Tiles() const { return tiles_; }

  // For the page, see state.h.
  nlohmann::json State() const;

 private:
  void PanelChanged();
  void Filed(const StoredFrame& frame, const Jpeg& jpeg);
  nlohmann::json ExposureSets() const;

  Board& board_;
  const Watch& watch_;
  bool running_ = false;  // the line of the shot
  Time began_{0};
  std::array<Tile, kCameras> tiles_;
  std::map<int, StoredFrame> exposures_;  // a frame of each, by exposure
  uint64_t pictures_ = 0, shots_ = 0;
  uint64_t lostBefore_ = 0;  // frames that had not come when the shot began
  uint64_t restarts_ = 0;
  uint64_t Lost() const;
};

}  // namespace twin::panel
