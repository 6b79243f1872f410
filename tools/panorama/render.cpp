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
  constexpr size_t most = 6;
  std::vector<Floats> levels(most * chunk);
  unsigned present = 0;
  for (size_t i = 0; i < pictures.size(); i++) present |= pictures[i] ? 1u << i : 0;
  return InChunks(eye, window, [&](const Points& points, int count, Codes* out) {
    for (size_t i = 0; i < pictures.size(); i++)
      if (pictures[i]) pictures[i]->Sample(points.x.data(), points.y.data(), count, &levels[i * chunk]);
    for (size_t i = 0; i < static_cast<size_t>(count); i++) {
      Floats pixel[most];
      for (size_t exposure = 0; exposure < pictures.size(); exposure++) pixel[exposure] = levels[exposure * chunk + i];
      out[i] = scale.CodeOf(bracket.Merge(pixel, present, eye.vignetting.At(points.distance[i])));
    }
  });
}

}  // namespace panorama
