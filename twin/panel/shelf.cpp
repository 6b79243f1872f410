#include "twin/panel/shelf.h"

#include <cstdlib>
#include <stdexcept>

#include "tools/lumora-shot/shot_file.h"

namespace twin::panel {

namespace fs = std::filesystem;

namespace {

constexpr const char* kPanoramaWidth = "4096";  // what every browser's graphics can hold

fs::path FreshDirectory() {
  std::string pattern = (fs::temp_directory_path() / "lumora-panel-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error(pattern + ": cannot be made");
  return pattern;
}

}  // namespace

Shelf::Shelf(Board& board)
    : board_(board),
      program_((fs::read_symlink("/proc/self/exe").parent_path() / "lumora-shot").string()),
      place_(FreshDirectory()),
      jobs_(board.kernel.Host()) {}

Shelf::~Shelf() {
  std::error_code ignored;
  fs::remove_all(place_, ignored);
}

Shelf::Entry* Shelf::Present(const std::string& name, uint64_t ticket) {
  const auto found = entries_.find(name);
  return found == entries_.end() || found->second.ticket != ticket ? nullptr : &found->second;
}

void Shelf::Refresh() {
  std::map<std::string, Entry> now;
  for (const fs::path& shot : board_.disk.Shots()) {
    std::error_code error;
    const uintmax_t size = fs::file_size(shot, error);
    const auto changed = error ? fs::file_time_type{} : fs::last_write_time(shot, error);
    if (error) continue;  // gone since
    const std::string name = shot.filename().string();
    const auto before = entries_.find(name);
    const bool same = before != entries_.end() && before->second.size == size && before->second.changed == changed;
    Entry& entry = now[name];
    entry = same ? before->second : Entry{.size = size, .changed = changed, .ticket = ++tickets_};
    if (!same) Judge(name, entry.ticket);
  }
  entries_ = std::move(now);
}

void Shelf::Judge(const std::string& name, uint64_t ticket) {
  jobs_.Add({.command = {program_, "verify", (board_.disk.Directory() / "DCIM" / name).string()},
             .said =
                 [this, name, ticket, first = true](const std::string& line) mutable {
                   Entry* entry = Present(name, ticket);
                   if (entry != nullptr && !first && entry->finding.empty()) entry->finding = line;
                   first = false;
                 },
             .ended =
                 [this, name, ticket](int status) {
                   if (Entry* entry = Present(name, ticket)) entry->state = status == 0 ? "good" : "bad";
                 }});
}

void Shelf::MakePanorama(const std::string& name) {
  const auto found = entries_.find(name);
  if (found == entries_.end() || (found->second.panorama != "none" && found->second.panorama != "failed")) return;
  found->second.panorama = "waiting";
  found->second.made.clear();
  const uint64_t ticket = found->second.ticket;
  jobs_.Add({.command = {program_, "panorama", (board_.disk.Directory() / "DCIM" / name).string(),
                         (place_ / (name + ".jpg")).string(), "--width", kPanoramaWidth, "--progress"},
             .said =
                 [this, name, ticket](const std::string& line) {
                   if (Entry* entry = Present(name, ticket)) {
                     entry->panorama = "making";
                     entry->made = line;
                   }
                 },
             .ended =
                 [this, name, ticket](int) {
                   if (Entry* entry = Present(name, ticket))
                     entry->panorama = fs::exists(place_ / (name + ".jpg")) ? "ready" : "failed";
                 }});
}

std::optional<fs::path> Shelf::Shot(const std::string& name) const {
  if (!entries_.contains(name)) return std::nullopt;
  return board_.disk.Directory() / "DCIM" / name;
}

std::optional<fs::path> Shelf::Panorama(const std::string& name) const {
  const auto found = entries_.find(name);
  if (found == entries_.end() || found->second.panorama != "ready") return std::nullopt;
  return place_ / (name + ".jpg");
}

std::shared_ptr<const std::vector<uint8_t>> Shelf::Thumbnail(const std::string& name) const {
  const auto path = Shot(name);
  if (!path) return nullptr;
  try {
    auto bytes = std::make_shared<std::vector<uint8_t>>(shot::File(path->string()).Read(shot::Part::Thumbnail));
    return bytes->empty() ? nullptr : bytes;
  } catch (const shot::CannotRead&) {
    return nullptr;
  }
}

nlohmann::json Shelf::State() const {
  nlohmann::json shots = nlohmann::json::object();
  for (const auto& [name, entry] : entries_) {
    shots[name] = {{"size", entry.size},         {"state", entry.state}, {"finding", entry.finding},
                   {"panorama", entry.panorama}, {"made", entry.made},   {"ticket", entry.ticket}};
  }
  return shots;
}

}  // namespace twin::panel
