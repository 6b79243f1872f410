// Doors for the TIFF library.
#include <tiffio.h>

#include <cstdarg>

#include "twin/board.h"

using twin::Board;

extern "C" {

TIFF* twin_TIFFOpen(const char* path, const char* mode) { return Board::Current().tiffFiles.Open(path, mode); }
void twin_TIFFClose(TIFF* tiff) { Board::Current().tiffFiles.Close(tiff); }

TIFFErrorHandler twin_TIFFSetErrorHandler(TIFFErrorHandler handler) {
  return Board::Current().tiffFiles.SetErrorHandler(handler);
}

TIFFErrorHandler twin_TIFFSetWarningHandler(TIFFErrorHandler handler) {
  return Board::Current().tiffFiles.SetWarningHandler(handler);
}

int twin_TIFFSetField(TIFF* tiff, uint32_t tag, ...) {
  va_list arguments;
  va_start(arguments, tag);
  const int result = Board::Current().tiffFiles.Call(tiff, 0, [&] { return TIFFVSetField(tiff, tag, arguments); });
  va_end(arguments);
  return result;
}

int twin_TIFFWriteBufferSetup(TIFF* tiff, void* buffer, tmsize_t size) {
  return Board::Current().tiffFiles.Call(tiff, 0, [=] { return TIFFWriteBufferSetup(tiff, buffer, size); });
}

int twin_TIFFWriteScanline(TIFF* tiff, void* line, uint32_t row, uint16_t sample) {
  return Board::Current().tiffFiles.Call(tiff, -1, [=] { return TIFFWriteScanline(tiff, line, row, sample); });
}

int twin_TIFFWriteDirectory(TIFF* tiff) {
  return Board::Current().tiffFiles.Call(tiff, 0, [=] { return TIFFWriteDirectory(tiff); });
}

void twin_TIFFFreeDirectory(TIFF* tiff) {
  Board::Current().tiffFiles.Call(tiff, 0, [=] {
    TIFFFreeDirectory(tiff);
    return 0;
  });
}

int twin_TIFFCreateEXIFDirectory(TIFF* tiff) {
  return Board::Current().tiffFiles.Call(tiff, 1, [=] { return TIFFCreateEXIFDirectory(tiff); });  // 0 is success
}

int twin_TIFFWriteCustomDirectory(TIFF* tiff, uint64_t* offset) {
  return Board::Current().tiffFiles.Call(tiff, 0, [=] { return TIFFWriteCustomDirectory(tiff, offset); });
}

int twin_TIFFSetDirectory(TIFF* tiff, tdir_t directory) {
  return Board::Current().tiffFiles.Call(tiff, 0, [=] { return TIFFSetDirectory(tiff, directory); });
}

}  // extern "C"
