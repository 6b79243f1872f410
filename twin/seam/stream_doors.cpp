// Doors for C streams.
#include <cerrno>
#include <cstdarg>
#include <cstring>

#include "twin/board.h"

using twin::Board;
using twin::Stream;

namespace {
Stream* Find(FILE* file) {
  Stream* stream = Board::Current().stdio.Find(file);
  if (stream == nullptr) errno = EBADF;
  return stream;
}
}  // namespace

extern "C" {

FILE* twin_stdout = nullptr;  // set by the board
FILE* twin_stderr = nullptr;

FILE* twin_fopen(const char* path, const char* mode) { return Board::Current().stdio.Open(path, mode); }
int twin_fclose(FILE* file) { return Board::Current().stdio.Close(file); }

size_t twin_fread(void* data, size_t size, size_t count, FILE* file) {
  Stream* stream = Find(file);
  if (stream == nullptr || size == 0) return 0;
  return stream->Read(static_cast<char*>(data), size * count) / size;
}

size_t twin_fwrite(const void* data, size_t size, size_t count, FILE* file) {
  Stream* stream = Find(file);
  if (stream == nullptr || size == 0) return 0;
  return stream->Write(static_cast<const char*>(data), size * count) / size;
}

int twin_fseek(FILE* file, long offset, int whence) {
  Stream* stream = Find(file);
  return stream == nullptr ? -1 : stream->Seek(offset, whence);
}

long twin_ftell(FILE* file) {
  Stream* stream = Find(file);
  return stream == nullptr ? -1 : static_cast<long>(stream->Tell());
}

int twin_fflush(FILE* file) {
  Stream* stream = Find(file);
  return stream == nullptr || stream->Flush() != 0 ? EOF : 0;
}

int twin_feof(FILE* file) {
  Stream* stream = Find(file);
  return stream != nullptr && stream->end ? 1 : 0;
}

int twin_ferror(FILE* file) {
  Stream* stream = Find(file);
  return stream == nullptr || stream->failed ? 1 : 0;
}

int twin_fgetc(FILE* file) {
  Stream* stream = Find(file);
  unsigned char byte = 0;
  return stream != nullptr && stream->Read(reinterpret_cast<char*>(&byte), 1) == 1 ? byte : EOF;
}

char* twin_fgets(char* text, int size, FILE* file) {
  int length = 0;
  while (length + 1 < size) {
    const int c = twin_fgetc(file);
    if (c == EOF) break;
    text[length++] = static_cast<char>(c);
    if (c == '\n') break;
  }
  if (length == 0) return nullptr;
  text[length] = '\0';
  return text;
}

int twin_vfprintf(FILE* file, const char* format, va_list arguments) {
  return Board::Current().stdio.Print(file, format, arguments);
}

int twin_fprintf(FILE* file, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int result = twin_vfprintf(file, format, arguments);
  va_end(arguments);
  return result;
}

int twin_printf(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int result = twin_vfprintf(twin_stdout, format, arguments);
  va_end(arguments);
  return result;
}

int twin_fputs(const char* text, FILE* file) {
  const size_t size = std::strlen(text);
  return twin_fwrite(text, 1, size, file) == size ? 0 : EOF;
}

int twin_fputc(int c, FILE* file) {
  const char byte = static_cast<char>(c);
  return twin_fwrite(&byte, 1, 1, file) == 1 ? static_cast<unsigned char>(byte) : EOF;
}

int twin_puts(const char* text) { return twin_fputs(text, twin_stdout) == EOF ? EOF : twin_fputc('\n', twin_stdout); }
void twin_perror(const char* text) { twin_fprintf(twin_stderr, "%s: %s\n", text, std::strerror(errno)); }
int twin_putchar(int c) { return twin_fputc(c, twin_stdout); }

}  // extern "C"
