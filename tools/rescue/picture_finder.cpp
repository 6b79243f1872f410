#include "tools/rescue/picture_finder.h"

#include <algorithm>
#include <cstring>

#include "tools/lumora-shot/layout.h"
#include "tools/lumora-shot/pictures.h"

namespace rescue {
namespace {

constexpr int64_t longestHead = 64 << 10;
constexpr uint8_t startMark = 0xD8, endMark = 0xD9, scanMark = 0xDA;

Source From(Source source, int64_t at, int64_t most = INT64_MAX) {
  const auto begin = static_cast<size_t>(std::min(at, static_cast<int64_t>(source.size())));
  return source.subspan(begin, static_cast<size_t>(std::min(most, static_cast<int64_t>(source.size() - begin))));
}

bool Starts(Source source, int64_t at) {
  const Source head = From(source, at, 3);
  return head.size() == 3 && head[0] == 0xFF && head[1] == startMark && head[2] == 0xFF;
}

int64_t NextStart(Source source, int64_t from) {
  static constexpr uint8_t start[] = {0xFF, startMark, 0xFF};
  const Source rest = From(source, from);
  const void* found = memmem(rest.data(), rest.size(), start, sizeof start);
  return found == nullptr ? -1 : static_cast<const uint8_t*>(found) - source.data();
}

// The size of the picture whose head stands at `at`; 0 x 0 if none does.
std::pair<int, int> SizeAt(Source source, int64_t at) {
  if (!Starts(source, at)) return {};
  try {
    const shot::JpegFacts facts = shot::ReadJpegHead(From(source, at, longestHead));
    return {facts.width, facts.height};
  } catch (const shot::BadJpeg&) {
    return {};
  }
}

std::optional<shot::PictureSize> KindOf(std::pair<int, int> size) {
  for (const auto kind : {shot::PictureSize::Full, shot::PictureSize::Half})
    if (size == std::pair(shot::WidthOf(kind), shot::HeightOf(kind))) return kind;
  return std::nullopt;
}

// The first coded byte of a JPEG whose head is known to be sound.
int64_t CodedDataOf(Source source, int64_t at) {
  const auto end = static_cast<int64_t>(source.size());
  at += 2;
  while (at + 4 <= end) {
    const uint8_t* marker = &source[static_cast<size_t>(at)];
    if (marker[0] != 0xFF || marker[1] == 0xFF) {  // fill
      ++at;
      continue;
    }
    at += 2 + (marker[2] << 8 | marker[3]);
    if (marker[1] == scanMark) return std::min(at, end);
  }
  return end;
}

struct Extent {
  int64_t end;
  bool ended;
  const char* wrong;  // null: nothing but coded data up to the end mark
};

// Runs through coded data. They hold no markers but those of a restart; another one is damage, and a start is that of
// the next picture.
Extent WalkCodedData(Source source, int64_t at) {
  const auto end = static_cast<int64_t>(source.size());
  const char* wrong = nullptr;
  while (at < end) {
    const Source rest = From(source, at);
    const void* found = std::memchr(rest.data(), 0xFF, rest.size());
    if (found == nullptr) break;
    at = static_cast<const uint8_t*>(found) - source.data();
    if (at + 1 >= end) break;
    const uint8_t mark = source[static_cast<size_t>(at + 1)];
    if (mark == endMark) return {at + 2, true, wrong};
    if (Starts(source, at) && KindOf(SizeAt(source, at))) return {at, false, "the next picture begins before its end"};
    const bool coded = mark == 0 || (mark >= 0xD0 && mark <= 0xD7);
    if (!coded && mark != 0xFF) wrong = "a marker stands among its data";
    at += mark == 0xFF ? 1 : 2;
  }
  return {end, false, "the file ends before it does"};
}

std::optional<shot::Span> ThumbnailAt(Source source, int64_t at) {
  const Source head = From(source, at, shot::sectionHead);
  if (head.size() < shot::sectionHead || (head[0] | head[1] << 8) != shot::tokenThumbnail) return std::nullopt;
  const shot::Span span{at + shot::sectionHead,
                        head[2] | head[3] << 8 | head[4] << 16 | static_cast<int64_t>(head[5]) << 24};
  if (span.size < 4 || span.End() != static_cast<int64_t>(source.size())) return std::nullopt;
  const Source jpeg = From(source, span.offset, span.size);
  if (SizeAt(source, span.offset) != std::pair(shot::thumbnailWidth, shot::thumbnailHeight)) return std::nullopt;
  return shot::WhatIsWrongWithTheData(jpeg).empty() ? std::optional(span) : std::nullopt;
}

}  // namespace

Look LookAt(std::span<const uint8_t> jpeg) {
  Look look;
  try {
    const shot::Gray gray = shot::DecodeGray(jpeg, 8);
    const int block = gray.width / Small::width;
    for (int y = 0; y < Small::height; ++y) {
      for (int x = 0; x < Small::width; ++x) {
        int sum = 0;
        for (int i = 0; i < block * block; ++i) sum += gray.At(x * block + i % block, y * block + i / block);
        look.small.pixels[static_cast<size_t>(y) * Small::width + static_cast<size_t>(x)] =
            static_cast<uint8_t>(sum / (block * block));
      }
    }
  } catch (const shot::BadJpeg& bad) {
    look.wrong = bad.what();
  }
  return look;
}

std::optional<Found> PictureAt(Source source, int64_t at) {
  const auto kind = KindOf(SizeAt(source, at));
  if (!kind) return std::nullopt;
  const Extent extent = WalkCodedData(source, CodedDataOf(source, at));
  return Found{at, extent.end - at, *kind, extent.ended, {extent.wrong ? extent.wrong : "", {}}};
}

int64_t NextPicture(Source source, int64_t from) {
  for (int64_t at = NextStart(source, from); at >= 0; at = NextStart(source, at + 1))
    if (KindOf(SizeAt(source, at))) return at;
  return -1;
}

Finds FindPictures(Source source, int64_t from, const Looker& look) {
  Finds finds;
  for (int64_t at = from; at >= 0 && at < static_cast<int64_t>(source.size());) {
    auto picture = PictureAt(source, at);
    if (!picture) {
      if ((finds.thumbnail = ThumbnailAt(source, at))) break;
      // A thumbnail is small and stands at the end: the last gap may hide its head.
      const int64_t next = NextPicture(source, at + 1);
      for (int64_t start = at; next < 0 && !finds.thumbnail && start >= 0; start = NextStart(source, start + 1))
        if (start - shot::sectionHead >= at) finds.thumbnail = ThumbnailAt(source, start - shot::sectionHead);
      at = next;
      continue;
    }
    if (picture->ended && picture->Sound()) picture->look = look(From(source, at, picture->size));
    at = picture->End();
    finds.pictures.push_back(std::move(*picture));
  }
  return finds;
}

}  // namespace rescue
