#include "tools/panorama/render.h"

#include <algorithm>
#include <functional>

namespace panorama {
namespace {

constexpr int chunk = 512;  // pixels that are worked on together, within the processor's nearest memory

// Goes through what is needed of a window, chunk by chunk; `render` fills `count` codes for the points.
template <typename Render>
Layer<Codes> InChunks(const Eye& eye, const Window& window, const Render& render) {
  Layer<Codes> view(window.width, window.height);
  const int perSpan = window.height / static_cast<int>(window.spans.size());
  Points points(chunk);
  for (int y = 0; y < window.height; y++) {
    const Window::Span span = window.spans[static_cast<size_t>(y / perSpan)];
    Codes* row = view.Row(y);
    for (int x = span.begin; x < span.end; x += chunk) {
      const int count = std::min(chunk, span.end - x);
      eye.warp.Run(window.top + y, x, count, &points);
      render(points, count, row + x - window.left);
    }
    if (span.begin >= span.end) continue;
    std::fill(row, row + span.begin - window.left, row[span.begin - window.left]);
    std::fill(row + span.end - window.left, row + window.width, row[span.end - 1 - window.left]);
  }
  return view;
}

}  // namespace

Layer<Codes> RenderLevels(const Eye& eye, const Picture& picture, const Window& window) {
  std::vector<Floats> levels(chunk);
  return InChunks(eye, window, [&](const Points& points, int count, Codes* out) {
    picture.Sample(points.x.data(), points.y.data(), count, levels.data());
    for (size_t i = 0; i < static_cast<size_t>(count); i++) {
      const Floats level = Levelled(levels[i], eye.vignetting.At(points.distance[i]));
      out[i] = Shown(ToCodes(level * codesPerLevel));
    }
  });
}

Layer<Codes> RenderRadiance(const Eye& eye, const std::vector<const Picture*>& pictures, const Bracket& bracket,
                            const RadianceScale& scale, const Window& window) {
  std::vector<int> present;
  for (const int exposure : bracket.LongestFirst())
    if (pictures[static_cast<size_t>(exposure)]) present.push_back(exposure);
  std::vector<Floats> levels(present.size() * chunk);
  return InChunks(eye, window, [&](const Points& points, int count, Codes* out) {
    int sampled = 0;
    for (const int exposure : present) {
      Floats* these = &levels[static_cast<size_t>(sampled++) * chunk];
      pictures[static_cast<size_t>(exposure)]->Sample(points.x.data(), points.y.data(), count, these);
      if (Bracket::Trusts(these, count)) break;
    }
    for (size_t i = 0; i < static_cast<size_t>(count); i++)
      out[i] = scale.CodeOf(
          bracket.Merge(&levels[i], chunk, present.data(), sampled, eye.vignetting.At(points.distance[i])));
  });
}

}  // namespace panorama
