#include "tools/campaign/visitors.h"

#include <algorithm>
#include <boost/crc.hpp>
#include <fstream>
#include <utility>

#include "tools/campaign/file_bytes.h"
#include "tools/lumora-shot/shot_file.h"
#include "twin/devices/serial_port/remote_frame.h"

namespace campaign {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using twin::Board;

namespace {

constexpr uint16_t kControl = 8080, kBulk = 8081;
constexpr twin::Duration kAnswerLimit = 30s, kShotLimit = 2min;

bool Running(const Board& board) { return board.Powered() && !board.Exited(); }

std::string Firmware() {
  std::string image;
  for (size_t i = 0; i < 50'000; i++) image += static_cast<char>(i % 251 + i / 4096);
  return image;
}

uint32_t Crc32(const std::string& bytes) {
  boost::crc_32_type crc;
  crc.process_bytes(bytes.data(), bytes.size());
  return crc.checksum();
}

// The body of an answer that came as long as it says; nothing of any other.
std::optional<std::string> WholeBody(const std::string& answer) {
  constexpr std::string_view kLength = "Content-Length: ";
  const size_t head = answer.find("\r\n\r\n"), length = answer.find(kLength);
  if (!answer.starts_with("HTTP/1.0 200 ") || head == std::string::npos || length > head) return std::nullopt;
  std::string body = answer.substr(head + 4);
  if (std::to_string(body.size()) !=
      answer.substr(length + kLength.size(), answer.find('\r', length) - length - kLength.size()))
    return std::nullopt;
  return body;
}

}  // namespace

void AwaitShot(Board& board, const Tell& tell, twin::Duration limit) {
  board.RunUntil([&] { return !Running(board) || board.panel.ShotLine(); }, 5s);
  if (!board.RunUntil([&] { return !Running(board) || !board.panel.ShotLine(); }, limit)) tell("the shot hangs");
  board.Run(1s);
}

// --- the phone ---

Phone::Phone(Board& board, Tell tell, std::string name)
    : board_(board), tell_(std::move(tell)), name_(std::move(name)), firmware_(Firmware()) {}

std::optional<std::string> Phone::Ask(uint16_t port, const std::string& text) {
  if (!Running(board_)) return std::nullopt;
  const auto client = board_.network.Connect(port);
  if (client == nullptr) return std::nullopt;
  client->Send(text);
  board_.RunUntil([&] { return client->Ended() || !Running(board_); }, kAnswerLimit);
  const std::string answer = client->Received();
  if (!client->Ended()) client->Reset();
  return WholeBody(answer);
}

std::optional<std::string> Phone::Get(const std::string& target, uint16_t port) {
  return Ask(port, "GET " + target + " HTTP/1.0\r\n\r\n");
}

void Phone::Talk() {
  Get("/set_time?time=2026-03-04_05:06:07");
  Get("/get_information");
  Get("/get_list");
  Get("/get_thumb?filename=" + name_);
  Get("/get_parameters?filename=" + name_);
  const auto file = Get("/get_file?filename=" + name_, kBulk);
  if (file) LookAtFile(*file);
  Get("/set_prefix?prefix=abc");
  Get("/config?btnsetting=0&shutdownmode=0");
  Get("/get_current_temperature?index=3");
  Get("/compass_calibrate_start");
  Ask(kBulk, "POST /update_firmware?crcvalue=" + std::to_string(Crc32(firmware_)) +
                 " HTTP/1.0\r\nContent-Length: " + std::to_string(firmware_.size()) + "\r\n\r\n" + firmware_);
  board_.Run(3s);  // what was not synced waits: now or then the battery goes
  LookAtFirmware();
  Get("/del_updated_firmware");

  // The picture of one camera first: a press would go on with that camera alone.
  Get("/cap_single?camidx=3");
  AwaitShot(board_, tell_, kShotLimit);
  Get("/get_single?camidx=3");
  const auto shots = board_.disk.Shots();
  Get("/do_capture?capmode=0&isomode=1");
  AwaitShot(board_, tell_, kShotLimit);
  for (const fs::path& shot : board_.disk.Shots()) {
    if (std::ranges::count(shots, shot) > 0) continue;
    deleted_.insert(shot);
    Get("/del_file?filename=" + shot.stem().string());
  }
  board_.Run(1s);
}

// The camera sends the pictures in the order of the index, whatever their order in the file.
void Phone::LookAtFile(const std::string& body) {
  const fs::path path = board_.paths.Root() / "received.ori";
  std::ofstream(path, std::ios::binary) << body;
  const shot::File sent(path.string()), lies((board_.disk.Directory() / "DCIM" / (name_ + ".ori")).string());
  const auto same = [&](const shot::Entry& entry) {
    return sent.Jpeg(sent.Get().PlaceOf(entry.number)) == lies.Jpeg(lies.Get().PlaceOf(entry.number));
  };
  if (sent.Get().entries.size() != lies.Get().entries.size() || !std::ranges::all_of(sent.Get().entries, same) ||
      sent.Read(shot::Part::Thumbnail) != lies.Read(shot::Part::Thumbnail))
    tell_("the phone is given another file");
}

bool Phone::AsksForRaw() {
  board_.RunUntil([&] { return board_.network.Listening(kControl); }, 5s);
  const auto client = board_.network.Connect(kControl);
  if (client == nullptr) return false;
  client->Send("GET /do_capture?saveraw=1 HTTP/1.0\r\n\r\n");
  board_.RunUntil([&] { return board_.panel.ShotLine() || !Running(board_); }, 5s);
  return board_.panel.ShotLine();
}

bool Phone::Lists(const std::string& name) {
  board_.RunUntil([&] { return board_.network.Listening(kControl); }, 5s);
  const auto list = Get("/get_list");
  return list && list->find("\r\n" + name + "\r\n") != std::string::npos;
}

void Phone::LookAtFirmware() {
  const fs::path path = board_.disk.Directory() / "firmware";
  if (fs::exists(path) && Bytes(path) != firmware_)
    tell_("the firmware is not whole: " + std::to_string(Bytes(path).size()) + " bytes");
}

// --- the remote ---

Remote::Remote(Board& board, Tell tell) : board_(board), tell_(std::move(tell)) {
  board_.gpsCompass.SetPosition(31.75, 121.4);
}

void Remote::Send(char command) {
  if (Running(board_)) board_.serial.Send(twin::RemoteFrame(command, '0', board_.clockChip.Date()));
}

void Remote::Talk() {
  Send('I');
  board_.Run(1s);
  for (const char command : {'H', 'T'}) {
    Send(command);
    AwaitShot(board_, tell_, kShotLimit);
  }
  Send('I');
  board_.Run(1s);
}

bool Remote::Answered() {
  board_.serial.Forget();
  Send('I');
  return board_.RunUntil([&] { return board_.serial.Received().find("X0Ready ") != std::string::npos; }, 5s);
}

}  // namespace campaign
