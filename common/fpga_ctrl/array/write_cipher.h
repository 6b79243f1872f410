// The copy protection of the layers.
#pragma once

// Writes the device's key to the layers: after each of their resets, before their sensors leave theirs. Layers that are
// protected do nothing without it. Same threads as spi_link.h.
void WriteCipher();
