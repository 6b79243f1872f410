#include "venc/whole_file.h"

#include <cstdlib>

long LumoFileSize(FILE* file) {
  if (fseek(file, 0, SEEK_END) != 0) return -1;
  const long size = ftell(file);
  return fseek(file, 0, SEEK_SET) == 0 ? size : -1;
}

char* LumoReadWholeText(const char* path, size_t room) {
  FILE* file = fopen(path, "rb");
  if (file == nullptr) return nullptr;
  const long size = LumoFileSize(file);
  char* text = size < 0 ? nullptr : static_cast<char*>(calloc(static_cast<size_t>(size) + 1 + room, 1));
  if (text != nullptr && fread(text, 1, static_cast<size_t>(size), file) != static_cast<size_t>(size)) {
    free(text);
    text = nullptr;
  }
  fclose(file);
  return text;
}
