#include "twin/panel/front.h"

#include <poll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <ctime>

#include "twin/panel/merge_diff.h"
#include "twin/panel/page_files.h"
#include "twin/panel/state.h"
#include "twin/panel/wires.h"

namespace twin::panel {

using nlohmann::json;

namespace {

constexpr std::chrono::milliseconds kTick{50};
constexpr uint64_t kTicksASecond = 20;
constexpr Duration kSlice = 1h, kStanding = 20ms;
constexpr uint64_t kMostLines = 300;  // of the journal in one message
constexpr size_t kMostWanted = 200;

std::string ProgramNumber() {
  return std::to_string(getpid()) + '-' + std::to_string(std::chrono::system_clock::now().time_since_epoch().count());
}

std::chrono::nanoseconds ProcessorTime() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

void SetTimer(int timer, std::chrono::milliseconds period) {
  const timespec every{0, static_cast<long>(std::chrono::nanoseconds(period).count())};
  const itimerspec setting{every, every};
  timerfd_settime(timer, 0, &setting, nullptr);
}

double Seconds(Duration duration) { return static_cast<double>(duration / 1ms) / 1e3; }

}  // namespace

Front::Front(Console& console, Journal& journal, const std::string& options, uint16_t port)
    : console_(console),
      board_(console.board),
      journal_(journal),
      recorder_(console.board, options),
      shot_(console.board, console.watch),
      shelf_(console.board),
      server_(console.board.kernel.Host(), port,
              {.get = [this](const std::string& target) { return Get(target); },
               .opened = [this](const std::shared_ptr<Link>& link) { Opened(link); },
               .closed = [this](const std::shared_ptr<Link>& link) { Closed(link); },
               .said = [this](Link& link, const std::string& text) { Said(link, text); }}),
      program_(ProgramNumber()),
      ticker_(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC)) {}

Front::~Front() {
  board_.kernel.Host().Remove(ticker_);
  close(ticker_);
}

// --- the board's time ---

void Front::Run(const std::function<bool()>& ended) {
  const auto over = [&] { return console_.Quitting() || ended(); };
  while (!over()) {
    // In free pace a board without power has nothing to do, and its time would be gone at once.
    const bool stands =
        console_.Paused() || (board_.kernel.PresentPace() == Pace::Free && (!board_.Powered() || board_.Exited()));
    if (stands) {
      board_.kernel.Host().Wait(kStanding);
    } else {
      board_.RunUntil([&] { return !wanted_.empty() || over(); }, kSlice);
    }
    CarryOut();
  }
}

void Front::CarryOut() {
  while (!wanted_.empty() && !console_.Quitting()) {
    const std::string line = std::move(wanted_.front());
    wanted_.pop_front();
    board_.Run(Duration{0});
    CarryOut(line);
  }
}

void Front::CarryOut(const std::string& line) {
  journal_.Add(Journal::Kind::Action, line);
  try {
    if (Console::Waits(line)) throw CommandError("here time goes on by itself: there is nothing to wait for");
    console_.Execute(line);
    if (!Recorder::LeavesBoardAlone(line)) recorder_.Note(line);
  } catch (const std::runtime_error& refused) {
    journal_.Add(Journal::Kind::Refusal, refused.what());
  }
  console_.out.flush();
}

// --- pages ---

void Front::Opened(const std::shared_ptr<Link>& link) {
  if (pages_.empty()) {
    board_.kernel.Host().Add(ticker_, POLLIN, [this] { Tick(); });
    SetTimer(ticker_, kTick);
    busy_ = ProcessorTime();
    ticks_ = 0;
  }
  pages_.push_back({.link = link});
}

void Front::Closed(const std::shared_ptr<Link>& link) {
  std::erase_if(pages_, [&](const Page& page) { return page.link == link; });
  if (!pages_.empty()) return;
  board_.kernel.Host().Remove(ticker_);
  SetTimer(ticker_, std::chrono::milliseconds{0});
}

// {"do": LINE}, {"watch": DEVICE}, {"panorama": SHOT}; anything else is passed over.
void Front::Said(Link& link, const std::string& text) {
  const json message = json::parse(text, nullptr, false);
  if (!message.is_object()) return;
  const auto word = [&](const char* name) {
    const auto found = message.find(name);
    return found != message.end() && found->is_string() ? found->get<std::string>() : std::string();
  };
  const bool oneLine = word("do").find_first_of("\r\n") == std::string::npos;
  if (message.contains("do") && oneLine && wanted_.size() < kMostWanted) wanted_.push_back(word("do"));
  if (message.contains("panorama")) shelf_.MakePanorama(word("panorama"));
  if (!message.contains("watch")) return;
  for (Page& page : pages_) {
    if (page.link.get() == &link) page.watched = word("watch");
  }
}

