#include "common/log.h"

FILE* g_lumoDebug = nullptr;
