// The configuration logic's view of a bitstream: words of 32 bits, highest byte first, from the sync word on.
//
// Modelled: sync word at any byte, type-1 and type-2 writes, the commands RCRC, START and DESYNC, the count of frame
// words, a CRC-32 (IEEE) over the frame words as they lie in the stream. Not modelled: frame addresses, the part's id,
// the real parts' check over all packets, reads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace twin {

class BitstreamReader {
 public:
  // Frame words that fill the part; fewer or more leave it unconfigured.
  static constexpr uint32_t kFrameWords = 348970;

  enum class State {
    Searching,  // no sync word yet, or after a DESYNC that came too early
    Reading,
    Accepted,  // the part is configured; what follows is not looked at
    Rejected,  // wrong check sum or a word that is no packet; until Restart
  };

  void Restart() { *this = BitstreamReader(); }
  void Feed(std::span<const uint8_t> bytes);
  State GetState() const { return state_; }

 private:
  void Word(uint32_t word);
  void Header(uint32_t word);
  void RegisterWord(uint32_t word);
  size_t FrameBytes(std::span<const uint8_t> bytes);

  State state_ = State::Searching;
  uint32_t shift_ = 0;  // the last bytes seen
  int bytesInWord_ = 0;
  uint32_t register_ = 0;   // that the present packet writes
  uint32_t wordsLeft_ = 0;  // of the present packet
  uint32_t frameWords_ = 0;
  uint32_t crc_ = 0xFFFFFFFF;
  bool checked_ = false;  // the check sum has matched
  bool started_ = false;
};

}  // namespace twin
