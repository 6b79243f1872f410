#include "tools/lumora-shot/sheet.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "tools/lumora-shot/info.h"
#include "tools/lumora-shot/layout.h"
#include "tools/lumora-shot/lettering.h"

namespace shot {
namespace {

constexpr int reduction = 8;
constexpr int cellWidth = WidthOf(PictureSize::Half) / reduction;    // 204
constexpr int cellHeight = HeightOf(PictureSize::Half) / reduction;  // 153
constexpr int gap = 4;
constexpr int margin = 16;
constexpr int titleHeight = 44;
constexpr int headingHeight = 24;
constexpr int numberWidth = 48;

constexpr Colour paper = {24, 24, 26};
constexpr Colour ink = {230, 230, 225};
constexpr Colour soft = {150, 150, 150};
constexpr Colour hole = {48, 48, 52};
constexpr Colour alarm = {235, 60, 50};

struct Grid {
  int blocks, rows, blockWidth;
  int Width() const { return 2 * margin + blocks * blockWidth - numberWidth / 2; }
  int Height() const { return 2 * margin + titleHeight + headingHeight + rows * (cellHeight + gap); }
};

// As many blocks of cameras side by side as bring the page nearest to the shape of a screen.
Grid GridOf(const Shot& shot) {
  Grid best{};
  double least = INFINITY;
  for (int blocks = 1; blocks <= std::min(6, shot.cameras); ++blocks) {
    const Grid grid{blocks, (shot.cameras + blocks - 1) / blocks,
                    numberWidth + shot.exposures * (cellWidth + gap) + numberWidth / 2};
    const double miss = std::abs(std::log(static_cast<double>(grid.Width()) / grid.Height() / 1.4));
    if (miss < least) best = grid;
    least = std::min(least, miss);
  }
  return best;
}

void Mark(Rgb& page, int x, int y, const char* text) {
  Fill(page, x, y, cellWidth, 3, alarm);
  Fill(page, x, y + cellHeight - 3, cellWidth, 3, alarm);
  Fill(page, x, y, 3, cellHeight, alarm);
  Fill(page, x + cellWidth - 3, y, 3, cellHeight, alarm);
  const int width = WidthOfText(text, 2);
  Fill(page, x + (cellWidth - width) / 2 - 4, y + cellHeight / 2 - 12, width + 6, 24, paper);
  Write(page, x + (cellWidth - width) / 2, y + cellHeight / 2 - 7, 2, alarm, text);
}

// The picture's upper left part of at most `width` x `height`.
void Draw(Rgb& page, int x, int y, int width, int height, const Rgb& picture) {
  for (int row = 0; row < std::min(picture.height, height); ++row)
    std::copy_n(picture.pixels.begin() + 3 * ptrdiff_t{row} * picture.width, 3 * std::min(picture.width, width),
                page.pixels.begin() + 3 * (ptrdiff_t{y + row} * page.width + x));
}

// Turned by 180 degrees: the last pixel becomes the first.
void Turn(Rgb& picture) {
  const size_t count = picture.pixels.size() / 3;
  for (size_t i = 0; i < count / 2; ++i)
    std::swap_ranges(&picture.pixels[3 * i], &picture.pixels[3 * i] + 3, &picture.pixels[3 * (count - 1 - i)]);
}

void DrawCell(Rgb& page, int x, int y, const File& file, const Place& place) {
  const Shot& shot = file.Get();
  const Entry& entry = shot.entries[static_cast<size_t>(shot.NumberOf(place))];
  Fill(page, x, y, cellWidth, cellHeight, hole);
  const Bytes jpeg = file.Jpeg(entry);
  if (jpeg.empty()) {
    Mark(page, x, y, entry.Filled() ? "cut off" : "missing");
    return;
  }
  try {
    Rgb picture = DecodeRgb(jpeg, reduction);
    Turn(picture);
    Draw(page, x, y, cellWidth, cellHeight, picture);
    if (!picture.wrong.empty())
      Mark(page, x, y, "damaged");
    else if (picture.width != cellWidth || picture.height != cellHeight)
      Mark(page, x, y, "wrong size");
  } catch (const BadJpeg&) {
    Mark(page, x, y, "no picture");
  }
}

// The thumbnail takes what the last block leaves free. It is upright already.
void DrawThumbnail(Rgb& page, const Grid& grid, const File& file) {
  const int used = file.Get().cameras - (grid.blocks - 1) * grid.rows;
  const int free = grid.rows - used;
  if (free < 1 || !file.Get().Whole()) return;
  const int scale = free > 1 ? 1 : 2;
  const int x = margin + (grid.blocks - 1) * grid.blockWidth + numberWidth;
  const int y = margin + titleHeight + headingHeight + used * (cellHeight + gap);
  const int width = thumbnailWidth / scale;
  Write(page, x + width + 12, y + 8, 2, soft, "thumbnail");
  try {
    Draw(page, x, y, width, thumbnailHeight / scale, DecodeRgb(file.Read(Part::Thumbnail), scale));
  } catch (const BadJpeg&) {
    Write(page, x + width + 12, y + 32, 2, alarm, "no picture");
  }
}

void DrawTitle(Rgb& page, const File& file) {
  const Shot& shot = file.Get();
  const std::string name = std::filesystem::path(file.Path()).filename().string();
  Write(page, margin, margin, 3, ink, name);
  if (shot.calibrated == 0) return;
  const Record& r = shot.record;
  const std::string line = "shot " + std::to_string(r.shootIdx) + " of " + DateText(r) + ", device " +
                           std::to_string(r.deviceId) + ", mode " + std::to_string(r.hdrMode) + ", compensation " +
                           std::to_string(r.evBiasMode) + "/3";
  const int x = margin + WidthOfText(name, 3) + 24;
  const bool fits = x + WidthOfText(line, 2) < page.width - margin;
  Write(page, fits ? x : margin, fits ? margin + 6 : margin + 26, 2, soft, line);
}

}  // namespace

Rgb DrawSheet(const File& file) {
  const Shot& shot = file.Get();
  if (shot.entries.empty()) {  // no index: the page says so
    Rgb page{640, 120, std::vector<uint8_t>(640 * 120 * 3, paper[0]), {}};
    DrawTitle(page, file);
    Write(page, margin, 76, 2, alarm, "no index: " + shot.stop);
    return page;
  }
  const Grid grid = GridOf(shot);
  Rgb page{grid.Width(), grid.Height(), {}, {}};
  page.pixels.resize(static_cast<size_t>(page.width) * static_cast<size_t>(page.height) * 3);
  Fill(page, 0, 0, page.width, page.height, paper);
  DrawTitle(page, file);
  for (int camera = 0; camera < shot.cameras; ++camera) {
    const int left = margin + camera / grid.rows * grid.blockWidth;
    const int y = margin + titleHeight + headingHeight + camera % grid.rows * (cellHeight + gap);
    const std::string number = std::to_string(camera);
    Write(page, left + numberWidth - 10 - WidthOfText(number, 3), y + cellHeight / 2 - 10, 3, ink, number);
    for (int exposure = 0; exposure < shot.exposures; ++exposure) {
      const int x = left + numberWidth + exposure * (cellWidth + gap);
      if (camera % grid.rows == 0) {
        const ExposureSet& set = shot.record.Exposure(exposure);
        const auto iso = std::to_string(static_cast<int64_t>(std::lround(set.Iso())));
        Write(page, x, y - headingHeight + 4, 2, soft, ShutterText(set.Seconds()) + " ISO " + iso);
      }
      DrawCell(page, x, y, file, {PictureSize::Half, camera, exposure});
    }
  }
  DrawThumbnail(page, grid, file);
  return page;
}

}  // namespace shot
