#include "tools/campaign/run.h"

#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <utility>

#include "tools/campaign/disk_check.h"
#include "tools/campaign/excuses.h"
#include "tools/campaign/raw_files.h"
#include "tools/campaign/visitors.h"
#include "tools/lumora-shot/verify.h"
#include "twin/board.h"
#include "twin/light/read_mark.h"

namespace campaign {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using twin::Board;

namespace {

// The limits of the system's own: a shot that retries every frame is over in less, and the switch-off waits 30 s.
constexpr auto kShotLimit = 2min;
constexpr auto kOffLimit = 90s;
constexpr auto kRawLimit = 6min;  // with 75 frames more, each waited for
constexpr size_t kSavedPulses = 1 + 2, kFullPulses = 3;

// The host's number of the file: another one under the same name is another.
ino_t FileOf(const fs::path& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

class Run {
 public:
  Run(const Plan& plan, const fs::path& before)
      : plan_(plan),
        board_(Options(plan)),
        phone_(board_, Teller(), before.stem().string()),
        remote_(board_, Teller()),
        rawFiles_(board_, Teller(), plan.seed),
        disk_(board_, plan, outcome_, Teller(), before, phone_, rawFiles_),
        handshakes_(board_) {
    if (plan.phone) std::ofstream(board_.paths.Local() / "fixfile.bin") << "a tuning of the picture";
    board_.disk.Plug();
  }

  Outcome Go() {
    if (plan_.explore) board_.kernel.Explore();
    for (const std::string& fault : plan_.faults) board_.faults.Add(fault);
    for (const Action& action : plan_.actions) board_.kernel.At(action.at, [this, what = action.what] { Act(what); });
    if (Start()) FirstShot();
    RawPassIsOver(false);
    if (plan_.off) SwitchOff();
    NoteFaults();
    board_.faults.Clear();
    acting_ = false;
    LookAtUnfinished();
    // Where nothing else helps, by a cause that is named, the battery comes out.
    if (!GoodShot("the next shot") || !Answers("without the faults")) {
      StartAnew();
      GoodShot("the shot after a new start");
      Answers("after a new start");
    }
    SwitchOff();
    disk_.AtTheEnd();
    for (const std::string& complaint : board_.Complaints()) Find("the board objects: " + complaint);
    outcome_.checked++;
    outcome_.boardSeconds = std::chrono::duration<double>(board_.Now()).count();
    outcome_.log = board_.Log();
    outcome_.handshakes = handshakes_.Seen();
    return std::move(outcome_);
  }

 private:
  static twin::BoardOptions Options(const Plan& plan) {
    twin::BoardOptions options{.seed = plan.seed};
    if (plan.phone) options.usb.push_back(twin::UsbAdapter::Ethernet);
    if (plan.raw) options.usb.push_back(twin::UsbAdapter::Wifi);
    if (plan.remote) options.usb.push_back(twin::UsbAdapter::Serial);
    return options;
  }
  Tell Teller() {
    return [this](const std::string& find) { Find(find); };
  }
  bool HasNetwork() const { return plan_.phone || plan_.raw; }

  void Find(const std::string& what) {
    hung_ = hung_ || what.ends_with("hangs");
    const std::string cause = CauseOf(plan_, what, board_.Log());
    cause.empty() ? outcome_.finds.push_back(what) : outcome_.told.push_back(cause);
  }

  void NoteFaults() {
    const auto rules = board_.faults.Rules();
    outcome_.fired = std::ranges::all_of(rules, [](const auto& rule) { return rule.fired > 0; });
    for (const auto& rule : rules) outcome_.asked[rule.point] = rule.seen;
  }

  void Act(const std::string& what) {
    if (!acting_) return;
    if (what == "cut") {
      LoseWith([this] { board_.PowerOff(); });
    } else if (what == "pull") {
      LoseWith([this] { board_.disk.Pull(); });
    } else if (what == "press") {
      board_.button.Press(100ms);
    } else if (what == "hold") {
      board_.button.Press(4s);
    } else if (what == "battery") {
      board_.coProcessor.SetBattery(0);
    } else if (what.starts_with("get ")) {
      if (auto client = board_.network.Connect(8080)) {
        client->Send("GET " + what.substr(4) + " HTTP/1.0\r\n\r\n");
        clients_.push_back(std::move(client));
      }
    } else {
      throw std::invalid_argument("a run knows cut, pull, press, hold, battery and get TARGET, not \"" + what + '"');
    }
  }

  void LoseWith(const std::function<void()>& loss) {
    if (ToldAsSaved()) RawPassIsOver(true);
    disk_.BeforeLoss();
    loss();
    disk_.AfterLoss();
  }
  // Of the first shot. A full disk sounds as a saved shot does.
  bool ToldAsSaved() const {
    return !board_.panel.ShotLine() && board_.panel.BuzzerPulses().size() == kSavedPulses &&
           board_.disk.Shots().size() > shotsAtFirst_;
  }

  void RawPassIsOver(bool saved) {
    if (std::exchange(rawAsked_, false)) rawFiles_.PassIsOver(saved);
  }

  bool Running() const { return board_.Powered() && !board_.Exited(); }

  // False if there is no application to be used. One that refuses to start has ended, which is no hang.
  bool Start() {
    board_.Boot();
    outcome_.checked++;
    if (Running() && board_.panel.BuzzerPulses().size() < 2 && !Acted()) Find("the start hangs");
    return Running();
  }
  bool Acted() const { return !plan_.actions.empty(); }

  void FirstShot() {
    board_.panel.ForgetPulses();
    shotsAtFirst_ = board_.disk.Shots().size();
    rawAsked_ = plan_.raw && !board_.panel.ShotLine() && phone_.AsksForRaw();
    if (!board_.panel.ShotLine()) board_.button.Press(100ms);
    const auto over = [this] {
      return !Running() || (!board_.panel.ShotLine() && board_.panel.BuzzerPulses().size() > 0);
    };
    outcome_.checked++;
    if (!board_.RunUntil([this] { return !Running() || board_.panel.ShotLine(); }, 20s)) return Find("no shot begins");
    if (!board_.RunUntil(over, plan_.raw ? kRawLimit : kShotLimit)) return Find("the shot hangs");
    board_.Run(3s);
    RawPassIsOver(Running() && ToldAsSaved());
    if (plan_.phone && Running()) phone_.Talk();
    if (plan_.remote && Running()) remote_.Talk();
    if (!plan_.actions.empty() && !hung_) AwaitActions();
  }
  void AwaitActions() {
    for (const Action& action : plan_.actions) {
      if (Running() && action.at > board_.Now()) board_.Run(action.at - board_.Now());
    }
    board_.Run(8s);  // what somebody has begun shows itself, a switch-off too
    const auto quiet = [this] { return !Running() || !board_.panel.ShotLine(); };
    do {
      if (!board_.RunUntil(quiet, kShotLimit)) return Find("the shot hangs");
      board_.Run(4s);
    } while (!quiet());
    // Where the tear-down does not answer, the power goes at the switch-off's own limit.
    const bool goesOff = board_.LogCount(": Quit\n") > 0;
    if (goesOff && !board_.RunUntil([this] { return !Running(); }, kOffLimit)) Find("the switch-off hangs");
  }

  void SwitchOff() {
    if (!Running()) return;
    board_.button.Press(4s);
    outcome_.checked++;
    if (!board_.RunUntil([this] { return !board_.Powered(); }, kOffLimit)) {
      Find("the switch-off hangs");
      board_.PowerOff();
    }
    board_.Run(5s);
  }

  // A shot that has not ended is left as the power leaves it, and with it what the camera has in its memory.
  void LookAtUnfinished() {
    disk_.AfterLoss();
    if (Running() && board_.disk.Plugged() && !board_.panel.ShotLine() && !hung_) return;
    StartAnew();
  }
  void StartAnew() {
    LoseWith([this] { board_.PowerOff(); });
    board_.disk.Plug();
    board_.coProcessor.SetBattery(50);
    board_.Boot();
    if (!Running()) Find("without the faults the camera does not start");
  }

  // False if there is none, which has been told then.
  bool GoodShot(const std::string& what) {
    outcome_.checked++;
    if (!Running()) return false;
    board_.Run(3s);
    std::map<fs::path, ino_t> known;
    for (const fs::path& shot : board_.disk.Shots()) known[shot] = FileOf(shot);
    board_.panel.ForgetPulses();
    board_.button.Press(100ms);
    if (!board_.RunUntilShotEnds(kShotLimit)) {
      Find("without the faults " + what + " hangs");
      return false;
    }
    board_.Run(1s);
    for (const fs::path& shot : board_.disk.Shots()) {
      const auto had = known.find(shot);
      if (had != known.end() && had->second == FileOf(shot)) continue;
      if (had != known.end()) Find(what + " takes the place of an earlier one");
      good_ = shot;
      Judge(what, shot);
      LookAtResources();
      return true;
    }
    const size_t pulses = board_.panel.BuzzerPulses().size();
    Find("without the faults " + what + (pulses == kFullPulses ? " is refused" : " does not come"));
    return false;
  }

  // Without faults a phone and the remote get their answers. False if not, which has been told then.
  bool Answers(const std::string& when) {
    if (!Running()) return true;
    const size_t before = outcome_.finds.size() + outcome_.told.size();
    outcome_.checked += HasNetwork() + plan_.remote;
    if (HasNetwork() && !phone_.Lists(good_.stem().string())) {
      Find(when + " the phone gets no list");
    }
    if (plan_.remote && !remote_.Answered()) Find(when + " the remote is not answered");
    return outcome_.finds.size() + outcome_.told.size() == before;
  }

  void Judge(const std::string& what, const fs::path& path) {
    if (board_.panel.BuzzerPulses().size() != kSavedPulses) Find(what + " is signalled as failed");
    try {
      const shot::File file(path.string());
      if (const auto fault = shot::FirstFault(shot::Verify(file, shot::Depth::Structure)))
        return Find(what + ": " + *fault);
      const std::string wrong = WrongPlace(file);
      if (!wrong.empty()) Find(what + ": " + wrong);
    } catch (const std::exception& bad) {
      Find(what + ": " + bad.what());
    }
    if (board_.array.StateName() != std::string("suspended")) Find("the array does not rest");
  }

  // The first of the pictures that is not what its place says; a fifth of them is looked at, drawn by the seed.
  std::string WrongPlace(const shot::File& file) const {
    uint64_t number = plan_.seed;
    for (const shot::PictureSize size : {shot::PictureSize::Half, shot::PictureSize::Full}) {
      for (int camera = 0; camera < 25; camera++) {
        for (int exposure = 0; exposure < file.Get().exposures; exposure++) {
          if (number++ % 5 != 0) continue;
          const auto found = twin::ReadMark(file.Jpeg(shot::Place{size, camera, exposure}));
          if (!found) return "a picture without a mark";
          const twin::Mark& mark = found->mark;
          if (mark.camera != camera || mark.bracket != exposure || mark.shot != board_.array.Shots()) {
            return "a picture of camera " + std::to_string(mark.camera) + ", exposure " + std::to_string(mark.bracket) +
                   " in the place of " + std::to_string(camera) + ", " + std::to_string(exposure);
          }
        }
      }
    }
    return "";
  }

  // A shot that was given up or begun anew loses its stream, which docs/behaviour.md tells.
  void LookAtResources() {
    outcome_.checked += 3;
    if (!Running()) return;
    const size_t streams = board_.stdio.OpenOnDisk(), descriptors = board_.descriptors.OpenCount();
    if (streams > 0) Find("files left open: " + std::to_string(streams));
    // Visitors' ports: two sockets, each serving somebody or not, and the remote's. One that failed at the start has
    // none.
    const size_t most = kDescriptors + (HasNetwork() ? 2 * 2 : 0) + plan_.remote;
    if (descriptors < kDescriptors || descriptors > most) Find("descriptors: " + std::to_string(descriptors));
    if (board_.heap.Blocks() != kHeapBlocks) Find("heap blocks: " + std::to_string(board_.heap.Blocks()));
  }
  static constexpr size_t kDescriptors = 3, kHeapBlocks = 2;

  const Plan& plan_;
  Board board_;
  Outcome outcome_;
  std::vector<std::shared_ptr<twin::Client>> clients_;
  fs::path good_;  // the last one without faults
  bool acting_ = true, hung_ = false;
  bool rawAsked_ = false;    // the first shot has raw frames and is not over
  size_t shotsAtFirst_ = 0;  // on the disk, before it
  Phone phone_;
  Remote remote_;
  RawFiles rawFiles_;
  DiskCheck disk_;
  Handshakes handshakes_;
};

}  // namespace

void MakeShotFromBefore(const fs::path& shot) {
  Board board{twin::BoardOptions{}};
  board.Boot();
  board.button.Press(100ms);
  if (!board.RunUntilShotEnds(kShotLimit)) throw std::runtime_error("an unbroken camera takes no shot");
  board.Run(1s);
  fs::copy_file(board.disk.OnlyShot(), shot, fs::copy_options::overwrite_existing);
}

Outcome RunHere(const Plan& plan, const fs::path& shotFromBefore) { return Run(plan, shotFromBefore).Go(); }

}  // namespace campaign
