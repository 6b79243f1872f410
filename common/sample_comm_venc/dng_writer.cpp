#include "common/sample_comm_venc/dng_writer.h"

#include <tiffio.h>

#include <array>
#include <bit>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include "common/cameras.h"
#include "common/log.h"
#include "common/sample_comm_venc/dng_preview.h"

// The first libtiff that knows every tag below, with the argument forms used here.
static_assert(TIFFLIB_VERSION >= 20221213);

namespace {

constexpr int kMinWidth = kMinPreviewWidth * kPreviewScale;
constexpr int kMaxWidth = kMaxPreviewWidth * kPreviewScale;
constexpr int kMaxHeight = 3264;
constexpr int kExposures = 6;

// libtiff would otherwise take room for a whole picture, 16 MB. A picture's rows gather in at most this much.
constexpr int kMaxBlockSize = 1024 * 1024;

// From XYZ to the colours of the camera, row by row. Held to the bit: six printed digits leave room for a neighbour.
constexpr std::array<float, 9> cam_xyz = {1.69267F,  -0.562643F,  -0.0841813F, -0.384878F, 1.10835F,
                                          0.318421F, -0.0598647F, 0.191797F,   1.04934F};
static_assert(std::bit_cast<std::array<uint32_t, 9>>(cam_xyz) ==
              std::array<uint32_t, 9>{0x3FD8A969, 0xBF10095F, 0xBDAC673F, 0xBEC50EBB, 0x3F8DDE6A, 0x3EA30814,
                                      0xBD7534B0, 0x3E44666F, 0x3F8650C6});

// Lets the rows of a picture reach the disk in blocks that divide it without a rest: so the last row completes a block,
// and it is its own writing that fails if the disk is full, not that of the directory behind it.
void SetUpBlocks(TIFF* tif, int rows, int rowSize) {
  int blockRows = kMaxBlockSize / rowSize < rows ? kMaxBlockSize / rowSize : rows;
  while (rows % blockRows != 0) blockRows--;
  TIFFWriteBufferSetup(tif, nullptr, tmsize_t{blockRows} * rowSize);
}

void LogTiff(const char* module, const char* format, va_list arguments) {
  std::array<char, 256> text;
  vsnprintf(text.data(), text.size(), format, arguments);
  LumoLog("%s: %s\n", module != nullptr ? module : "tiff", text.data());
}

// The 19 characters in front of the path's last four, in the shape of a TIFF date. What stands there is the end of the
// folder's name and the start of the file's, so it is no date but tells the frame. A path too short for it gives blanks
// in front, which is how TIFF writes a date that is not known.
void MakeDateTime(char (&datetime)[20], const char* rawPath) {
  memset(datetime, ' ', 19);
  const size_t length = strlen(rawPath);
  const size_t count = length >= 23 ? 19 : length > 4 ? length - 4 : 0;
  if (count > 0) memcpy(datetime + 19 - count, rawPath + length - 4 - count, count);
  datetime[4] = datetime[7] = datetime[13] = datetime[16] = ':';
  datetime[10] = ' ';
  datetime[19] = '\0';
}

void SetPreviewTags(TIFF* tif, int imgWidth, int imgHeight, const char* datetime) {
  const uint64_t sub_offset = 0;  // libtiff fills it in when it writes the next directory
  const float neutral[3] = {1, 1, 1};
  const uint8_t version[4] = {1, 1, 0, 0};
  const uint8_t backwardVersion[4] = {1, 0, 0, 0};
  TIFFSetField(tif, TIFFTAG_SUBFILETYPE, 1);
  TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, imgWidth / kPreviewScale);
  TIFFSetField(tif, TIFFTAG_IMAGELENGTH, imgHeight / kPreviewScale);
  TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, 8);
  TIFFSetField(tif, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
  TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
  TIFFSetField(tif, TIFFTAG_MAKE, "Lumora");
  TIFFSetField(tif, TIFFTAG_MODEL, "Lumora");
  TIFFSetField(tif, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
  TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, 3);
  TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(tif, TIFFTAG_SOFTWARE, "Lumora StitchBench");
  TIFFSetField(tif, TIFFTAG_DATETIME, datetime);
  TIFFSetField(tif, TIFFTAG_SUBIFD, 1, &sub_offset);
  TIFFSetField(tif, TIFFTAG_DNGVERSION, version);
  TIFFSetField(tif, TIFFTAG_DNGBACKWARDVERSION, backwardVersion);
  TIFFSetField(tif, TIFFTAG_UNIQUECAMERAMODEL, "Lumora Vista");
  TIFFSetField(tif, TIFFTAG_COLORMATRIX1, 9, cam_xyz.data());
  TIFFSetField(tif, TIFFTAG_ASSHOTNEUTRAL, 3, neutral);
  TIFFSetField(tif, TIFFTAG_CALIBRATIONILLUMINANT1, 23);  // D50
}

