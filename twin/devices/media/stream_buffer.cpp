#include "twin/devices/media/stream_buffer.h"

#include <algorithm>
#include <cstring>

namespace twin {

namespace {

constexpr size_t kAlign = 64;  // of the addresses that are handed out
constexpr uint8_t kReleased = 0xDD;

}  // namespace

bool StreamBuffer::Put(std::span<const uint8_t> picture) {
  if (picture.empty() || picture.size() > bytes_.size() - used_) return false;
  const size_t untilEnd = std::min(picture.size(), bytes_.size() - next_);
  std::memcpy(bytes_.data() + next_, picture.data(), untilEnd);
  std::memcpy(bytes_.data(), picture.data() + untilEnd, picture.size() - untilEnd);
  pictures_.push_back({next_, picture.size()});
  next_ = (next_ + picture.size()) % bytes_.size();
  used_ += picture.size();
  return true;
}

std::vector<StreamBuffer::Piece> StreamBuffer::Pieces(size_t picture) {
  const Region& region = pictures_[picture];
  const size_t offset = region.start % kAlign;
  const size_t untilEnd = std::min(region.size, bytes_.size() - region.start);
  std::vector<Piece> pieces = {
      {bytes_.data() + region.start - offset, static_cast<uint32_t>(offset), static_cast<uint32_t>(untilEnd)}};
  if (untilEnd < region.size) pieces.push_back({bytes_.data(), 0, static_cast<uint32_t>(region.size - untilEnd)});
  return pieces;
}

void StreamBuffer::Release() {
  if (pictures_.empty()) return;
  for (const Piece& piece : Pieces(0)) std::memset(piece.start + piece.offset, kReleased, piece.size);
  used_ -= pictures_.front().size;
  pictures_.pop_front();
}

void StreamBuffer::Clear() {
  while (!pictures_.empty()) Release();
}

}  // namespace twin
