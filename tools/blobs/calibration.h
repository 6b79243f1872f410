// Stand-ins for the two calibration files of a device: a plausible sphere of 25 lenses with overlap.
//
// Arrangement: layer 1 (cameras 9 to 15 and 24) looks out along the horizon, layer 2 (16 to 23) 45 degrees below it,
// cameras 1 to 8 of layer 0 45 degrees above it, each as a ring of eight at 45 degrees from each other; camera 0 looks
// straight up. Camera 12, the thumbnail's default, looks to the front. The two outer rings stand half a step beside the
// middle one. Every camera deviates a little from its place, as assembled ones do.
//
// CameraConf_800: 25 rows of 32 bytes, little-endian, row n is camera n.
//   offset type  field        unit here
//    0     i16   imgIdx       0 to 24
//    2     i16   lensType     8: an ordinary lens (above 10 the device takes itself for another model)
//    4     i32   aimInfoDirX  azimuth of the optical axis, 1e-8 radian, 0 front, positive to the right, -pi to pi
//    8     i32   aimInfoDirY  its elevation, 1e-8 radian, positive upwards
//   12     i32   aimInfoTilt  roll of the camera about its axis, 1e-8 radian, positive: its right side goes down. Told
//                             of the picture as a thumbnail shows it, that is, turned by 180 degrees from the file
//   16     i32   centerP2DX   optical axis in the same turned picture, to the right of its centre, in thousandths of a
//   20     i32   centerP2DY   pixel of the full picture; and below its centre
//   24     i32   relaFocus    focal length by its nominal value, in millionths
//   28     i32   sensorScale  nominal focal length in thousandths of a pixel of the full picture
// Projection: rectilinear. A ray that leaves the axis by the angle a meets the picture
// sensorScale/1e3 x relaFocus/1e6 x tan(a) pixels from (centerP2DX, centerP2DY).
//
// CameraVignet_800: 25 rows of 3080 bytes.
//   offset       type     field           unit here
//      0         i32      imgIdx          0 to 24
//      4         i32      vignettingNum   points of each curve in use, 49
//      8 + 1024c 64 f64   vignettingCurve relative light, 1 on the axis: point k lies at k / (vignettingNum - 1) of
//      half
//                                         the picture's diagonal from the axis. c = 0 blue, 1 green, 2 red.
//                                         Element 63 of row 0 is the white balance gain of that colour, 1.0; it belongs
//                                         to no curve. The other elements behind the curve are 0
//    520 + 1024c 256 i16  vignettingTable the gain that undoes the fall-off, in 1/8192, by the square of that distance
//                                         (entry 255 is the corner)
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace blobs {

constexpr int cameraCount = 25;
constexpr size_t cameraConfSize = 800;
constexpr size_t cameraVignetSize = 77000;

std::vector<uint8_t> MakeCameraConf();
std::vector<uint8_t> MakeCameraVignet();

}  // namespace blobs
