// Physical registers of the processor, from user space: everything above speaks in signals and never in addresses.
#pragma once

// Maps `size` bytes of physical memory at `phy_addr` and gives the address to reach them by. A range that lies inside
// an existing mapping reuses it; mappings are whole pages and stay for the life of the process.
// Null, with a line in the log, if size is 0, /dev/mem does not open, the mapping is refused or memory is out.
// The list of mappings has no lock: threads must not map for the first time at once. All pages that more than one
// thread touches are mapped in LumoGpioInit.
void* memmap(unsigned int phy_addr, unsigned int size);

// rw 0 reads the 32-bit register at ulAddr into *ulValue, any other value writes *ulValue to it. Returns 0, or -1 for a
// register whose page cannot be mapped: it reads as 0. Nobody looks at the result; without registers no layer comes up,
// and that is what the start fails by.
int himm(unsigned int rw, unsigned int ulAddr, unsigned int* ulValue);
