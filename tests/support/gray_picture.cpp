#include "tests/support/gray_picture.h"

#include <turbojpeg.h>

#include <memory>
#include <stdexcept>

namespace {

struct Decoder {
  Decoder() : handle(tjInitDecompress()) {}
  ~Decoder() { tjDestroy(handle); }
  Decoder(const Decoder&) = delete;
  Decoder& operator=(const Decoder&) = delete;
  void Check(int result) const {
    if (result != 0) throw std::runtime_error(tjGetErrorStr2(handle));
  }
  tjhandle handle;
};

}  // namespace

GrayPicture DecodeGray(std::span<const uint8_t> jpeg, int reduction) {
  const JpegHeader header = ReadJpegHeader(jpeg);
  GrayPicture picture{.width = (header.width + reduction - 1) / reduction,
                      .height = (header.height + reduction - 1) / reduction,
                      .pixels = {}};
  picture.pixels.resize(static_cast<size_t>(picture.width) * static_cast<size_t>(picture.height));
  const Decoder decoder;
  decoder.Check(tjDecompress2(decoder.handle, jpeg.data(), jpeg.size(), picture.pixels.data(), picture.width,
                              picture.width, picture.height, TJPF_GRAY, 0));
  return picture;
}

JpegHeader ReadJpegHeader(std::span<const uint8_t> jpeg) {
  JpegHeader header;
  int subsampling = -1;
  int colours = -1;
  const Decoder decoder;
  decoder.Check(tjDecompressHeader3(decoder.handle, jpeg.data(), jpeg.size(), &header.width, &header.height,
                                    &subsampling, &colours));
  header.is420 = subsampling == TJSAMP_420 && colours == TJCS_YCbCr;
  for (size_t at = 2; at + 5 < jpeg.size() && jpeg[at] == 0xFF && jpeg[at + 1] != 0xDA;
       at += 2 + (static_cast<size_t>(jpeg[at + 2]) << 8 | jpeg[at + 3])) {
    if (jpeg[at + 1] == 0xDB && jpeg[at + 4] == 0) header.lumaQuantisation = jpeg[at + 5];
  }
  return header;
}
