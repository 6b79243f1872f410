#include "tools/photos/photo_tags.h"

#include <cmath>
#include <cstdio>
#include <exiv2/exiv2.hpp>
#include <numeric>
#include <string>

#include "tools/lumora-shot/pictures.h"

namespace shot {

namespace {

constexpr double kPixelPitch = 1.85e-3;      // mm, of the cameras' sensor (IMX226 data sheet)
constexpr double kDiagonalOf35mm = 43.2666;  // mm, of 36 x 24
constexpr uint16_t kUpright = 1, kOnItsHead = 3;

Exiv2::URational Ratio(uint32_t over, uint32_t under) {
  const uint32_t common = std::max(1u, std::gcd(over, under));
  return {over / common, under / common};
}

// Degrees, minutes and ten-thousandths of a second.
Exiv2::URationalValue DegreesOf(int32_t tenMillionths) {
  const int64_t parts = std::llround(std::abs(static_cast<double>(tenMillionths)) * 1e-7 * 3600e4);
  Exiv2::URationalValue value;
  value.value_ = {{static_cast<uint32_t>(parts / 3600'0000), 1},
                  {static_cast<uint32_t>(parts / 60'0000 % 60), 1},
                  {static_cast<uint32_t>(parts % 60'0000), 10000}};
  return value;
}

void SetPosition(Exiv2::ExifData& exif, const Record& record) {
  if (record.latitude == 0 && record.longitude == 0) return;
  exif["Exif.GPSInfo.GPSVersionID"] = "2 3 0 0";
  exif["Exif.GPSInfo.GPSLatitudeRef"] = record.latitude < 0 ? "S" : "N";
  exif["Exif.GPSInfo.GPSLatitude"] = DegreesOf(record.latitude);
  exif["Exif.GPSInfo.GPSLongitudeRef"] = record.longitude < 0 ? "W" : "E";
  exif["Exif.GPSInfo.GPSLongitude"] = DegreesOf(record.longitude);
}

void SetTime(Exiv2::ExifData& exif, const Record& r) {
  char date[80], fraction[16];
  std::snprintf(date, sizeof date, "%04d:%02d:%02d %02d:%02d:%02d", r.shootDateYear, r.shootDateMon, r.shootDateDay,
                r.shootTimeHour, r.shootTimeMin, r.shootTimeSec);
  std::snprintf(fraction, sizeof fraction, "%03d", r.shootTimeMS);
  for (const char* key : {"Exif.Image.DateTime", "Exif.Photo.DateTimeOriginal", "Exif.Photo.DateTimeDigitized"})
    exif[key] = date;
  for (const char* key : {"Exif.Photo.SubSecTime", "Exif.Photo.SubSecTimeOriginal", "Exif.Photo.SubSecTimeDigitized"})
    exif[key] = fraction;
}

void SetExposure(Exiv2::ExifData& exif, const Record& record, const ExposureSet& set) {
  const bool manual = record.hdrMode % 2 != 0;
  exif["Exif.Photo.ExposureProgram"] = static_cast<uint16_t>(manual ? 1 : 2);
  exif["Exif.Photo.ExposureMode"] = static_cast<uint16_t>(2);  // a bracket
  exif["Exif.Photo.ExposureBiasValue"] = Exiv2::Rational(record.evBiasMode, 3);
  if (set.totalRows <= 0 || set.shutterLines <= 0 || set.gain <= 0) return;
  const double cycles = static_cast<double>(set.totalRows) * set.shutterLines;
  if (cycles > UINT32_MAX) return;  // 35 s, which no sensor of the camera is open
  exif["Exif.Photo.ExposureTime"] = Ratio(static_cast<uint32_t>(cycles), 120'000'000);
  exif["Exif.Photo.ISOSpeedRatings"] = static_cast<uint16_t>(std::min<long>(std::lround(set.Iso()), UINT16_MAX));
}

Exiv2::ExifData CommonTags(const Record& record, int exposure) {
  Exiv2::ExifData exif;
  exif["Exif.Image.Make"] = "Lumora";
  exif["Exif.Image.Model"] = "Lumora model " + std::to_string(record.deviceId);
  exif["Exif.Image.Software"] = "lumora-shot";
  exif["Exif.Photo.ExifVersion"] = "48 50 51 49";  // "0231"
  exif["Exif.Photo.ColorSpace"] = static_cast<uint16_t>(1);
  // What the standard asks of every JPEG.
  exif["Exif.Image.XResolution"] = Exiv2::URational(72, 1);
  exif["Exif.Image.YResolution"] = Exiv2::URational(72, 1);
  exif["Exif.Image.ResolutionUnit"] = static_cast<uint16_t>(2);  // an inch
  exif["Exif.Image.YCbCrPositioning"] = static_cast<uint16_t>(1);
  exif["Exif.Photo.ComponentsConfiguration"] = "1 2 3 0";  // Y Cb Cr
  exif["Exif.Photo.FlashpixVersion"] = "48 49 48 48";      // "0100"
  SetTime(exif, record);
  SetExposure(exif, record, record.Exposure(exposure));
  SetPosition(exif, record);
  return exif;
}

void SetLens(Exiv2::ExifData& exif, const CameraConf& lens) {
  const double focus = lens.relaFocus * 1e-6 * (lens.sensorScale * 1e-3);  // pixels of the full picture
  if (!(focus >= 100 && focus <= 100'000)) return;
  const double diagonal = std::hypot(WidthOf(PictureSize::Full), HeightOf(PictureSize::Full));
  exif["Exif.Photo.FocalLength"] = Ratio(static_cast<uint32_t>(std::lround(focus * kPixelPitch * 1000)), 1000);
  exif["Exif.Photo.FocalLengthIn35mmFilm"] = static_cast<uint16_t>(std::lround(focus / diagonal * kDiagonalOf35mm));
}

Bytes Write(std::span<const uint8_t> jpeg, const Exiv2::ExifData& exif, const Exiv2::XmpData& xmp) try {
  const auto image = Exiv2::ImageFactory::open(jpeg.data(), static_cast<long>(jpeg.size()));
  image->setExifData(exif);
  image->setXmpData(xmp);
  image->writeMetadata();
  Exiv2::BasicIo& io = image->io();
  const uint8_t* first = io.mmap();
  return {first, first + io.size()};
} catch (const Exiv2::AnyError& error) {
  throw BadJpeg(error.what());
}

}  // namespace

Bytes WithPhotoTags(std::span<const uint8_t> jpeg, const Record& record, const Place& place, const CameraConf* lens) {
  Exiv2::ExifData exif = CommonTags(record, place.exposure);
  exif["Exif.Image.ImageDescription"] =
      "camera " + std::to_string(place.camera) + ", exposure " + std::to_string(place.exposure);
  exif["Exif.Image.Orientation"] = kOnItsHead;
  exif["Exif.Photo.PixelXDimension"] = static_cast<uint32_t>(WidthOf(place.size));
  exif["Exif.Photo.PixelYDimension"] = static_cast<uint32_t>(HeightOf(place.size));
  if (lens != nullptr) SetLens(exif, *lens);
  return Write(jpeg, exif, {});
}

Bytes WithPanoramaTags(std::span<const uint8_t> jpeg, const Record& record, int exposure, const PanoramaPlace& place) {
  Exiv2::ExifData exif = CommonTags(record, exposure);
  exif["Exif.Image.Orientation"] = kUpright;
  exif["Exif.Photo.PixelXDimension"] = static_cast<uint32_t>(place.width);
  exif["Exif.Photo.PixelYDimension"] = static_cast<uint32_t>(place.height);
  Exiv2::XmpData xmp;
  xmp["Xmp.GPano.ProjectionType"] = "equirectangular";
  xmp["Xmp.GPano.UsePanoramaViewer"] = "True";
  char heading[32];
  std::snprintf(heading, sizeof heading, "%.2f", place.heading.value_or(0));
  xmp["Xmp.GPano.PoseHeadingDegrees"] = heading;
  xmp["Xmp.GPano.CroppedAreaImageWidthPixels"] = place.width;
  xmp["Xmp.GPano.CroppedAreaImageHeightPixels"] = place.height;
  xmp["Xmp.GPano.FullPanoWidthPixels"] = place.fullWidth;
  xmp["Xmp.GPano.FullPanoHeightPixels"] = place.fullHeight;
  xmp["Xmp.GPano.CroppedAreaLeftPixels"] = place.left;
  xmp["Xmp.GPano.CroppedAreaTopPixels"] = place.top;
  return Write(jpeg, exif, xmp);
}

}  // namespace shot
