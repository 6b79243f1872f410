// Shot files made by hand, byte by byte, for tests of their readers. Written from the format, sharing no code with the
// application that writes shots or with the reader that is tested.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace support {

using Bytes = std::vector<uint8_t>;

// A JPEG of pixels of three bytes; subsampling as the encoder numbers it (0 is 4:4:4, 2 is 4:2:0, 3 is gray).
Bytes JpegFrom(const Bytes& rgb, int width, int height, int subsampling, int quality);
// A JPEG 4:2:0 whose upper half is light and whose lower half is dark, as a sensor that hangs upside down sees a room.
// Made once for each size and quality.
const Bytes& TwoToneJpeg(int width, int height, int quality);
// The JPEG of one place in a made shot: the above with a comment "half 12 1", so that each picture's bytes are its own.
Bytes JpegOf(const std::string& size, int camera, int exposure);

struct MadeShot {
  uint16_t fileType = 0x73C1;
  int deviceId = 2;     // 10 and above: the second form, 36 cameras with 3 rows of calibration
  int captureMode = 0;  // below 2: 3 exposures, else 6
  bool skippedSection = false;
  bool hasLogo = false;
  Bytes logo = {};
  std::function<Bytes(const std::string& size, int camera, int exposure)> jpeg = JpegOf;
  Bytes thumbnail = TwoToneJpeg(408, 306, 80);
  int half = 0;  // 1 or 2: only these cameras of a two-half shot are filled in; 3: both halves, one after the other
  // Rows of the two tables; empty: bytes that count, which no reader can mistake for another table's.
  Bytes cameraTable = {}, vignettingTable = {};
  int vertexX = -1234567, vertexY = 7654321, compassValue = -9000;

  int Cameras() const { return deviceId < 10 ? 25 : 36; }
  int Exposures() const { return captureMode < 2 ? 3 : 6; }

  Bytes Make() const;
};

// A place for files that is new for each test and gone after it.
class TestFolder {
 public:
  TestFolder() {
    if (mkdtemp(path_.data()) == nullptr) throw std::runtime_error("cannot make " + path_);
  }
  ~TestFolder() { std::filesystem::remove_all(path_); }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_ = std::filesystem::temp_directory_path() / "lumora-shot-XXXXXX";
};

}  // namespace support
