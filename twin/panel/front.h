// The board in a browser: a page that shows it as it is and lets a person do to it what the console can.
//
// Pages are sent the tables once, then the differences of the state and new lines of the journal, at most 20 times a
// second each and only as fast as they take them: a slow page skips states and never holds the board up. What a page
// does comes back as a console command, which is carried out between two events of the board.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "twin/console/console.h"
#include "twin/panel/journal.h"
#include "twin/panel/recorder.h"
#include "twin/panel/shelf.h"
#include "twin/panel/shot_watch.h"
#include "twin/panel/web_server.h"

namespace twin::panel {

class Front {
 public:
  // All but the text outlive it. `options`: see Recorder. Throws std::runtime_error if the port is taken.
  Front(Console& console, Journal& journal, const std::string& options, uint16_t port);
  ~Front();
  Front(const Front&) = delete;
  Front& operator=(const Front&) = delete;

  // "http://127.0.0.1:8090"
  std::string Address() const { return "http://127.0.0.1:" + std::to_string(server_.Port()); }
  // Lets the board run, and carries out what pages want, until `ended` or the console quits.
  void Run(const std::function<bool()>& ended);

 private:
  struct Page {
    std::shared_ptr<Link> link;
    std::shared_ptr<const nlohmann::json> sent = {};  // null: not even the tables
    uint64_t journal = 0;                             // the last entry that it has
    std::string watched = {};                         // a device of wires.h
  };
  Answer Get(const std::string& target);
  void Opened(const std::shared_ptr<Link>& link);
  void Closed(const std::shared_ptr<Link>& link);
  void Said(Link& link, const std::string& text);
  void Tick();
  void Serve(Page& page, const std::shared_ptr<const nlohmann::json>& state);
  nlohmann::json Time();
  void CarryOut();
  void CarryOut(const std::string& line);

  Console& console_;
  Board& board_;
  Journal& journal_;
  Recorder recorder_;
  ShotWatch shot_;
  Shelf shelf_;
  WebServer server_;
  const std::string program_;
  std::deque<std::string> wanted_;
  std::vector<Page> pages_;
  int ticker_;  // a timer of the host; runs while there are pages
  uint64_t ticks_ = 0;
  size_t complaints_ = 0;
  nlohmann::json time_;
  std::chrono::nanoseconds busy_{0};  // processor time of this process when the load was measured last
  int load_ = 0;                      // percent of one processor
};

}  // namespace twin::panel