void SetRawTags(TIFF* tif, int imgWidth, int imgHeight, int order) {
  const uint16_t CFARepeatPatternDim[2] = {2, 2};
  const uint8_t straight[4] = {2, 1, 1, 0};  // blue, green; green, red
  const uint8_t turned[4] = {0, 1, 1, 2};    // red, green; green, blue
  const uint32_t white = 65535;
  const float exposure = 0, noise = 0;
  TIFFSetField(tif, TIFFTAG_SUBFILETYPE, 0);
  TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, imgWidth);
  TIFFSetField(tif, TIFFTAG_IMAGELENGTH, imgHeight);
  TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, 16);
  TIFFSetField(tif, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
  TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_CFA);
  TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, 1);
  TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(tif, TIFFTAG_CFAREPEATPATTERNDIM, CFARepeatPatternDim);
  TIFFSetField(tif, TIFFTAG_CFAPATTERN, 4, order == 1 ? straight : turned);
  TIFFSetField(tif, TIFFTAG_WHITELEVEL, 1, &white);
  TIFFSetField(tif, TIFFTAG_BASELINEEXPOSURE, double{exposure});
  TIFFSetField(tif, TIFFTAG_BASELINENOISE, double{noise});
}

void SetExifTags(TIFF* tif, const LumoVencStatus* en, int hdrIdx, const char* datetime) {
  const auto iso = static_cast<uint16_t>(int64_t{en->gain[hdrIdx]} * 100 / 16);
  TIFFSetField(tif, EXIFTAG_EXPOSURETIME, double{en->expsTime[hdrIdx]});
  TIFFSetField(tif, EXIFTAG_FNUMBER, double{2.2F});
  TIFFSetField(tif, EXIFTAG_EXPOSUREPROGRAM, en->isoMode == 1 ? 2 : 6);
  TIFFSetField(tif, EXIFTAG_ISOSPEEDRATINGS, 1, &iso);
  TIFFSetField(tif, EXIFTAG_DATETIMEORIGINAL, datetime);
  TIFFSetField(tif, EXIFTAG_DATETIMEDIGITIZED, datetime);
  TIFFSetField(tif, EXIFTAG_EXPOSUREBIASVALUE, en->evBiasMode / 3.0);
  TIFFSetField(tif, EXIFTAG_FLASH, 32);  // there is none
  TIFFSetField(tif, EXIFTAG_FOCALLENGTH, double{3.85F});
  // 29.16 mm is what it would be. Readers of these files have always found 0 here.
  TIFFSetField(tif, EXIFTAG_FOCALLENGTHIN35MMFILM, 0);
}

}  // namespace

int LumoSaveDNG(const uint16_t* imgData, int imgWidth, int imgHeight, int camIdx, int hdrIdx, const LumoVencStatus* en,
                const char* rawPath) {
  if (imgWidth < kMinWidth || imgWidth > kMaxWidth || imgHeight < kPreviewScale || imgHeight > kMaxHeight) return -1;
  if (hdrIdx < 0 || hdrIdx >= kExposures) return -1;
  const int order = LumoIsUpright(camIdx) ? 1 : -1;
  PrintCurve printCurve;
  LumoBuildPrintCurve(&printCurve);
  char datetime[20];
  MakeDateTime(datetime, rawPath);

  TIFFSetErrorHandler(LogTiff);
  TIFFSetWarningHandler(LogTiff);
  TIFF* tif = TIFFOpen(rawPath, "w");
  if (tif == nullptr) return -1;

  SetPreviewTags(tif, imgWidth, imgHeight, datetime);
  SetUpBlocks(tif, imgHeight / kPreviewScale, 3 * (imgWidth / kPreviewScale));
  std::array<uint8_t, 3 * kMaxPreviewWidth> thumbLine;
  for (int y = 0; y < imgHeight / kPreviewScale; y++) {
    LumoMakePreviewRow(imgData, imgWidth, imgHeight, order, y, &printCurve, thumbLine.data());
    TIFFWriteScanline(tif, thumbLine.data(), static_cast<uint32_t>(y), 0);
  }
  TIFFWriteDirectory(tif);

  SetRawTags(tif, imgWidth, imgHeight, order);
  SetUpBlocks(tif, imgHeight, 2 * imgWidth);
  for (int y = 0; y < imgHeight; y++) {
    const int row = order == 1 ? y : imgHeight - 1 - y;
    auto* const line = const_cast<uint16_t*>(imgData + static_cast<ptrdiff_t>(row) * imgWidth);  // read only
    if (TIFFWriteScanline(tif, line, static_cast<uint32_t>(y), 0) != 1) {
      TIFFClose(tif);
      return -1;
    }
  }
  TIFFWriteDirectory(tif);

  TIFFFreeDirectory(tif);  // if it was not written it is still there, and would be forgotten
  TIFFCreateEXIFDirectory(tif);
  SetExifTags(tif, en, hdrIdx, datetime);
  uint64_t exif_dir_offset = 0;
  TIFFWriteCustomDirectory(tif, &exif_dir_offset);
  TIFFSetDirectory(tif, 0);
  TIFFSetField(tif, TIFFTAG_EXIFIFD, exif_dir_offset);
  TIFFClose(tif);
  return 0;
}
