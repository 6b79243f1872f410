// Frames by physical address: the memory of the buffer pools, as /dev/mem shows it.
#pragma once

#include <cstddef>
#include <cstdint>

// Maps `size` bytes from the physical address `phyAddr` on, for reading and writing, shared with the chip.
//   memDev   descriptor of /dev/mem
// Returns the place of that address inside the mapping, which begins at the page that holds it; null on failure.
// Undone by COMM_SYS_Munmap with the same size.
void* COMM_SYS_Mmap(int memDev, uint32_t phyAddr, size_t size);

// Returns 0, or -1 if there is no such mapping.
int COMM_SYS_Munmap(void* address, size_t size);
