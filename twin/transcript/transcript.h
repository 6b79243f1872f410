// What leaves the application, written down: one line a call, in the order in which the calls were made.
//
// While a Transcript exists, each door and each bus face of a model says what the application asked of it. A line is
// the calling thread and a text, `main: spi 3/15 F0 01 00 01`; its first word is the kind:
//
//   reg      reg read 0x12140004 = 0x1 · reg write 0x12140040 0xff
//   delay    delay stc · delay i2c                   the two empty loops
//   sleep    sleep 1000                              microseconds, of usleep and sleep alike
//   spi      spi 3/15 F0 30 0B 00                    a write: layer/camera, code, three data bytes
//            spi read 1 4E = 3A                      a read: layer, code, the byte that came back; "failed" for -1
//            spi open · spi 0x40016B01 0x0           settings: request and value
//            spi stream 1048576                      any other transfer: its bytes
//   cipher   cipher written                          the copy protection's place
//   i2c      i2c write 6B 80 · i2c read 75 = 68      a transaction of the motion bus, as the wires showed it; see
//            bus_monitor.h
//   media    media HI_MPI_VENC_StartRecvPicEx 0 = 0  the call, its numbers, the words of its records, its result
//   file     file open "/mnt/udisk/DCIM/a.tmp" wb · file read 800 · file write 20 · file seek 78082 0 · file flush ·
//            file close · file rename "a" "b" · file access "a" 2 · file mkdir "a" 777 · file remove "a" ...
//            a call that failed has " failed" behind it
//   shell    shell "umount /mnt/udisk"               system; popen has "popen" for "shell" in front of the command
//   net      net listen 5 · net send "HTTP/1.0 ..."  sockets, where the call changes something
//   tty      tty open 0x902 · tty flags 0x0 · tty flush input · tty settings i 0x0 o 0x4 c 0x8bd l 0x8a30 min 16
//            time 1 · tty write "X0Ready ..." · tty read 16 · tty close
//                                                    the serial port; a read when it returns, with its bytes
//   clock    clock set 1764100800                    settimeofday and the clock chip
//   thread   thread create · thread join · exit
//   log      log main "Full Start\n"                 the function in front of the text, "-" if there is none; no line
//                                                    number: that is the source's and not the road's
//
// Reading the clock, taking memory and waiting in select change nothing outside and are not told.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "twin/kernel/kernel.h"

namespace twin {

class Transcript {
 public:
  struct Line {
    Time at;
    std::string thread;
    std::string text;
  };

  // Records from now on. `kinds`: the kinds to record, separated by blanks; empty: all. One at a time in a process.
  explicit Transcript(Kernel& kernel, const std::string& kinds = "");
  ~Transcript();
  Transcript(const Transcript&) = delete;
  Transcript& operator=(const Transcript&) = delete;

  const std::vector<Line>& Lines() const { return lines_; }
  // The texts alone, of one thread or of all.
  std::vector<std::string> Texts(const std::string& thread = "") const;
  void Forget() { lines_.clear(); }
  // Called for each line as it is made; with a listener the lines are not kept.
  void OnLine(std::function<void(const Line&)> listener) { listener_ = std::move(listener); }

  // For doors and models: true while somebody records this kind. A text is put together only then.
  static bool Hears(const char* kind);
  // Adds "kind text". Only after Hears said so.
  static void Note(const char* kind, const std::string& text);

 private:
  Kernel& kernel_;
  const std::string kinds_;
  std::vector<Line> lines_;
  std::function<void(const Line&)> listener_;
};

// The 32-bit words of a record as text, "1 0 0x3519a": below 10,000 decimal, others hexadecimal, zeros at the end left
// out. What does not fill a word counts as its low bytes.
std::string WordsOf(const void* record, size_t bytes);
// In quotes, with \n for a line feed and so on: one line whatever it holds.
std::string Quoted(const std::string& text);
// "F0 30 0B"
std::string HexBytes(const uint8_t* bytes, size_t count);

}  // namespace twin
