#include "twin/panel/shot_watch.h"

#include <bit>

namespace twin::panel {

namespace {

constexpr int kHalfPictures = 1;  // their encoder channel

}  // namespace

ShotWatch::ShotWatch(Board& board, const Watch& watch) : board_(board), watch_(watch) {
  board_.panel.OnChange([this] { PanelChanged(); });
  board_.media.Encoder(kHalfPictures)->OnTaken([this](const StoredFrame& frame, const Jpeg& jpeg) {
    Filed(frame, jpeg);
  });
}

void ShotWatch::PanelChanged() {
  const bool running = board_.panel.ShotLine();
  if (running && !running_) {
    began_ = board_.Now();
    tiles_ = {};
    exposures_.clear();
    restarts_ = 0;
    lostBefore_ = Lost();
  }
  if (!running && running_ && board_.Now() - began_ >= Panel::kShortest) shots_++;
  running_ = running;
}

// A frame of an earlier shot may still stand in the pipeline, and is pushed out by the first of this one.
void ShotWatch::Filed(const StoredFrame& frame, const Jpeg& jpeg) {
  if (frame.shot != board_.array.Shots()) return;
  if (const uint64_t restarts = watch_.Progress().restarts; restarts != restarts_) {
    restarts_ = restarts;
    for (Tile& tile : tiles_) tile.filed = 0;
  }
  Tile& tile = tiles_.at(static_cast<size_t>(frame.camera));
  tile = {jpeg, frame.bracket, ++pictures_, tile.filed | 1u << frame.bracket};
  exposures_[frame.bracket] = frame;
}

uint64_t ShotWatch::Lost() const {
  const MediaPipeline::Counts& counts = board_.media.counts();
  uint64_t underWay = 0;
  for (int layer = 0; layer < kLayers; layer++)
    underWay += board_.array.LayerStateName(layer) == std::string("sending");
  return board_.array.FramesSent() - board_.array.FramesArrived() - underWay + counts.dropped + counts.unseen;
}

// What the host has told layer 1, and what the sensors made of it as far as a frame has come.
nlohmann::json ShotWatch::ExposureSets() const {
  nlohmann::json rows = nlohmann::json::array();
  const auto sets = board_.array.Meter().Sets();
  for (size_t i = 0; i < sets.size(); i++) {
    const SceneMeter::Set& set = sets[i];
    const double shutter = (set[0] << 16 | set[1] << 8 | set[2]) / 16.0;
    const double gain = (1 << std::popcount(set[5])) * (set[6] / 128.0);
    nlohmann::json row = {{"rows", shutter}, {"frame", set[3] << 8 | set[4]}, {"gain", gain}};
    if (const auto found = exposures_.find(static_cast<int>(i)); found != exposures_.end())
      row["seconds"] = found->second.seconds;
    rows.push_back(row);
  }
  return rows;
}

nlohmann::json ShotWatch::State() const {
  nlohmann::json tiles = nlohmann::json::object();
  for (size_t camera = 0; camera < tiles_.size(); camera++) {
    const Tile& tile = tiles_[camera];
    if (tile.number > 0)
      tiles[std::to_string(camera)] = {{"number", tile.number}, {"exposure", tile.exposure}, {"filed", tile.filed}};
  }
  const Watch::Replay replay = watch_.Progress();
  const bool running = board_.panel.ShotRunning();
  return {{"number", shots_ + running},
          {"running", running},
          {"frames", replay.frames},
          {"total", replay.total},
          {"restarts", replay.restarts},
          {"lost", Lost() - lostBefore_},
          {"sets", ExposureSets()},
          {"average", board_.array.MeasuredAverage()},
          {"tiles", std::move(tiles)},
          {"layers", {board_.array.LayerStateName(0), board_.array.LayerStateName(1), board_.array.LayerStateName(2)}}};
}

}  // namespace twin::panel
