#include "tools/panorama/seams.h"

#include <algorithm>
#include <bit>
#include <numbers>

namespace panorama {
namespace {

constexpr float inside = 2;     // pixels of the full picture that its border is not trusted
constexpr int neighbours = 16;  // squares each way for which the cameras in question are found together

// Cameras that may see any of a block of squares: those whose picture its middle is in, or not far from.
std::vector<int> CandidatesFor(const std::vector<const Warp*>& cameras, const Direction& middle, double radius) {
  std::vector<int> found;
  for (size_t k = 0; k < cameras.size(); k++) {
    if (!cameras[k]) continue;
    const double reach = 2 * cameras[k]->Focus() * radius;  // towards the corners a picture is stretched
    if (cameras[k]->DistanceFromBorder(middle) > -reach) found.push_back(static_cast<int>(k));
  }
  return found;
}

// The longest run of columns, round the circle, in which nothing is seen; as its first column and its length.
std::pair<int, int> LongestGap(const std::vector<bool>& seen) {
  const int count = static_cast<int>(seen.size());
  if (count == 0) return {0, 0};
  int best = 0, bestBegin = 0, run = 0;
  for (int i = 0; i < 2 * count; i++) {
    run = seen[static_cast<size_t>(i % count)] ? 0 : run + 1;
    if (run > best && run <= count) best = run, bestBegin = i - run + 1;
  }
  return {bestBegin, best};
}

}  // namespace

int LevelsFor(int width) {
  const int coarse = std::bit_width(static_cast<unsigned>(width / 96)) - 1;
  return std::clamp(coarse, 1, 6);
}

Seams::Seams(const std::vector<const Warp*>& cameras, const Grid& grid)
    : levels_(LevelsFor(grid.Width())),
      step_(1 << std::max(levels_ - 4, 0)),
      owners_(grid.Width() / step_, grid.Height() / step_) {
  Decide(cameras, grid);
  for (size_t k = 0; k < cameras.size(); k++) windows_.push_back(WindowOf(static_cast<int>(k), grid));
}

void Seams::Decide(const std::vector<const Warp*>& cameras, const Grid& grid) {
  const int width = owners_.Width(), height = owners_.Height();
  std::vector<Direction> level, upright;  // of columns, on the horizon; of rows, over the panorama's middle
  for (int x = 0; x < width; x++) level.push_back(grid.At((x + 0.5) * step_, grid.Height() / 2.0));
  for (int y = 0; y < height; y++) upright.push_back(grid.At(grid.Width() / 2.0, (y + 0.5) * step_));
  const double radius = neighbours * step_ * 2 * std::numbers::pi / grid.Width();
  for (int top = 0; top < height; top += neighbours)
    for (int left = 0; left < width; left += neighbours) {
      const double half = neighbours / 2.0;
      const auto candidates = CandidatesFor(cameras, grid.At((left + half) * step_, (top + half) * step_), radius);
      for (int y = top; y < std::min(top + neighbours, height); y++)
        for (int x = left; x < std::min(left + neighbours, width); x++) {
          const Direction &row = upright[static_cast<size_t>(y)], &column = level[static_cast<size_t>(x)];
          const Direction direction{row.front * column.right, row.front * column.front, row.up};
          float best = inside;
          uint8_t owner = nobody;
          for (const int k : candidates) {
            const float distance = cameras[static_cast<size_t>(k)]->DistanceFromBorder(direction);
            if (distance > best) best = distance, owner = static_cast<uint8_t>(k);
          }
          owners_.Row(y)[x] = owner;
        }
    }
}

Window Seams::WindowOf(int camera, const Grid& grid) const {
  const int block = 1 << levels_, margin = 2 * block, perBlock = block / step_;
  std::vector<bool> columns(static_cast<size_t>(owners_.Width()), false);
  int first = owners_.Height(), last = -1;
  for (int y = 0; y < owners_.Height(); y++)
    for (int x = 0; x < owners_.Width(); x++)
      if (owners_.Row(y)[x] == camera) {
        columns[static_cast<size_t>(x)] = true;
        first = std::min(first, y);
        last = y;
      }
  if (last < 0) return {};
  const auto down = [block](int at) { return at >= 0 ? at / block * block : -((-at + block - 1) / block * block); };
  Window window;
  window.top = std::max(down(first * step_) - margin, 0);
  window.height = std::min(down(last * step_) + block + margin, grid.Height()) - window.top;
  const auto [gap, gapLength] = LongestGap(columns);
  int begin = 0, end = owners_.Width();
  if ((gapLength - 1) * step_ > 2 * (margin + block)) begin = gap + gapLength, end = gap + owners_.Width();
  if (begin >= owners_.Width()) begin -= owners_.Width(), end -= owners_.Width();
  window.left = down(begin * step_) - margin;
  window.width = down(end * step_ + block - 1) + margin - window.left;

  for (int row = 0; row < window.height / block; row++) {
    const int above = std::max(window.top / block + row - 2, 0) * perBlock;
    const int below = std::min((window.top / block + row + 3) * perBlock, owners_.Height());
    Window::Span span{window.left + window.width, window.left};
    for (int y = above; y < below; y++)
      for (int x = begin; x < end; x++)
        if (owners_.Row(y)[x % owners_.Width()] == camera) {
          span.begin = std::min(span.begin, x * step_ - margin);
          span.end = std::max(span.end, (x + 1) * step_ + margin);
        }
    if (begin == 0 && end == owners_.Width()) span = {window.left, window.left + window.width};
    window.spans.push_back({std::max(span.begin, window.left), std::min(span.end, window.left + window.width)});
  }
  return window;
}

}  // namespace panorama
