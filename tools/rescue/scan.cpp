#include "tools/rescue/scan.h"

#include <algorithm>
#include <cstring>

#include "tools/lumora-shot/layout.h"

namespace rescue {
namespace {

constexpr int64_t window = 16 << 20;
constexpr int64_t overlap = 128 << 10;        // room for a picture's head
constexpr int64_t longestPicture = 64 << 20;  // far above any of the camera
constexpr int64_t longestHead = 9 << 20;      // to the first picture
constexpr int64_t longestThumbnail = 1 << 20;

// A shot's first bytes behind the lower one of its type: the type's upper byte, the record's token and size.
constexpr uint8_t headMark[] = {0x73, 0xD0, 0xFF, 0x00, 0x01, 0x00, 0x00};

std::vector<int64_t> HeadsIn(const shot::Bytes& bytes, int64_t end) {
  std::vector<int64_t> heads;
  for (size_t at = 1; at < bytes.size();) {
    const void* found = memmem(&bytes[at], bytes.size() - at, headMark, sizeof headMark);
    if (found == nullptr) break;
    at = static_cast<size_t>(static_cast<const uint8_t*>(found) - bytes.data());
    const uint8_t type = bytes[at - 1];
    const bool known = type == (shot::tokenOri & 0xFF) || type == (shot::tokenDwo & 0xFF);
    if (known && static_cast<int64_t>(at) - 1 < end) heads.push_back(static_cast<int64_t>(at) - 1);
    ++at;
  }
  return heads;
}

// The picture at `at`, which may reach far beyond what is usual; without its look.
std::optional<Found> PictureThere(DiskSource& disk, int64_t at, int64_t end, shot::Bytes& bytes) {
  for (int64_t size = 4 << 20; size <= longestPicture; size *= 4) {
    bytes = disk.Read(at, std::min(size, end - at));
    auto picture = PictureAt(bytes, 0);
    if (!picture || picture->ended || size >= end - at) return picture;
  }
  return std::nullopt;
}

bool IsSound(Found& picture, const shot::Bytes& bytes, const Looker& look) {
  if (!picture.ended || !picture.Sound()) return false;
  picture.look = look(Source(bytes).first(static_cast<size_t>(picture.size)));
  return picture.Sound();
}

// How long a finished shot is by what it tells of itself; 0 if no thumbnail stands where it should.
int64_t ToldLength(DiskSource& disk, int64_t at, const Head& head) {
  if (head.storedSize == 0) return 0;
  const int64_t thumbnailAt = head.picturesAt + head.storedSize;
  const shot::Bytes section = disk.Read(at + thumbnailAt, shot::sectionHead);
  const int64_t size = NumberAt(section, 2, 4);
  if (NumberAt(section, 0, 2) != shot::tokenThumbnail || size == 0 || size > longestThumbnail) return 0;
  return thumbnailAt + shot::sectionHead + size;
}

}  // namespace

Marks SearchDisk(DiskSource& disk, const std::function<void(int64_t done)>& progress) {
  Marks marks;
  for (int64_t at = 0; at < disk.Size(); at += window) {
    const shot::Bytes bytes = disk.Read(at, window + overlap);
    for (const int64_t head : HeadsIn(bytes, window)) marks.heads.push_back(at + head);
    for (int64_t picture = NextPicture(bytes, 0); picture >= 0 && picture < window;
         picture = NextPicture(bytes, picture + 1))
      marks.pictures.push_back(at + picture);
    progress(std::min(at + window, disk.Size()));
  }
  return marks;
}

shot::Bytes ShotAt(DiskSource& disk, int64_t at, int64_t next, const Looker& look) {
  const Head head = ReadHead(disk.Read(at, std::min(longestHead, next - at)));
  if (head.picturesAt < 0) return {};
  if (const int64_t told = ToldLength(disk, at, head); told > 0 && told <= longestShot)
    return disk.Read(at, std::min(told, next - at));
  int64_t end = at + head.picturesAt;
  shot::Bytes bytes;
  while (end < next && end - at < longestShot) {
    auto picture = PictureThere(disk, end, next, bytes);
    if (!picture || !IsSound(*picture, bytes, look)) break;
    end += picture->size;
  }
  return end > at + head.picturesAt ? disk.Read(at, end - at) : shot::Bytes{};
}

shot::Bytes PictureOn(DiskSource& disk, int64_t at, const Looker& look) {
  shot::Bytes bytes;
  auto picture = PictureThere(disk, at, disk.Size(), bytes);
  if (!picture || !IsSound(*picture, bytes, look)) return {};
  bytes.resize(static_cast<size_t>(picture->size));
  return bytes;
}

}  // namespace rescue
