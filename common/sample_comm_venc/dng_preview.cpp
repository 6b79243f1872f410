#include "common/sample_comm_venc/dng_preview.h"

#include <bit>
#include <cstddef>
#include <cstring>

namespace {

// --- the tone curve ---

struct CurveRow {
  int index;
  double value;
};

// What is known of the curve, to four decimals. It is 0 up to index 1.
constexpr std::array<CurveRow, 12> kCurveRows = {{{2, 0.0061},
                                                  {4, 0.0218},
                                                  {8, 0.0519},
                                                  {16, 0.1071},
                                                  {32, 0.2011},
                                                  {64, 0.3436},
                                                  {128, 0.5347},
                                                  {256, 0.7456},
                                                  {512, 0.9086},
                                                  {768, 0.9738},
                                                  {1022, 0.9966},
                                                  {1023, 0.9969}}};

// The rows lie close to a saturation curve value = t / (t + r) with t = index - 1, where r changes slowly and almost
// evenly, from 163 at the dark end to 3 at the bright one. So r is what is interpolated between the rows: by cubic
// pieces whose slopes keep it, and with it the curve, free of bumps (harmonic means of the neighbouring slopes). Any
// row that is left out is met again by its neighbours to 0.013; between all of them the error is a fraction of that.
constexpr std::array<double, 1024> MakeOrgCurve() {
  constexpr size_t kRows = kCurveRows.size();
  std::array<double, kRows> r{}, tangent{};
  std::array<double, kRows - 1> width{}, slope{};
  for (size_t k = 0; k < kRows; k++) r[k] = (kCurveRows[k].index - 1) * (1 / kCurveRows[k].value - 1);
  for (size_t k = 0; k + 1 < kRows; k++) {
    width[k] = kCurveRows[k + 1].index - kCurveRows[k].index;
    slope[k] = (r[k + 1] - r[k]) / width[k];
  }
  for (size_t k = 1; k + 1 < kRows; k++) {
    const double before = 2 * width[k] + width[k - 1], after = width[k] + 2 * width[k - 1];
    if (slope[k - 1] * slope[k] > 0) {
      tangent[k] = (before + after) / (before / slope[k - 1] + after / slope[k]);
    }
  }
  tangent[0] = slope[0];
  tangent[kRows - 1] = slope[kRows - 2];

  std::array<double, 1024> curve{};
  for (size_t k = 0; k + 1 < kRows; k++) {
    for (int index = kCurveRows[k].index; index <= kCurveRows[k + 1].index; index++) {
      const double s = (index - kCurveRows[k].index) / width[k], left = 1 - s;
      const double between = left * left * ((1 + 2 * s) * r[k] + s * width[k] * tangent[k]) +
                             s * s * ((3 - 2 * s) * r[k + 1] - left * width[k] * tangent[k + 1]);
      const double value = (index - 1) / (index - 1 + between);
      // NOLINTNEXTLINE(bugprone-incorrect-roundings): nothing here is below 0
      curve[static_cast<size_t>(index)] = static_cast<int>(value * 10000 + 0.5) / 10000.0;
    }
  }
  return curve;
}

constexpr std::array<double, 1024> orgCurve = MakeOrgCurve();

constexpr bool MeetsEveryRow() {
  for (const CurveRow& row : kCurveRows) {
    if (orgCurve[static_cast<size_t>(row.index)] != row.value) return false;
  }
  for (size_t i = 1; i < orgCurve.size(); i++) {
    if (orgCurve[i] < orgCurve[i - 1]) return false;
  }
  return orgCurve[0] == 0 && orgCurve[1] == 0;
}
static_assert(MeetsEveryRow());

constexpr int kCurveLast = 16383;

// --- pixels ---

// Sixteen pixels at once, 14 bits a colour: loops of a length that the compiler knows become vectors.
constexpr int kLanes = 16;
struct RawColours {
  int16_t finalRawColorB[kLanes], finalRawColorG[kLanes], finalRawColorR[kLanes];
};
struct VividColours {
  int16_t vividColorB[kLanes], vividColorG[kLanes], vividColorR[kLanes];
};

// One pixel out of each four samples of two rows; four samples are one load:
//
//             order 1              order -1, a turned camera
//   upper   | b  g  .  . |         | .  .  g  b |
//   lower   | g  r  .  . |         | .  .  r  g |
template <int order>
void Gather(const uint16_t* upper, const uint16_t* lower, RawColours* raw) {
  static_assert(std::endian::native == std::endian::little, "the first sample is the lowest of a load");
  constexpr int here = order == 1 ? 0 : 48, beside = order == 1 ? 16 : 32;
  for (int i = 0; i < kLanes; i++) {
    uint64_t up, low;
    memcpy(&up, upper + kPreviewScale * i, sizeof(up));
    memcpy(&low, lower + kPreviewScale * i, sizeof(low));
    raw->finalRawColorB[i] = static_cast<int16_t>((up >> here & 0xFFFF) >> 2);
    raw->finalRawColorG[i] = static_cast<int16_t>(((up >> beside & 0xFFFF) + (low >> here & 0xFFFF)) >> 3);
    raw->finalRawColorR[i] = static_cast<int16_t>((low >> beside & 0xFFFF) >> 2);
  }
}

// Takes away the eight fractional bits of a sum, which then fits 16 bits, and bounds it.
static_assert((440 * kCurveLast + 128) >> 8 <= INT16_MAX && (-(41 + 143) * kCurveLast + 128) >> 8 >= INT16_MIN);
int16_t Vivid(int sum) {
  const auto value = static_cast<int16_t>(sum >> 8);
  const int16_t positive = value < 0 ? int16_t{0} : value;
  return positive > kCurveLast ? int16_t{kCurveLast} : positive;
}

void Mix(const RawColours& raw, VividColours* vivid) {
  for (int i = 0; i < kLanes; i++) {
    const int b = raw.finalRawColorB[i], g = raw.finalRawColorG[i], r = raw.finalRawColorR[i];
    vivid->vividColorB[i] = Vivid(379 * b - 120 * g - 3 * r + 128);
    vivid->vividColorG[i] = Vivid(-129 * b + 438 * g - 53 * r + 128);
    vivid->vividColorR[i] = Vivid(-41 * b - 143 * g + 440 * r + 128);
  }
}

}  // namespace

