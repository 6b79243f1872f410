#include "tools/panorama/canvas.h"

#include <algorithm>
#include <cmath>

#include "tools/panorama/fill.h"

namespace panorama {
namespace {

constexpr int fullShareBits = 14, fullShare = 1 << fullShareBits;

int Wrapped(int x, int width) { return x < 0 ? x + width : x >= width ? x - width : x; }

// 1/fullShare where the camera is the owner, for squares of the seams' step.
Layer<int16_t> OwnShare(const Seams& seams, int camera, const Window& window) {
  const int step = seams.Step();
  Layer<int16_t> share(window.width / step, window.height / step, Block::Content::Zero);
  for (int y = 0; y < share.Height(); y++) {
    const uint8_t* owners = seams.Owners().Row(window.top / step + y);
    for (int x = 0; x < share.Width(); x++)
      if (owners[Wrapped(window.left / step + x, seams.Owners().Width())] == camera) share.Row(y)[x] = fullShare;
  }
  return share;
}

// Each square as four.
Layer<int16_t> Repeated(const Layer<int16_t>& layer) {
  Layer<int16_t> twice(layer.Width() * 2, layer.Height() * 2);
  for (int y = 0; y < twice.Height(); y++)
    for (int x = 0; x < twice.Width(); x++) twice.Row(y)[x] = layer.Row(y / 2)[x / 2];
  return twice;
}

Layer<int16_t> Halved(const Layer<int16_t>& layer) {
  Layer<int16_t> half(layer.Width() / 2, layer.Height() / 2);
  std::vector<int> column(static_cast<size_t>(layer.Width()));
  for (int y = 0; y < half.Height(); y++) {
    const int16_t* rows[] = {layer.Row(std::max(2 * y - 1, 0)), layer.Row(2 * y), layer.Row(2 * y + 1),
                             layer.Row(std::min(2 * y + 2, layer.Height() - 1))};
    for (int x = 0; x < layer.Width(); x++)
      column[static_cast<size_t>(x)] = 3 * (rows[1][x] + rows[2][x]) + rows[0][x] + rows[3][x];
    const int last = layer.Width() - 1;
    for (int x = 0; x < half.Width(); x++) {
      const auto at = [&](int i) { return column[static_cast<size_t>(std::clamp(i, 0, last))]; };
      half.Row(y)[x] =
          static_cast<int16_t>((3 * (at(2 * x) + at(2 * x + 1)) + at(2 * x - 1) + at(2 * x + 2) + 32) >> 6);
    }
  }
  return half;
}

// A whole pixel, of which only a part was given.
Codes Whole(Codes part, int share) {
  if (share == 0) return Codes{};
  if (share >= fullShare - 64) return part;  // rounding
  Codes whole{};
  for (int i = 0; i < 3; i++)
    whole[i] = static_cast<int16_t>(std::clamp(part[i] * fullShare / share, -2 * highestCode, 2 * highestCode));
  return whole;
}

}  // namespace

Canvas::Canvas(const Seams& seams, int width) : seams_(seams), width_(width) {
  for (int level = 0; level <= LevelsFor(width); level++) {
    const int across = width >> level, down = (width / 2) >> level;
    bands_.emplace_back(across, down, Block::Content::Zero);
    shares_.push_back(level == 0 ? Layer<int16_t>() : Layer<int16_t>(across, down, Block::Content::Zero));
  }
}

void Canvas::Add(int camera, Layer<Codes> view) {
  const Window& window = seams_.Windows()[static_cast<size_t>(camera)];
  std::vector<Layer<Codes>> layers;
  layers.push_back(std::move(view));
  while (layers.size() < bands_.size()) layers.push_back(panorama::Halved(layers.back()));
  ToBands(&layers);
  AddFinest(camera, window, layers[0]);

  // The shares of the levels: as the seams have decided down to their step, then smoothed with every halving.
  std::vector<Layer<int16_t>> shares(layers.size());
  size_t decided = 0;
  while (1 << decided < seams_.Step()) decided++;
  shares[decided] = OwnShare(seams_, camera, window);
  for (size_t level = decided; level > 1; level--) shares[level - 1] = Repeated(shares[level]);
  for (size_t level = decided + 1; level < layers.size(); level++) shares[level] = Halved(shares[level - 1]);
  const std::lock_guard<std::mutex> lock(coarser_);
  for (size_t level = 1; level < layers.size(); level++) AddCoarser(level, window, layers[level], shares[level]);
}

// The finest band comes from the owner alone.
void Canvas::AddFinest(int camera, const Window& window, const Layer<Codes>& band) {
  const int step = seams_.Step(), squares = width_ / step, left = window.left / step;
  const bool allRound = window.width >= width_;  // then the columns beyond the edges are there only for the kernels
  const int begin = allRound ? -left : 0, end = allRound ? squares - left : window.width / step;
  for (int y = 0; y < window.height; y++) {
    const uint8_t* owners = seams_.Owners().Row((window.top + y) / step);
    Codes* out = bands_[0].Row(window.top + y);
    const Codes* row = band.Row(y);
    for (int x = begin; x < end; x++) {
      const int square = Wrapped(left + x, squares);
      if (owners[square] != camera) continue;
      int run = 1;
      while (x + run < end && square + run < squares && owners[square + run] == camera) run++;
      std::copy_n(row + x * step, run * step, out + square * step);
      x += run - 1;
    }
  }
}

void Canvas::AddCoarser(size_t level, const Window& window, const Layer<Codes>& band, const Layer<int16_t>& share) {
  const int width = bands_[level].Width(), left = window.left >> level, top = window.top >> level;
  const bool allRound = window.width >= width_;  // as above
  const int begin = allRound ? -left : 0, end = allRound ? width - left : band.Width();
  for (int y = 0; y < band.Height(); y++) {
    const Codes* row = band.Row(y);
    const int16_t* weights = share.Row(y);
    Codes* out = bands_[level].Row(top + y);
    int16_t* sums = shares_[level].Row(top + y);
    for (int x = begin; x < end; x++) {
      const int weight = weights[x];
      if (weight == 0) continue;
      const int column = Wrapped(left + x, width);
      sums[column] = static_cast<int16_t>(sums[column] + weight);
      if (weight == fullShare) {
        out[column] += row[x];
        continue;
      }
      const Ints part = (__builtin_convertvector(row[x], Ints) * weight + fullShare / 2) >> fullShareBits;
      out[column] += __builtin_convertvector(part, Codes);
    }
  }
}

void Canvas::Close() {
  FillHoles(&bands_.back(), shares_.back(), fullShare);
  std::vector<Codes> room, doubled(static_cast<size_t>(width_) + 2);
  for (size_t level = bands_.size() - 1; level-- > 1;) {
    Layer<Codes>& band = bands_[level];
    for (int y = 0; y < band.Height(); y++) {
      DoubledRow(bands_[level + 1], y, Edge::GoesRound, &room, doubled.data());
      const int16_t* shares = shares_[level].Row(y);
      Codes* row = band.Row(y);
      for (int x = 0; x < band.Width(); x++) row[x] = Whole(row[x], shares[x]) + doubled[static_cast<size_t>(x)];
    }
  }
}

void Canvas::Finish(int begin, int end, const std::function<void(int row, const Codes* codes)>& take) const {
  std::vector<Codes> room, doubled(static_cast<size_t>(width_) + 2);
  for (int y = begin; y < end; y++) {
    DoubledRow(bands_[1], y, Edge::GoesRound, &room, doubled.data());
    const Codes* band = bands_[0].Row(y);
    for (int x = 0; x < width_; x++) doubled[static_cast<size_t>(x)] += band[x];
    take(y, doubled.data());
  }
}

}  // namespace panorama
