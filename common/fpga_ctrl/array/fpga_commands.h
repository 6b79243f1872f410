// What the FPGA layers can be told and asked. The codes, addresses and payloads stand as a table in fpga_commands.cpp;
// the functions below are their names. Nothing here keeps state.
//
// Two kinds of command. Those for the camera side (sub delays, waits for a frame sync, sensor register access, exposure
// set fetches) enter the layer's command FIFO and are carried out in order: the call returns at once and the waiting
// happens in the layer. Pace them by LumoSpiIsFifoAlmostFull; LumoSpiIsReady tells that a layer has drained them. All
// others set the layer's state directly.
//
// Unless said otherwise a write returns 0, or -1 if the transfer failed; a read returns the register byte, or -1.
// `layIdx` 0..2, 3 all layers; `camIdx` 0..8, 15 all cameras of the layer. Same threads as spi_link.h.
#pragma once

#include "common/fpga_ctrl/array/spi_link.h"
#include "common/types.h"

// --- layer state ---
int LumoSpiSetFifoResetAll(BYTE isHigh);
void LumoSpiPulseFifoReset();                            // high, then low; results are not looked at
int LumoSpiMainDelaySetupAndRunAll(unsigned int delay);  // 24 bits, in the layers' clock
int LumoSpiSetColumnSize(BYTE columnSize256);            // high byte of the sensors' line length
int LumoSpiSetVsyncMaxCnt(BYTE layIdx, BYTE vsyncMaxCnt);
int LumoSpiSetCamResetnAll(BYTE isHigh);  // 0 holds all sensors in reset; they lose their set-up

// --- capture ---
int LumoSpiCapturePrepareAll();
int LumoSpiCaptureStartAll();
int LumoSpiSetCaptureHdrAll(BYTE enable);
int LumoSpiSetExposureOrgAll(uint16_t exposureOrg);  // exposure that the scene measurement starts from
// Stores one byte of an exposure set in layer 1. regMode 1..6 is the set, regIdx 0..7 the byte, see exposure.h.
int LumoSpiWriteExpsReg(BYTE regMode, BYTE regIdx, BYTE regData);

// --- read-out ---
int LumoSpiCaptureLoadNew(BYTE layIdx, BYTE raddrH);          // raddrH: camIdx x 6 + exposure; six bits are sent
int LumoSpiSelectDataSrcOneLayer(BYTE layIdx, BYTE selSrc1);  // 0 own frame store, else what the layer before sends
int LumoSpiSetParalSendOneLayer(BYTE layIdx, BYTE enable);    // link to the next layer

// --- command FIFO of the layers ---
int LumoSpiSubDelaySetupOneCamera(BYTE layIdx, BYTE camIdx, unsigned int delay);  // 24 bits, in the layers' clock
int LumoSpiSubDelaySetupAll(unsigned int delay);
int LumoSpiSubDelayRunAll();
// Waits for the sensors' frame sync, at most `maxDelay` (24 bits). Returns -2 if that limit could not be sent.
int LumoSpiSubWaitVysncAll(unsigned int maxDelay, BYTE selPosEdge);
int LumoSpiGetRegValueAll(BYTE regIdx);        // fetches byte regIdx (three bits) of the current exposure set
int LumoSpiCciWriteCalcAll(uint16_t cciAddr);  // writes the fetched byte to a register of all sensors

// --- sensor registers ---
// The two with one camera cut camIdx to the layer's last: 8 on layer 0, 7 on the others.
int LumoSpiCciWriteOneCamera(BYTE layIdx, BYTE camIdx, uint16_t cciAddr, BYTE cciData);
int LumoSpiCciReadOneCamera(BYTE layIdx, BYTE camIdx, uint16_t cciAddr);  // starts it; answer by LumoSpiReadCci
int LumoSpiCciWriteOneLayer(BYTE layIdx, uint16_t cciAddr, BYTE cciData);
int LumoSpiCciWriteAll(uint16_t cciAddr, BYTE cciData);
// Writes `regNum` table words, cciAddr in bits 23 to 8 and cciData in bits 7 to 0. Stops at the first that fails: -1.
int LumoSpiCciBatchWriteAll(const int* regTable, int regNum);
// The whole read, waiting at most `waitTime` ms. The byte; -1 the answer, -2 the wait, -3 the request failed.
int LumoSpiCciRead(BYTE layIdx, BYTE camIdx, uint16_t cciAddr, int waitTime);

// --- reads ---
int LumoSpiReadCci(BYTE layIdx, BYTE isSub0);    // isSub0: cameras 0 to 6, else 7 and 8
int LumoSpiReadLoadBusy();                       // 1 if any layer is sending, 0 none, -1 a read failed
int LumoSpiReadHsyncErr(BYTE layIdx, BYTE idx);  // idx 0 low byte, else high byte
int LumoSpiReadFifoEmpty(BYTE layIdx);
int LumoSpiReadSaveFinish(BYTE layIdx);
int LumoSpiReadCalcCnt();
int LumoSpiReadCamdataAvg();
int LumoSpiReadExposure();  // 24 bits, rows x gain (16 is one row at unity); -1 if any of its three reads failed
