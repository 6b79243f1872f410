#include "common/settings/key_values.h"

#include <cstdio>
#include <cstring>

int LumoReadText(const char* path, char* text, size_t size) {
  memset(text, 0, size);
  FILE* file = fopen(path, "rb");
  if (file == nullptr) return -1;
  const size_t count = fread(text, 1, size - 1, file);
  fclose(file);
  return static_cast<int>(count);
}

void LumoWalkKeyValues(char* text, void (*take)(void* target, const char* key, const char* value), void* target) {
  char* line = text;
  for (char* end = strchr(line, '\n'); end != nullptr; end = strchr(line, '\n')) {
    *end = '\0';
    char* equals = strchr(line, '=');
    if (equals != nullptr) {
      *equals = '\0';
      take(target, line, equals + 1);
    }
    line = end + 1;
  }
}
