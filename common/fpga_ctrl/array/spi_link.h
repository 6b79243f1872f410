// The link to the three FPGA layers: one eight-byte frame a command or register read, over spidev.
// One user at a time: the control thread, or the snap thread during a shot. There is no lock; a single frame is never
// torn, a sequence of frames is protected only by that turn-taking. No call here retries.
#pragma once

#include "common/types.h"

constexpr BYTE kAllLayers = 3;
constexpr BYTE kAllCameras = 15;

// The registers that a layer answers, one byte each.
enum LayerRegister : BYTE {
  kRegReady = 0x40,           // not 0: all commands carried out
  kRegFifoAlmostFull = 0x41,  // not 0: the command FIFO takes no further exposure step
  kRegCapConfFinish = 0x43,   // not 0: configuration of the capture finished
  kRegCapSaveFinish = 0x44,   // not 0: the shot is saved
  kRegCciSub0 = 0x45,         // byte of the last sensor read from cameras 0 to 6
  kRegCciSub1 = 0x46,         // byte of the last sensor read from cameras 7 and 8
  kRegLoadBusy = 0x48,        // not 0: a stored frame is being sent
  kRegHsyncErrLow = 0x49,     // row error count
  kRegHsyncErrHigh = 0x4A,
  kRegFifoEmpty = 0x4B,     // for the log
  kRegSaveFinish = 0x4C,    // for the log
  kRegCalcCnt = 0x4D,       // layer 1: scene measurements so far
  kRegCamdataAvg = 0x4E,    // layer 1: scene average of the latest one
  kRegExposureHigh = 0x50,  // layer 1: exposure of the measurement, 24 bits
  kRegExposureMiddle = 0x51,
  kRegExposureLow = 0x52,
};

// Connects the pins and opens the bus: mode 0, 16 bits a word, 25 MHz. Calling it again only connects the pins.
// Returns 0; -1 open failed, -2 mode, -3 word size, -4 speed refused. After -2 to -4 the bus stays open, so that the
// next call returns 0 without another try.
int LumoSpiInit();

// Closes the bus; harmless when it is closed.
void LumoSpiExit();

// Exchanges `size` bytes (even; 16-bit words in the processor's byte order) in one transfer, the select line released
// after it. Frames and the bitstream both leave this way. Returns 0, or -1 if the driver refused; logs nothing.
int LumoSpiTransfer(const uint16_t* send, uint16_t* receive, unsigned int size);

// Sends one command.
//   layIdx  0..2 one layer, 3 all layers; two bits are sent
//   camIdx  0..8 one camera, 15 all cameras of the layer; four bits are sent
//   spiCmd  command code, see fpga_commands.cpp
// Returns 0, or -1 if the transfer failed.
int LumoSpiWrite(BYTE layIdx, BYTE camIdx, BYTE spiCmd, BYTE spiDataH, BYTE spiDataM, BYTE spiDataL);

// Reads one register of one layer. Returns the byte, 0 to 255, or -1 if the transfer failed.
int LumoSpiRead(BYTE layIdx, BYTE spiCmd);

// One register of layers 0, 1 and 2, all three always read: 1 if it is not 0 on all layers (first form) or on any
// layer (second form), else 0; -1 if any read failed, whatever the others say.
int LumoSpiReadAllSet(BYTE spiCmd);
int LumoSpiReadAnySet(BYTE spiCmd);

// Each 1, 0 or -1, as above: all layers ready, any FIFO almost full, all finished.
int LumoSpiIsReady();
int LumoSpiIsFifoAlmostFull();
int LumoSpiIsCapConfFinish();
int LumoSpiIsCapSaveFinish();

// Poll every millisecond, at least once, until all layers are ready or have saved.
//   waitTime  limit in ms
// Return 0 done, -1 the link failed, -2 time ran out.
int LumoSpiWaitReady(int waitTime);
int LumoSpiWaitCapSaveFinish(int waitTime);
