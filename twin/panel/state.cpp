#include "twin/panel/state.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <numbers>

#include "tools/lumora-shot/calibration.h"
#include "twin/console/status_display.h"
#include "twin/panel/controls.h"
#include "twin/panel/wires.h"

namespace twin::panel {

using nlohmann::json;

namespace {

constexpr int kTurned = 180;  // a picture in a shot stands on its head: degrees to turn it

// Where each lens looks: degrees from the front to the right, and upwards. As the board's own calibration has it.
json Lenses(const Board& board) {
  std::ifstream file(board.paths.Local() / "CameraConf_800", std::ios::binary);
  json lenses = json::array();
  shot::CameraConf row;
  constexpr double kDegrees = 180 / std::numbers::pi * 1e-8;
  while (file.read(reinterpret_cast<char*>(&row), sizeof row))
    lenses.push_back(
        {{"camera", row.imgIdx}, {"azimuth", row.aimInfoDirX * kDegrees}, {"elevation", row.aimInfoDirY * kDegrees}});
  return lenses;
}

json CommandTable() {
  json commands = json::array();
  for (const Command* command : Console::Commands()) {
    if (!command->waits)
      commands.push_back({{"name", command->name}, {"usage", command->usage}, {"help", command->help}});
  }
  return commands;
}

json FaultTable(const Board& board) {
  json points = json::array(), words = json::array();
  for (const FaultPoint* point : board.faults.Points())
    points.push_back({{"name", point->Name()}, {"what", point->What()}});
  for (const Faults::Word& word : Faults::TextWords())
    words.push_back({{"word", word.word}, {"value", word.value}, {"effect", word.effect}, {"what", word.what}});
  return {{"points", points}, {"words", words}};
}

double Rounded(double value, double step) { return std::round(value / step) * step; }

json Remote(const std::string& line) {
  if (line.size() < 18) return json::object();
  return {{"camera", line.substr(1, 1)},
          {"text", line.substr(2, 11)},
          {"disk", line.substr(13, 2)},
          {"battery", line.substr(16, 2)}};
}

json Adapters(const Board& board) {
  json adapters = json::object();
  for (const UsbAdapterKind& kind : kUsbAdapters) adapters[std::string(kind.word)] = board.usb.Plugged(kind.adapter);
  return adapters;
}

std::string Date(const Board& board) {
  const CivilTime date = board.clockChip.Date();
  std::array<char, 80> text{};
  snprintf(text.data(), text.size(), "%04d-%02d-%02d %02d:%02d:%02d", date.year, date.month, date.day, date.hour,
           date.minute, date.second);
  return text.data();
}

}  // namespace

json Tables(const Board& board, const std::string& program) {
  return {{"program", program},      {"seed", board.options.seed}, {"commands", CommandTable()},
          {"controls", Controls()},  {"phone", PhoneLinks()},      {"faults", FaultTable(board)},
          {"lenses", Lenses(board)}, {"wires", WireDevices()},     {"turned", kTurned}};
}

json StateOf(const Console& console, const ShotWatch& shot, const Shelf& shelf) {
  Board& board = console.board;
  const Panel& panel = board.panel;
  const LampColour lamp = board.coProcessor.Colour();
  const auto& sounds = panel.BuzzerPulses();
  json faults = json::array();
  for (const Faults::Standing& rule : board.faults.Rules())
    faults.push_back({{"point", rule.point}, {"text", rule.text}, {"fired", rule.fired}});
  return {
      {"stage", StageText(board, console.watch)},
      {"powered", board.Powered()},
      {"date", Date(board)},
      {"led",
       {{"colour", panel.Colour()},
        {"lamp", panel.LampColour()},
        {"lit", panel.Lit()},
        {"red", lamp.red},
        {"green", lamp.green},
        {"blue", lamp.blue}}},
      {"buzzer",
       {{"sounding", panel.Sounding()},
        {"pulses", sounds.size()},
        {"last", sounds.empty() ? 0 : sounds.back().length / 1ms}}},
      {"button", board.button.Pressed()},
      {"held",
       {{"pitch", board.attitude.Pitch()},
        {"roll", board.attitude.Roll()},
        {"heading", Rounded(std::remainder(-board.attitude.Yaw(), 360), 1e-6)}}},
      {"place",
       {{"fix", board.gpsCompass.HasFix()},
        {"latitude", Rounded(board.gpsCompass.Latitude(), 1e-6)},
        {"longitude", Rounded(board.gpsCompass.Longitude(), 1e-6)}}},
      {"light", board.pictures->Light()},
      {"temperature", board.array.SensorOf(0).Temperature()},
      {"battery", board.coProcessor.Battery()},
      {"charging", board.coProcessor.Charging()},
      {"disk",
       {{"plugged", board.disk.Plugged()},
        {"mounted", board.disk.Mounted()},
        {"readOnly", board.disk.ReadOnly()},
        {"freeKBs", board.disk.FreeKBs()},
        {"totalKBs", board.disk.TotalKBs()},
        {"writeSpeed", board.disk.WriteSpeed()},
        {"readSpeed", board.disk.ReadSpeed()}}},
      {"adapters", Adapters(board)},
      {"remote", Remote(console.RemoteLine())},
      {"shot", shot.State()},
      {"shots", shelf.State()},
      {"faults", std::move(faults)},
      {"complaints", board.Complaints().size()},
  };
}

}  // namespace twin::panel
