// Doors for C streams.
#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstring>

#include "twin/board.h"
#include "twin/kernel/thread_orders.h"
#include "twin/transcript/transcript.h"

using twin::Board;
using twin::Stream;
using twin::Transcript;

extern "C" FILE* twin_stdout;
extern "C" FILE* twin_stderr;

namespace {
Stream* Find(FILE* file) {
  Stream* stream = Board::Current().stdio.Find(file);
  if (stream == nullptr) errno = EBADF;
  return stream;
}

// Of the streams that are files; what is printed is told as log.
void NoteFile(FILE* file, const std::string& what, bool well) {
  if (file == twin_stdout || file == twin_stderr || !Transcript::Hears("file")) return;
  Transcript::Note("file", what + (well ? "" : " failed"));
}

// "function:line: text" as function and text; a text without them as it is.
void NoteLog(const char* format, va_list arguments) {
  if (!Transcript::Hears("log")) return;
  std::string text(8192, '\0');
  text.resize(static_cast<size_t>(std::max(0, vsnprintf(text.data(), text.size(), format, arguments))));
  const size_t function = text.find(':'), line = function == std::string::npos ? function : text.find(": ", function);
  const bool located = std::string(format).starts_with("%s:%d: ") && line != std::string::npos;
  Transcript::Note(
      "log", (located ? text.substr(0, function) : "-") + " " + twin::Quoted(located ? text.substr(line + 2) : text));
}
}  // namespace

extern "C" {

FILE* twin_stdout = nullptr;  // set by the board
FILE* twin_stderr = nullptr;

FILE* twin_fopen(const char* path, const char* mode) {
  FILE* file = Board::Current().stdio.Open(path, mode);
  NoteFile(file, "open " + twin::Quoted(path) + " " + mode, file != nullptr);
  return file;
}

int twin_fclose(FILE* file) {
  const int result = Board::Current().stdio.Close(file);
  NoteFile(file, "close", result == 0);
  return result;
}

size_t twin_fread(void* data, size_t size, size_t count, FILE* file) {
  Stream* stream = Find(file);
  if (stream == nullptr || size == 0) return 0;
  const size_t got = stream->Read(static_cast<char*>(data), size * count);
  twin::TellWritten(data, got);
  NoteFile(file, "read " + std::to_string(got), true);
  return got / size;
}

size_t twin_fwrite(const void* data, size_t size, size_t count, FILE* file) {
  Stream* stream = Find(file);
  if (stream == nullptr || size == 0) return 0;
  twin::TellRead(data, size * count);
  const size_t took = stream->Write(static_cast<const char*>(data), size * count);
  NoteFile(file, "write " + std::to_string(size * count), took == size * count);
  return took / size;
}

int twin_fseek(FILE* file, long offset, int whence) {
  Stream* stream = Find(file);
  const int result = stream == nullptr ? -1 : stream->Seek(offset, whence);
  NoteFile(file, "seek " + std::to_string(offset) + " " + std::to_string(whence), result == 0);
  return result;
}

long twin_ftell(FILE* file) {
  Stream* stream = Find(file);
  return stream == nullptr ? -1 : static_cast<long>(stream->Tell());
}

int twin_fflush(FILE* file) {
  Stream* stream = Find(file);
  const bool well = stream != nullptr && stream->Flush() == 0;
  NoteFile(file, "flush", well);
  return well ? 0 : EOF;
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
  va_list again;
  va_copy(again, arguments);
  NoteLog(format, again);
  va_end(again);
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