void LumoBuildPrintCurve(PrintCurve* printCurve) {
  for (int i = 0; i <= kCurveLast; i++) {
    const int idx = i / 16 < 1022 ? i / 16 : 1022;
    const double coef1 = i / 16.0 - idx;  // 1 and above for the last 16: they lie beyond the table's end
    const double coef0 = 1 - coef1;
    const auto at = static_cast<size_t>(idx);
    // NOLINTNEXTLINE(bugprone-incorrect-roundings): nor here
    const int value = static_cast<int>((orgCurve[at] * coef0 + orgCurve[at + 1] * coef1) * 16384 + 0.5);
    (*printCurve)[static_cast<size_t>(i)] = static_cast<uint8_t>((value < kCurveLast ? value : kCurveLast) >> 6);
  }
}

void LumoMakePreviewRow(const uint16_t* imgData, int imgWidth, int imgHeight, int order, int y,
                        const PrintCurve* printCurve, uint8_t* thumbLine) {
  const int width = imgWidth / kPreviewScale, height = imgHeight / kPreviewScale;
  const int row = kPreviewScale * (order == 1 ? y : height - 1 - y);
  // A turned camera is read from its last column on, so what does not make a whole pixel is left over at the left.
  const int first = order == 1 ? 0 : imgWidth % kPreviewScale;
  const uint16_t* const upper = imgData + static_cast<ptrdiff_t>(row) * imgWidth + first;
  const uint16_t* const lower = upper + imgWidth;
  for (int x = 0; x < width; x += kLanes) {
    const int from = x + kLanes <= width ? x : width - kLanes;  // the last pixels may be made twice
    RawColours raw;
    if (order == 1) {
      Gather<1>(upper + kPreviewScale * from, lower + kPreviewScale * from, &raw);
    } else {
      Gather<-1>(upper + kPreviewScale * from, lower + kPreviewScale * from, &raw);
    }
    VividColours vivid;
    Mix(raw, &vivid);
    uint8_t* pixel = thumbLine + 3 * from;
    for (int i = 0; i < kLanes; i++, pixel += 3) {
      pixel[0] = (*printCurve)[static_cast<size_t>(vivid.vividColorR[i])];
      pixel[1] = (*printCurve)[static_cast<size_t>(vivid.vividColorG[i])];
      pixel[2] = (*printCurve)[static_cast<size_t>(vivid.vividColorB[i])];
    }
  }
}
