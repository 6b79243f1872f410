// The board's media units, with marked pictures, driven through the library's functions and the lanes, without the
// application but for its sensor description.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "sdk/hi_mpi.h"
#include "twin/board.h"

// A record before it is handed over, to be spoilt.
using Record =
    std::variant<MIPI_DEV_ATTR_S*, ISP_PUB_ATTR_S*, VI_DEV_ATTR_S*, VI_CHN_ATTR_S*, VI_DCI_PARAM_S*, VI_CSC_ATTR_S*,
                 VPSS_GRP_ATTR_S*, VPSS_CHN_ATTR_S*, VPSS_CHN_MODE_S*, VENC_ATTR_JPEG_S*, VB_CONF_S*, MPP_SYS_CONF_S*>;

struct MediaUnits {
  // Runs `body` as a thread of the board and lets the board run until it has ended; fails the test after a minute.
  void Do(const std::function<void()>& body);

  // One step each of what a program does to get pictures; EXPECTs that none is refused unless `refused` has a count.
  // In a thread.
  void StartSystem();
  void StartReceiver();
  void StartIsp();  // with a thread that runs it
  void StartInput();
  void StartVpss();
  void StartEncoder(VENC_CHN channel);
  void StartAll();

  // A frame on the lanes at the present time, and time for both encoders to be done.
  void ArriveAndEncode(int camera);

  // Takes the waiting stream of a channel, and gives it back: its bytes. In a thread.
  std::vector<uint8_t> Take(VENC_CHN channel);

  void Ok(HI_S32 result);
  template <class R>
  const R* Spoilt(R record);
  void Bind(MPP_CHN_S from, MPP_CHN_S to);

  std::function<void(Record)> spoil = [](Record) {};
  std::optional<int> refused;
  bool thorough = false;  // makes the calls too that no picture needs
  twin::Board board{{}};
};
