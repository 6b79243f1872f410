// The ISP's tuning file. Optional: without it the ISP's own defaults stand.
#pragma once

// Reads "fixfile.bin" from the working directory and hands it to the ISP, which must know its registers by then
// (HI_PQ_BIN_Init). Whatever fails is told on standard output and is no failure of the start.
void fun();
