#include "twin/devices/fpga/bitstream_reader.h"

#include <algorithm>
#include <array>

namespace twin {

namespace {

constexpr uint32_t kSync = 0xAA995566;
constexpr uint32_t kCrcRegister = 0, kFrameRegister = 2, kCommandRegister = 4;
constexpr uint32_t kStart = 5, kResetCrc = 7, kDesync = 13;

constexpr auto kCrcTable = [] {
  std::array<uint32_t, 256> table{};
  for (uint32_t i = 0; i < 256; i++) {
    uint32_t crc = i;
    for (int bit = 0; bit < 8; bit++) crc = (crc >> 1) ^ (crc & 1 ? 0xEDB88320u : 0);
    table[i] = crc;
  }
  return table;
}();

}  // namespace

void BitstreamReader::Feed(std::span<const uint8_t> bytes) {
  while (!bytes.empty() && (state_ == State::Searching || state_ == State::Reading)) {
    if (state_ == State::Reading && register_ == kFrameRegister && wordsLeft_ > 0 && bytesInWord_ == 0 &&
        bytes.size() >= 4) {
      bytes = bytes.subspan(FrameBytes(bytes));
      continue;
    }
    shift_ = shift_ << 8 | bytes[0];
    bytes = bytes.subspan(1);
    if (state_ == State::Searching) {
      if (shift_ == kSync) {
        state_ = State::Reading;
        bytesInWord_ = 0;
      }
    } else if (++bytesInWord_ == 4) {
      bytesInWord_ = 0;
      Word(shift_);
    }
  }
}

// Takes whole frame words at once; returns how many bytes they were.
size_t BitstreamReader::FrameBytes(std::span<const uint8_t> bytes) {
  const size_t words = std::min<size_t>(wordsLeft_, bytes.size() / 4);
  for (const uint8_t byte : bytes.first(words * 4)) crc_ = (crc_ >> 8) ^ kCrcTable[(crc_ ^ byte) & 0xFF];
  wordsLeft_ -= static_cast<uint32_t>(words);
  frameWords_ += static_cast<uint32_t>(words);
  return words * 4;
}

void BitstreamReader::Word(uint32_t word) {
  if (wordsLeft_ == 0) return Header(word);
  wordsLeft_--;
  RegisterWord(word);
}

void BitstreamReader::Header(uint32_t word) {
  const uint32_t type = word >> 29;
  if (type == 1) {
    register_ = (word >> 13) & 0x1F;
    wordsLeft_ = ((word >> 27) & 3) == 2 ? word & 0x7FF : 0;  // only writes carry words
  } else if (type == 2) {
    wordsLeft_ = word & 0x07FFFFFF;
  } else {
    state_ = State::Rejected;
  }
}

void BitstreamReader::RegisterWord(uint32_t word) {
  switch (register_) {
    case kFrameRegister:  // a word that two transfers share
      for (int shift = 24; shift >= 0; shift -= 8) {
        crc_ = (crc_ >> 8) ^ kCrcTable[(crc_ ^ (word >> shift)) & 0xFF];
      }
      frameWords_++;
      break;
    case kCrcRegister:
      checked_ = word == ~crc_;
      if (!checked_) state_ = State::Rejected;
      break;
    case kCommandRegister:
      if (word == kResetCrc) crc_ = 0xFFFFFFFF;
      if (word == kStart) started_ = true;
      if (word == kDesync) {
        state_ = checked_ && started_ && frameWords_ == kFrameWords ? State::Accepted : State::Searching;
      }
      break;
    default: break;
  }
}

}  // namespace twin
