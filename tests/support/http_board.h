// The whole board with an Ethernet adapter, and a phone on its network: nothing is touched but what a person, a wire or
// a client could touch.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/http.h"
#include "tests/support/made_shot.h"
#include "twin/board.h"

class HttpBoard : public testing::Test {
 protected:
  explicit HttpBoard(std::vector<twin::UsbAdapter> usb = {twin::UsbAdapter::Ethernet})
      : board(twin::BoardOptions{.usb = std::move(usb)}) {}
  void SetUp() override;     // boots, and waits for both ports
  void TearDown() override;  // nothing may have been complained of
  void BootAgain();          // after a power-off

  HttpAnswer Get(const std::string& target, uint16_t port = kControl) { return ::Get(board, target, port); }
  // A GET that must be answered by 200 and "OK".
  void Ok(const std::string& target);

  // What the list says: its numbers and the names below them. Fails the test if it is no good list.
  struct List {
    std::vector<int> numbers;
    std::vector<std::string> names;
    int NeedCapture() const { return numbers.at(0); }
    int NeedSave() const { return numbers.at(1); }
    bool Busy() const { return NeedCapture() >= 254 || NeedSave() >= 254; }
  };
  List Poll();
  static List Parse(const HttpAnswer& answer);
  // Polls every 100 ms until a shot is over and stays so for `settled`, as a client does. Returns the pairs of numbers
  // that it saw, each once as long as it did not change: "254,254 255,255 0,255 0,0".
  std::string Follow(twin::Duration settled = std::chrono::milliseconds(500));

  // Fetches a file by /get_file and keeps the body. Returns where.
  std::string Fetch(const std::string& name);
  bool SwitchedOff() {
    return board.RunUntil([this] { return !board.Powered(); }, std::chrono::minutes(1));
  }

  twin::Board board;
  support::TestFolder folder;
};
