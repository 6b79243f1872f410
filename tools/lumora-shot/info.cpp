#include "tools/lumora-shot/info.h"

#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <map>

#include "tools/lumora-shot/calibration.h"
#include "tools/lumora-shot/layout.h"

namespace shot {
namespace {

[[gnu::format(printf, 1, 2)]] std::string Line(const char* format, ...) {
  char text[512];
  va_list values;
  va_start(values, format);
  vsnprintf(text, sizeof(text), format, values);  // NOLINT(clang-analyzer-valist.Uninitialized): the linter is wrong
  va_end(values);
  return text;
}

const char* TypeText(uint16_t token) { return token == tokenOri ? "ori" : token == tokenDwo ? "dwo" : "unknown"; }

const char* BracketText(int hdrMode) {
  switch (hdrMode) {
    case 2: return "three steps, automatic";
    case 3: return "three steps, by hand";
    case 4: return "six steps, automatic";
    case 5: return "six steps, by hand";
    case 6: return "six wide steps, automatic";
    case 7: return "six wide steps, by hand";
    default: return "unknown bracket";
  }
}

std::string RecordText(const Record& r, int exposures) {
  std::string text;
  text += Line("  bracket     hdrMode %d (%s), compensation %d/3, isoMode %d, antiFlickerMode %d\n", r.hdrMode,
               BracketText(r.hdrMode), r.evBiasMode, r.isoMode, r.antiFlickerMode);
  text += Line("  release     timerMode %d, twoHalfMode %d\n", r.timerMode, r.twoHalfMode);
  for (int step = 0; step < 6; ++step) {
    const ExposureSet& set = r.Exposure(step);
    text += Line("  exposure %d  %-9s ISO %-6.0f %d of %d rows, %d cycles a row, gain %d/16%s\n", step,
                 ShutterText(set.Seconds()).c_str(), set.Iso(), set.shutterLines, set.totalLines, set.totalRows,
                 set.gain, step < exposures ? "" : " (no pictures)");
  }
  constexpr double degrees = 180 / M_PI * 1e-8;
  text += Line("  tilt        %.3f, %.3f degrees\n", r.vertexX * degrees, r.vertexY * degrees);
  if (r.longitude != 0 || r.latitude != 0)
    text += Line("  place       longitude %.7f, latitude %.7f, compass %.2f degrees\n", r.longitude * 1e-7,
                 r.latitude * 1e-7, r.compassValue / 100.0);
  return text;
}

std::string LensText(const std::vector<CameraConf>& cameras) {
  std::map<int, int> count;
  for (const CameraConf& camera : cameras) ++count[camera.lensType];
  std::string text = Line("  calibration %zu rows, lens types", cameras.size());
  for (const auto& [type, cases] : count) text += Line(" %d (%d)", type, cases);
  return text + "\n";
}

std::string PicturesText(const Shot& shot) {
  std::array<int, 2> count{};
  std::array<long long, 2> bytes{};
  for (const Entry& entry : shot.entries) {
    if (entry.jpgFileSize <= 0) continue;
    const auto size = static_cast<size_t>(shot.PlaceOf(entry.number).size);
    ++count[size];
    bytes[size] += entry.jpgFileSize;
  }
  const int all = shot.cameras * shot.exposures;
  return Line("  pictures    %d of %d half with %lld bytes, %d of %d full with %lld bytes\n", count[0], all, bytes[0],
              count[1], all, bytes[1]);
}

std::string SectionsText(const Shot& shot) {
  std::string text = "  sections    offset      token   size\n";
  for (const Section& section : shot.sections)
    text += Line("              %-10lld  0x%04X  %-10lld %s\n", static_cast<long long>(section.tokenAt), section.token,
                 static_cast<long long>(section.body.size), NameOf(section.part));
  return text;
}

std::string Hex(uint16_t token) { return Line("0x%04X", token); }

}  // namespace

std::string ShutterText(double seconds) {
  if (seconds <= 0) return "0 s";
  if (seconds >= 0.35) return Line("%.1f s", seconds);
  return Line("1/%.0f s", 1 / seconds);
}

std::string DateText(const Record& r) {
  return Line("%04d-%02d-%02d %02d:%02d:%02d", r.shootDateYear, r.shootDateMon, r.shootDateDay, r.shootTimeHour,
              r.shootTimeMin, r.shootTimeSec);
}

std::string InfoText(const File& file, const std::vector<Finding>& findings) {
  const Shot& shot = file.Get();
  std::string text = file.Path() + "\n";
  text += Line("  file        %lld bytes, type 0x%04X (%s)\n", static_cast<long long>(shot.fileSize),
               shot.fileTypeToken, TypeText(shot.fileTypeToken));
  if (shot.calibrated > 0) {
    text += Line("  shot        number %d since power-on, %s.%03d, device %d\n", shot.record.shootIdx,
                 DateText(shot.record).c_str(), shot.record.shootTimeMS, shot.record.deviceId);
    text += Line("  cameras     %d, with %d exposures each\n", shot.cameras, shot.exposures);
    text += RecordText(shot.record, shot.exposures);
    text += LensText(ReadCameras(file));
  }
  if (!shot.entries.empty()) text += PicturesText(shot);
  text += SectionsText(shot);
  if (findings.empty()) return text + "  nothing wrong with the structure\n";
  text += "  found in the structure\n";
  const std::string lines = Text(findings);
  for (size_t at = 0; at < lines.size();) {
    const size_t end = lines.find('\n', at) + 1;
    text += "              " + lines.substr(at, end - at);
    at = end;
  }
  return text;
}

nlohmann::ordered_json InfoJson(const File& file, const std::vector<Finding>& findings) {
  using Json = nlohmann::ordered_json;
  const Shot& shot = file.Get();
  Json json;
  json["file"] = file.Path();
  json["fileSize"] = shot.fileSize;
  json["fileTypeToken"] = Hex(shot.fileTypeToken);
  json["whole"] = shot.Whole();
  json["cameras"] = shot.cameras;
  json["exposures"] = shot.exposures;

  Json& record = json["record"] = Json::object();
  const auto words = WordsOf(shot.record);
  if (shot.calibrated > 0)
    for (size_t i = 0; i < words.size(); ++i) record[std::string(recordFields[i])] = words[i];

  Json& steps = json["bracket"] = Json::array();
  for (int step = 0; step < shot.exposures; ++step) {
    const ExposureSet& set = shot.record.Exposure(step);
    steps.push_back({{"seconds", set.Seconds()}, {"iso", set.Iso()}});
  }

  Json& calibration = json["calibration"] = Json::array();
  for (const CameraConf& c : ReadCameras(file))
    calibration.push_back({{"imgIdx", c.imgIdx},
                           {"lensType", c.lensType},
                           {"aimInfoDirX", c.aimInfoDirX},
                           {"aimInfoDirY", c.aimInfoDirY},
                           {"aimInfoTilt", c.aimInfoTilt},
                           {"centerP2DX", c.centerP2DX},
                           {"centerP2DY", c.centerP2DY},
                           {"relaFocus", c.relaFocus},
                           {"sensorScale", c.sensorScale}});

  Json& sections = json["sections"] = Json::array();
  for (const Section& s : shot.sections) {
    Json section = {{"name", NameOf(s.part)}, {"tokenAt", s.tokenAt}, {"token", Hex(s.token)}};
    if (s.storedSize) section["storedSize"] = *s.storedSize;
    section["bodyAt"] = s.body.offset;
    section["bodySize"] = s.body.size;
    sections.push_back(std::move(section));
  }

  Json& entries = json["index"] = Json::array();
  for (const Entry& e : shot.entries)
    entries.push_back({{"imgType", e.imgType},
                       {"camIdx", e.camIdx},
                       {"hdrIdx", e.hdrIdx},
                       {"jpgFileOffset", e.jpgFileOffset},
                       {"jpgFileSize", e.jpgFileSize},
                       {"at", shot.SpanOf(e).offset}});

  Json& found = json["findings"] = Json::array();
  for (const Finding& finding : findings)
    found.push_back({{"fault", finding.weight == Weight::Fault}, {"at", finding.at}, {"text", finding.text}});
  return json;
}

}  // namespace shot
