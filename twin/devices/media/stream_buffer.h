// An encoder channel's stream buffer: a ring of its own memory, from which finished pictures are handed out and into
// which they are given back in the order in which they came.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>
#include <vector>

namespace twin {

class StreamBuffer {
 public:
  // A piece of a picture. `start` is aligned; the picture's own bytes begin `offset` behind it.
  struct Piece {
    uint8_t* start;
    uint32_t offset;
    uint32_t size;  // of the picture's own bytes
  };

  explicit StreamBuffer(size_t size) : bytes_(size) {}

  // Puts a picture behind the last one. False, and nothing is kept, if there is not so much room.
  bool Put(std::span<const uint8_t> picture);
  // The pictures in the buffer, oldest first.
  size_t Pictures() const { return pictures_.size(); }
  size_t Bytes() const { return used_; }
  // A picture's pieces: one, or two if it goes round the end of the ring.
  std::vector<Piece> Pieces(size_t picture);
  // Gives the oldest picture's room back. What stood there is overwritten at once, so that whoever still reads it sees.
  void Release();
  void Clear();

 private:
  struct Region {
    size_t start, size;
  };

  std::vector<uint8_t> bytes_;
  std::deque<Region> pictures_;
  size_t next_ = 0;  // where the next picture goes
  size_t used_ = 0;
};

}  // namespace twin
