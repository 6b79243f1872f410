#include "twin/judge/shot_judge.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdarg>
#include <map>

#include "tools/lumora-shot/pictures.h"
#include "tools/lumora-shot/verify.h"
#include "twin/judge/marks.h"
#include "twin/judge/signals.h"
#include "twin/light/read_mark.h"
#include "twin/light/tone.h"

namespace twin {
namespace {

namespace fs = std::filesystem;

constexpr int kCameras = 25;
constexpr int kTurnedCameras = 9;  // of layer 0: their sensors mirror and flip
constexpr std::array kMeasuringCameras{9, 10, 11, 12, 13, 14, 15, 24};
constexpr int kFactoryThumbCamera = 12;
constexpr double kTargetMean = 28.0 / 255;  // of the scene measurement that an automatic exposure is after
constexpr double kUnitsPerDegree = M_PI / 180 * 1e8;

// The log's words for what has not gone as it should. On a board that nobody broke none of them may come.
constexpr std::array<const char*, 6> kObjections = {" error\n",          " error, ",  "failed",
                                                    "Retry LumoLoadNew", "Retry has", "Restart LumoLoadNew"};

// Words of the record that a camera without any setting writes.
struct FactoryWord {
  const char* field;
  int32_t shot::Record::*word;
  int32_t value;
};
constexpr std::array<FactoryWord, 8> kFactoryRecord = {{{"deviceId", &shot::Record::deviceId, 2},
                                                        {"shootIdx", &shot::Record::shootIdx, 0},
                                                        {"evBiasMode", &shot::Record::evBiasMode, 0},
                                                        {"isoMode", &shot::Record::isoMode, 0},
                                                        {"hdrMode", &shot::Record::hdrMode, 2},
                                                        {"twoHalfMode", &shot::Record::twoHalfMode, 0},
                                                        {"antiFlickerMode", &shot::Record::antiFlickerMode, 0},
                                                        {"timerMode", &shot::Record::timerMode, 0}}};

class Sentences {
 public:
  [[gnu::format(printf, 2, 3)]] void Add(const char* format, ...) {
    va_list values;
    va_start(values, format);
    char text[512];
    vsnprintf(text, sizeof(text), format, values);
    va_end(values);
    all.emplace_back(text);
  }
  void Add(const std::vector<std::string>& sentences) { all.insert(all.end(), sentences.begin(), sentences.end()); }
  std::vector<std::string> all;
};

int64_t SecondsOf(int year, int month, int day, int hour, int minute, int second) {
  const std::chrono::year_month_day date{std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
                                         std::chrono::day(static_cast<unsigned>(day))};
  return std::chrono::sys_days(date).time_since_epoch().count() * int64_t{86400} + hour * 3600 + minute * 60 + second;
}

int64_t SecondsOf(const CivilTime& t) { return SecondsOf(t.year, t.month, t.day, t.hour, t.minute, t.second); }

// Nobody has changed anything about the camera.
bool IsAsMade(const Board& board) {
  const std::array<const char*, 3> files = {"setting.ini", "vertex.ini", "info.ini"};
  return std::ranges::none_of(files, [&](const char* file) { return fs::exists(board.paths.Local() / file); });
}

void JudgeLog(const Board& board, Sentences& wrong) {
  if (board.faults.Fired() != 0) return;
  for (const char* words : kObjections) {
    const size_t at = board.Log().find(words);
    if (at == std::string::npos) continue;
    const size_t begin = board.Log().rfind('\n', at) + 1;
    wrong.Add("the log says \"%s\"", board.Log().substr(begin, board.Log().find('\n', at) - begin).c_str());
  }
}

void JudgeName(const fs::path& path, const shot::Record& r, Sentences& wrong) {
  char time[64];
  snprintf(time, sizeof(time), "%04d-%02d-%02d_%02d.%02d.%02d", r.shootDateYear, r.shootDateMon, r.shootDateDay,
           r.shootTimeHour, r.shootTimeMin, r.shootTimeSec);
  const std::string name = path.stem().string();
  if (!name.ends_with(time)) wrong.Add("the name is %s, the record's time %s", name.c_str(), time);
}

// The time is taken while the shot line is low. It is the chip's as it was at the start, in whole seconds.
void JudgeDate(const Board& board, const shot::Record& r, Sentences& wrong) {
  if (board.panel.Shots().empty()) return;
  const Pulse& shot = board.panel.Shots().back();
  const int64_t now = SecondsOf(board.clockChip.Date());
  const auto chip = [&](Time at) { return now - std::chrono::ceil<std::chrono::seconds>(board.Now() - at).count(); };
  const int64_t told =
      SecondsOf(r.shootDateYear, r.shootDateMon, r.shootDateDay, r.shootTimeHour, r.shootTimeMin, r.shootTimeSec);
  if (told < chip(shot.start) - 1 || told > chip(shot.start + shot.length) + 1)
    wrong.Add("the record's time is %+lld s from the clock chip's", static_cast<long long>(told - chip(shot.start)));
}

void JudgeTilt(const Board& board, const shot::Record& r, Sentences& wrong) {
  const double x = r.vertexX / kUnitsPerDegree, y = r.vertexY / kUnitsPerDegree;
  if (std::abs(x - board.attitude.Pitch()) > 0.1 || std::abs(y - board.attitude.Roll()) > 0.1)
    wrong.Add("the record's tilt is %.2f %.2f, the camera's %.2f %.2f", x, y, board.attitude.Pitch(),
              board.attitude.Roll());
}

// What the sensors were really set to, in the frames that the encoders took, against what the record says of them.
void JudgeExposures(std::span<const DeliveredFrame> delivered, const shot::Record& record, Sentences& wrong) {
  for (const DeliveredFrame& picture : delivered) {
    const StoredFrame& frame = picture.frame;
    const shot::ExposureSet& set = record.Exposure(frame.bracket);
    const double row = set.totalRows / 120e6;
    if (std::abs(frame.seconds - set.Seconds()) > row || std::lround(frame.gain * 16) != set.gain)
      return wrong.Add("camera %d was exposed for %.6f s at gain %.3f, the record says %.6f s at %.3f", frame.camera,
                       frame.seconds, frame.gain, set.Seconds(), set.gain / 16.0);
    const bool turned = frame.camera < kTurnedCameras;
    if (frame.mirror != turned || frame.flip != turned)
      return wrong.Add("camera %d lies otherwise than it is built in", frame.camera);
  }
}

// What the sensors make of the record's exposure, 0 to 1.
double SignalOf(const Board& board, const shot::Record& record, int camera, int step) {
  const shot::ExposureSet& set = record.Exposure(step);
  return board.pictures->MeanSignal(camera, set.Seconds() * set.gain / 16 * board.pictures->Light());
}

void JudgeBrightness(const Board& board, const shot::Shot& shot, Sentences& wrong) {
  const int step = shot.record.MiddleStep();
  const shot::ExposureSet& base = shot.record.Exposure(step);
  const int rowsTimesGain = base.shutterLines * base.gain;  // 0x80 to 0x8C780, and then the light decides
  double mean = 0;
  for (const int camera : kMeasuringCameras)
    mean += SignalOf(board, shot.record, camera, step) / kMeasuringCameras.size();
  const bool tooDark = mean < kTargetMean * 0.85 && rowsTimesGain < 0x8C000;
  const bool tooBright = mean > kTargetMean * 1.15 && rowsTimesGain > 0x80;
  if (tooDark || tooBright)
    wrong.Add("the middle exposure gives a mean of %.1f, not %.1f", mean * 255, kTargetMean * 255);
}

void JudgeMarks(const Board& board, const shot::File& file, Sentences& wrong) {
  const shot::Record& record = file.Get().record;
  const auto thumbnail = ReadMark(file.Read(shot::Part::Thumbnail));
  const auto marks = WrongMarks(
      file,
      {.exposures = file.Get().exposures,
       .shotOf = [&](int) { return board.array.Shots(); },
       .thumbCamera = IsAsMade(board) || !thumbnail ? kFactoryThumbCamera : thumbnail->mark.camera,
       .grayOf = [&](int camera, int exposure) { return 255 * Display(SignalOf(board, record, camera, exposure)); }});
  wrong.Add(marks);
}

// Mean of the absolute differences of two pictures of one size, the second as it is or turned.
double Difference(const shot::Gray& a, const shot::Gray& b, bool turned) {
  if (a.width != b.width || a.height != b.height) return 255;
  double sum = 0;
  const size_t last = a.pixels.size() - 1;
  for (size_t i = 0; i <= last; i++) sum += std::abs(a.pixels[i] - b.pixels[turned ? last - i : i]);
  return sum / static_cast<double>(a.pixels.size());
}

double LinearMean(const shot::Gray& picture) {
  double sum = 0;
  for (const uint8_t pixel : picture.pixels) sum += LinearOf(pixel / 255.0);
  return sum / static_cast<double>(picture.pixels.size());
}

void JudgeRendered(const Board& board, const shot::File& file, Sentences& wrong) {
  constexpr double kAlike = 3;
  const shot::Shot& shot = file.Get();
  const shot::Gray thumbnail = shot::DecodeGray(file.Read(shot::Part::Thumbnail));
  for (int camera = 0; camera < kCameras; camera++) {
    for (int step = 0; step < shot.exposures; step++) {
      const shot::Gray half = shot::DecodeGray(file.Jpeg(shot::Place{shot::PictureSize::Half, camera, step}), 4);
      const shot::Gray full = shot::DecodeGray(file.Jpeg(shot::Place{shot::PictureSize::Full, camera, step}), 8);
      if (const double difference = Difference(half, full, false); difference > kAlike)
        wrong.Add("camera %d, exposure %d: its two sizes differ by %.1f", camera, step, difference);
      const double signal = SignalOf(board, shot.record, camera, step), mean = LinearMean(half);
      if (std::abs(mean - signal) > 0.005 + 0.2 * signal)
        wrong.Add("camera %d, exposure %d: its mean is %.3f, not %.3f", camera, step, mean, signal);
      if (camera == kFactoryThumbCamera && step == shot.record.MiddleStep() && IsAsMade(board) &&
          Difference(half, thumbnail, true) > kAlike)
        wrong.Add("the thumbnail is not camera %d, turned", camera);
    }
  }
}

void JudgeRest(Board& board, Sentences& wrong) {
  if (board.array.StateName() != std::string("suspended")) wrong.Add("the array is %s", board.array.StateName());
  if (const size_t open = board.stdio.OpenOnDisk(); open != 0) wrong.Add("%zu files on the disk are open", open);
  for (const VENC_CHN channel : {0, 1}) {
    if (board.media.Encoder(channel)->Receiving()) wrong.Add("encoder %d still waits for pictures", channel);
  }
}

void JudgeFile(const Board& board, const shot::File& file, std::span<const DeliveredFrame> delivered,
               Sentences& wrong) {
  const shot::Shot& shot = file.Get();
  const bool asMade = IsAsMade(board);
  const std::vector<shot::Finding> findings = shot::Verify(file, shot::Depth::Structure);
  for (const shot::Finding& finding : findings) {
    if (asMade || finding.weight == shot::Weight::Fault) wrong.Add("%s", finding.text.c_str());
  }
  if (shot::HasFault(findings)) return;
  JudgeName(file.Path(), shot.record, wrong);
  JudgeDate(board, shot.record, wrong);
  JudgeExposures(delivered, shot.record, wrong);
  if (asMade) {
    for (const FactoryWord& row : kFactoryRecord) {
      if (shot.record.*row.word != row.value)
        wrong.Add("%s is %d, not %d", row.field, shot.record.*row.word, row.value);
    }
    JudgeTilt(board, shot.record, wrong);
    JudgeBrightness(board, shot, wrong);
  }
  board.options.pictures == Pictures::Marked ? JudgeMarks(board, file, wrong) : JudgeRendered(board, file, wrong);
}

}  // namespace

ShotJudge::ShotJudge(Board& board)
    : board_(board),
      before_(Files()),
      delivered_(board.media.Delivered().size()),
      blinks_(board.panel.LedPulses().size()),
      sounds_(board.panel.BuzzerPulses().size()),
      shotLines_(board.panel.Shots().size()) {}

std::set<fs::path> ShotJudge::Files() const {
  std::set<fs::path> files;
  std::error_code none;
  for (const auto& entry : fs::directory_iterator(board_.disk.Directory() / "DCIM", none)) files.insert(entry.path());
  return files;
}

fs::path ShotJudge::Shot() const {
  for (const fs::path& shot : board_.disk.Shots()) {
    if (!before_.contains(shot)) return shot;
  }
  return {};
}

std::vector<std::string> ShotJudge::WhatIsWrong() const {
  Sentences wrong;
  JudgeLog(board_, wrong);
  const fs::path path = Shot();
  for (const fs::path& file : Files()) {
    if (!before_.contains(file) && file != path) wrong.Add("%s lies beside it", file.filename().c_str());
  }
  try {
    const shot::File file(path.string());
    JudgeFile(board_, file, std::span(board_.media.Delivered()).subspan(delivered_), wrong);
  } catch (const std::exception& bad) {
    wrong.Add("%s", bad.what());
  }
  if (IsAsMade(board_)) {
    wrong.Add(WrongShotSignals("LED 0 is dark", std::span(board_.panel.LedPulses()).subspan(blinks_)));
    wrong.Add(WrongShotSignals("the buzzer sounds", std::span(board_.panel.BuzzerPulses()).subspan(sounds_)));
  }
  wrong.Add(WrongColour(board_));
  if (board_.panel.Shots().size() != shotLines_ + 1)
    wrong.Add("the shot line was low %zu times", board_.panel.Shots().size() - shotLines_);
  JudgeRest(board_, wrong);
  return wrong.all;
}

}  // namespace twin
