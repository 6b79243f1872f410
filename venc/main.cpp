#include "venc/lumora.h"

int main() { return LumoMain(); }
