#include "tools/photos/extract.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "tools/lumora-shot/calibration.h"
#include "tools/lumora-shot/pictures.h"
#include "tools/photos/photo_tags.h"

namespace shot {

void WriteWhole(const std::string& path, const Bytes& bytes) {
  FILE* file = std::fopen(path.c_str(), "wb");
  if (!file) throw CannotWrite(path + ": cannot create: " + std::strerror(errno));
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  const bool closed = std::fclose(file) == 0;
  if (written && closed) return;
  const std::string reason = std::strerror(errno);
  std::remove(path.c_str());
  throw CannotWrite(path + ": cannot write: " + reason);
}

Extracted Extract(const File& file, const std::string& directory, const Choice& choice, bool plain) {
  std::error_code error;
  std::filesystem::create_directories(directory, error);
  if (error) throw CannotWrite(directory + ": cannot create: " + error.message());

  const Shot& shot = file.Get();
  const std::string stem = (std::filesystem::path(directory) / std::filesystem::path(file.Path()).stem()).string();
  Extracted extracted;
  const auto write = [&](const std::string& name, const Bytes& bytes) {
    const std::string path = stem + "_" + name + ".jpg";
    WriteWhole(path, bytes);
    extracted.files.push_back(path);
  };

  const std::vector<CameraConf> lenses = ReadCameras(file);
  // What is no JPEG is written as it stands: it is for who looks what has become of it.
  const auto described = [&](const Bytes& jpeg, const Place& place) {
    if (plain) return jpeg;
    const auto camera = static_cast<size_t>(place.camera);
    try {
      return WithPhotoTags(jpeg, shot.record, place, camera < lenses.size() ? &lenses[camera] : nullptr);
    } catch (const BadJpeg&) {
      return jpeg;
    }
  };
  if (shot.entries.empty()) extracted.missing.push_back("the index");
  for (const Entry& entry : shot.entries) {
    const Place place = shot.PlaceOf(entry.number);
    if (choice.camera.value_or(place.camera) != place.camera) continue;
    if (choice.exposure.value_or(place.exposure) != place.exposure) continue;
    if (choice.size.value_or(place.size) != place.size) continue;
    char name[64];
    std::snprintf(name, sizeof(name), "cam%02d_exp%d_%s", place.camera, place.exposure, NameOf(place.size));
    if (const Bytes jpeg = file.Jpeg(entry); !jpeg.empty())
      write(name, described(jpeg, place)), extracted.places.push_back(place);
    else
      extracted.missing.push_back(name);
  }
  if (choice.Everything()) {
    if (shot.Whole())
      write("thumbnail", file.Read(Part::Thumbnail));
    else
      extracted.missing.push_back("thumbnail");
    if (const Section* section = shot.Find(Part::Logo); section && section->body.size > 0) {
      const Bytes logo = file.Read(Part::Logo);
      if (static_cast<int64_t>(logo.size()) == section->body.size)
        write("logo", logo);
      else
        extracted.missing.push_back("logo");
    }
  }
  return extracted;
}

void TellMissing(const std::string& path, const std::vector<std::string>& missing) {
  for (const std::string& what : missing)
    std::fprintf(stderr, "lumora-shot: %s: %s is missing\n", path.c_str(), what.c_str());
}

}  // namespace shot
