#include "common/fpga_ctrl/array/write_cipher.h"

// The device's builder fills this in: the key and the commands that carry it are the builder's own. Empty, it serves
// layers without protection.
void WriteCipher() {}