void Front::Tick() {
  uint64_t times = 0;
  if (read(ticker_, &times, sizeof times) < 0) return;
  if (ticks_ % kTicksASecond == 0) {
    const auto busy = ProcessorTime();
    load_ = static_cast<int>((busy - busy_) / std::chrono::milliseconds(10));
    busy_ = busy;
    shelf_.Refresh();
  }
  const auto complaints = board_.Complaints();
  for (; complaints_ < complaints.size(); complaints_++)
    journal_.Add(Journal::Kind::Complaint, complaints[complaints_]);
  if (std::ranges::all_of(pages_, [](const Page& page) { return page.link->Busy(); })) {
    ticks_++;
    return;
  }
  json state = StateOf(console_, shot_, shelf_);
  state["time"] = Time();
  state["actions"] = recorder_.Actions();
  state["pages"] = pages_.size();
  ticks_++;
  const auto shared = std::make_shared<const json>(std::move(state));
  for (Page& page : pages_) Serve(page, shared);
}

// In real pace the pages count on by themselves: they are told twice a second.
json Front::Time() {
  const bool real = !console_.Paused() && board_.kernel.PresentPace() == Pace::Real;
  const char* pace = console_.Paused() ? "pause" : real ? "real" : "free";
  if (real && time_.is_object() && time_["pace"] == pace && ticks_ % (kTicksASecond / 2) != 0) return time_;
  time_ = {{"now", Seconds(board_.Now())}, {"pace", pace}, {"load", load_}};
  if (board_.Powered()) time_["uptime"] = Seconds(board_.Uptime());
  return time_;
}

void Front::Serve(Page& page, const std::shared_ptr<const json>& state) {
  if (page.link->Busy()) return;
  json message = json::object();
  std::shared_ptr<const json> shown = state;
  if (!page.watched.empty()) {
    json more = *state;
    more["wires"] = {{"device", page.watched}, {"rows", WiresOf(board_, page.watched)}};
    shown = std::make_shared<const json>(std::move(more));
  }
  if (!page.sent) message["tables"] = Tables(board_, program_);
  if (json difference = MergeDiff(page.sent ? *page.sent : json::object(), *shown); !difference.empty())
    message["state"] = std::move(difference);
  if (page.journal < journal_.Last()) {
    json lines = json::array();
    const auto& entries = journal_.Entries();
    const uint64_t first = std::max(page.journal + 1, journal_.Last() - std::min(journal_.Last(), kMostLines) + 1);
    for (auto entry = entries.begin() + static_cast<long>(first - entries.front().number); entry != entries.end();
         ++entry)
      lines.push_back({entry->number, Seconds(entry->at), NameOf(entry->kind), entry->who, entry->text});
    message["journal"] = std::move(lines);
    page.journal = journal_.Last();
  }
  page.sent = shown;
  // What the application writes need not be text.
  if (!message.empty()) page.link->Send(message.dump(-1, ' ', false, json::error_handler_t::replace));
}

// --- what is asked for by GET ---

Answer Front::Get(const std::string& target) {
  const std::string path = target.substr(0, target.find('?'));
  const auto behind = [&](std::string_view front) {
    return path.starts_with(front) ? Unescaped(path.substr(front.size())) : std::string();
  };
  Answer missing{.status = 404, .text = "There is no such path.\n"};
  if (path == "/record") return {.text = recorder_.Script(), .saveAs = "record.script"};
  if (const std::string name = behind("/picture/"); !name.empty()) {
    size_t camera = kCameras;
    std::from_chars(name.data(), name.data() + name.size(), camera);
    if (camera >= kCameras || !shot_.Tiles()[camera].jpeg) return missing;
    return {.type = "image/jpeg", .bytes = shot_.Tiles()[camera].jpeg};
  }
  if (const std::string name = behind("/thumbnail/"); !name.empty()) {
    const auto jpeg = shelf_.Thumbnail(name);
    return jpeg ? Answer{.type = "image/jpeg", .bytes = jpeg} : missing;
  }
  if (const std::string name = behind("/shot/"); !name.empty()) {
    const auto file = shelf_.Shot(name);
    return file ? Answer{.type = "application/octet-stream", .file = *file, .saveAs = name} : missing;
  }
  if (const std::string name = behind("/panorama/"); !name.empty()) {
    const auto file = shelf_.Panorama(name);
    return file ? Answer{.type = "image/jpeg", .file = *file} : missing;
  }
  return PageFile(path).value_or(missing);
}

}  // namespace twin::panel
