// lumora-blobs DIR: writes the stand-ins for what the makers of the device's parts supply. Same bytes on every run.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "tools/blobs/bitstream.h"
#include "tools/blobs/calibration.h"
#include "tools/blobs/dmp_image.h"
#include "tools/blobs/kernel_modules.h"
#include "tools/blobs/sensor_tables.h"

namespace {

std::vector<uint8_t> LittleEndian(const std::vector<uint32_t>& words) {
  std::vector<uint8_t> bytes;
  for (uint32_t word : words) {
    for (int shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<uint8_t>(word >> shift));
  }
  return bytes;
}

void Write(const std::filesystem::path& path, const std::vector<uint8_t>& bytes) {
  std::ofstream file(path, std::ios::binary);
  file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  file.close();
  if (!file) throw std::runtime_error("cannot write " + path.string());
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{
      "Makes the stand-ins for the FPGA bitstream, the sensor tables, the motion program, the kernel modules and the "
      "calibration files"};
  std::filesystem::path directory;
  app.add_option("DIR", directory, "where the files go; made if missing")->required();
  CLI11_PARSE(app, argc, argv);
  try {
    std::filesystem::create_directories(directory);
    Write(directory / "fpga_bitstream.bin", blobs::MakeBitstream());
    Write(directory / "reg20_table_a.bin", LittleEndian(blobs::MakeSensorTableA()));
    Write(directory / "reg20_table_b.bin", LittleEndian(blobs::MakeSensorTableB()));
    Write(directory / "CameraConf_800", blobs::MakeCameraConf());
    Write(directory / "CameraVignet_800", blobs::MakeCameraVignet());
    Write(directory / "dmp_image.bin", blobs::MakeDmpImage());
    for (const auto& [name, size] : blobs::kKernelModules) {
      Write(directory / (std::string(name) + ".ko"), blobs::MakeKernelModule(name, size));
    }
  } catch (const std::exception& problem) {
    std::fprintf(stderr, "lumora-blobs: %s\n", problem.what());
    return 1;
  }
  return 0;
}
