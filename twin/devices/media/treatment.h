// What the units on a picture's road do to it, told as what differs from the road that the pictures of a PictureSource
// stand for: mirrored once and not flipped by the input, all of the lanes' picture, its samples whole, colours made of
// blue and green rows first, no black taken away, BT.601, no contrast improvement, noise reduction and sharpening on.
//
// Another treatment changes the pixels: the picture that the encoder was to make is taken apart, changed, and put
// together again. So a wrong road shows in the streams, and in marked pictures as much as in rendered ones. How strong
// a cast, a contrast or a noise is on this chip is chosen; that it shows is not.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sdk/hi_mpi.h"
#include "twin/light/picture_source.h"

namespace twin {

struct Treatment {
  bool mirrored = false, flipped = false;  // once more or once less than they should be
  RECT_S window = {0, 0, 3264, 2448};      // what is left of the lanes' picture
  uint16_t sampleBits = 0x3FF;             // of a sample's ten, which reach the ISP
  bool bitsReversed = false;               // the lowest first
  ISP_BAYER_FORMAT_E bayer = BAYER_BGGR;
  uint16_t black = 0;  // level that the ISP takes away
  VI_CSC_TYPE_E matrix = VI_CSC_TYPE_601;
  bool contrast = false;
  bool noisy = false;
  bool soft = false;  // never sharpened

  // What is wrong with it, a few words each; nothing for the road that it should be.
  std::vector<std::string> Wrongs() const;
  // A sample of ten bits as it reaches the ISP or the memory.
  uint16_t Sample(uint16_t level) const;
  // The picture after this treatment; itself if nothing is wrong.
  Jpeg Apply(const Jpeg& picture, PictureSize size, int quality) const;
};

}  // namespace twin
