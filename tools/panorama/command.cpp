#include "tools/panorama/command.h"

#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include "tools/panorama/output.h"
#include "tools/panorama/stitch.h"
#include "tools/photos/extract.h"
#include "tools/photos/photo_tags.h"

namespace panorama {
namespace {

constexpr int good = 0, bad = 1, noAnswer = 2;
constexpr int quality = 92;

[[gnu::format(printf, 1, 2)]] int Refuse(const char* format, ...) {
  va_list values;
  va_start(values, format);
  std::fputs("lumora-shot: ", stderr);
  std::vfprintf(stderr, format, values);
  std::fputc('\n', stderr);
  va_end(values);
  return noAnswer;
}

// With what viewers and photo programs ask for. A panorama of all exposures is told as its middle one.
shot::Bytes Tagged(const shot::Shot& shot, const Order& order, const Request& request, Rows rows,
                   const shot::Bytes& jpeg) {
  const shot::PanoramaPlace place{.fullWidth = request.width,
                                  .fullHeight = request.width / 2,
                                  .left = 0,
                                  .top = rows.begin,
                                  .width = request.width,
                                  .height = rows.end - rows.begin,
                                  .heading = HeadingOf(shot.record, request.view)};
  return shot::WithPanoramaTags(jpeg, shot.record, order.exposure.value_or(shot.record.MiddleStep()), place);
}

}  // namespace

int Make(const Order& order) {
  const bool exr = order.out.ends_with(".exr"), hdr = order.out.ends_with(".hdr");
  if (!exr && !hdr && !order.out.ends_with(".jpg") && !order.out.ends_with(".jpeg"))
    return Refuse("%s: a panorama is a .jpg, or an .exr or .hdr for its light", order.out.c_str());
  const shot::File file(order.shot);
  const int exposures = file.Get().exposures;
  if (order.exposure && *order.exposure >= exposures && exposures > 0)
    return Refuse("--exposure %d: this shot has exposures 0 to %d", *order.exposure, exposures - 1);
  try {
    const int widest = WidestOf(file);
    Request request;
    request.width = order.width.value_or(std::min(request.width, widest));
    if (request.width < narrowest || request.width > widest || request.width % widthStep != 0)
      return Refuse("--width %d: must be a multiple of %d from %d to %d, which is what the lenses resolve",
                    request.width, widthStep, narrowest, widest);
    request.exposure = order.exposure;
    request.levels = order.exposure && !exr && !hdr;
    request.view = order.view;
    const bool terminal = isatty(STDERR_FILENO) != 0;
    if (terminal || order.progress)
      request.progress = [lines = order.progress](int done, int all) {
        std::fprintf(stderr, "%s%d of %d cameras%s", lines ? "" : "\r", done, all, lines ? "\n" : "");
      };
    const Stitched stitched = Stitch(file, request);
    if (terminal && !order.progress) std::fputs("\r\x1b[K", stderr);
    const Rows rows = order.crop ? SeenAllRound(stitched) : Rows{0, stitched.canvas->Height()};
    if (exr)
      WriteExr(stitched, rows, order.out);
    else if (hdr)
      WriteHdr(stitched, rows, order.out);
    else
      shot::WriteWhole(order.out, Tagged(file.Get(), order, request, rows, ToJpeg(stitched, rows, quality)));
    shot::TellMissing(order.shot, stitched.missing);
    std::printf("%s: %d x %d\n", order.out.c_str(), request.width, rows.end - rows.begin);
    return stitched.missing.empty() ? good : bad;
  } catch (const NoPanorama& none) {
    std::fprintf(stderr, "lumora-shot: %s: no panorama: %s\n", order.shot.c_str(), none.what());
    return bad;
  }
}

}  // namespace panorama
