// Is each picture of the file the JPEG that its place asks for?
#include <string_view>
#include <unordered_map>

#include "tools/lumora-shot/findings.h"
#include "tools/lumora-shot/layout.h"
#include "tools/lumora-shot/pictures.h"

namespace shot {
namespace {

struct Expected {
  int width, height, quality;
};

void CheckJpeg(const Bytes& jpeg, int64_t at, const std::string& title, const Expected& expected, Depth depth,
               Findings& findings) {
  const char* name = title.c_str();
  if (jpeg.size() < 4 || jpeg[0] != 0xFF || jpeg[1] != 0xD8) {
    findings.Fault(at, "%s: no JPEG begins here", name);
    return;
  }
  if (jpeg[jpeg.size() - 2] != 0xFF || jpeg.back() != 0xD9)
    findings.Fault(at + static_cast<int64_t>(jpeg.size()) - 2, "%s: the JPEG does not end with its end mark", name);
  try {
    const JpegFacts facts = ReadJpegHead(jpeg);
    if (facts.width != expected.width || facts.height != expected.height)
      findings.Fault(at, "%s: JPEG of %d x %d, must be %d x %d", name, facts.width, facts.height, expected.width,
                     expected.height);
    if (!facts.yuv420) findings.Fault(at, "%s: JPEG is not YCbCr 4:2:0", name);
    if (facts.quality != 0 && facts.quality != expected.quality)
      findings.Remark(at, "%s: JPEG of quality %d, usually %d", name, facts.quality, expected.quality);
  } catch (const BadJpeg& bad) {
    findings.Fault(at, "%s: bad head of the JPEG: %s", name, bad.what());
    return;
  }
  if (depth != Depth::Pictures) return;
  if (const std::string wrong = WhatIsWrongWithTheData(jpeg); !wrong.empty())
    findings.Fault(at, "%s: bad JPEG data: %s", name, wrong.c_str());
}

// Sensor noise makes each picture another one. Two that are the same are one frame that came twice, and the camera,
// which counts frames, has filed what came behind it one place too far. One sentence for all of them.
class Twins {
 public:
  explicit Twins(const File& file) : file_(file) {}
  void Take(const Entry& entry, const Bytes& jpeg, const std::string& title) {
    const std::string_view text(reinterpret_cast<const char*>(jpeg.data()), jpeg.size());
    const auto [known, isNew] = known_.try_emplace(std::hash<std::string_view>{}(text), &entry, title);
    if (isNew || file_.Jpeg(*known->second.first) != jpeg || count_++ > 0) return;
    at_ = file_.Get().SpanOf(entry).offset;
    first_ = title + " is, to the byte, the " + known->second.second;
  }
  void Tell(Findings& findings) const {
    if (count_ == 0) return;
    findings.Remark(at_, "%d picture%s came twice, the first: %s; those behind it may stand one place too far", count_,
                    count_ == 1 ? "" : "s", first_.c_str());
  }

 private:
  const File& file_;
  std::unordered_map<size_t, std::pair<const Entry*, std::string>> known_;
  int count_ = 0;
  int64_t at_ = 0;
  std::string first_;
};

}  // namespace

void CheckPictures(const File& file, Depth depth, Findings& findings) {
  const Shot& shot = file.Get();
  if (shot.Find(Part::Pictures)) {
    Twins twins(file);
    for (const Entry& entry : shot.entries) {
      const Span span = shot.SpanOf(entry);
      if (entry.jpgFileSize <= 0 || entry.jpgFileOffset < 0 || span.End() > shot.fileSize)
        continue;  // told by the index
      const Place place = shot.PlaceOf(entry.number);
      const std::string title = std::string(NameOf(place.size)) + " picture of camera " + std::to_string(place.camera) +
                                ", exposure " + std::to_string(place.exposure);
      if (span.size > File::longestRead) {
        findings.Fault(entry.at + 16, "%s: %lld bytes, more than any picture has", title.c_str(),
                       static_cast<long long>(span.size));
        continue;
      }
      const Bytes jpeg = file.Jpeg(entry);
      twins.Take(entry, jpeg, title);
      CheckJpeg(jpeg, span.offset, title,
                {WidthOf(place.size), HeightOf(place.size), place.size == PictureSize::Full ? 95 : 85}, depth,
                findings);
    }
    twins.Tell(findings);
  }
  if (shot.Whole())
    CheckJpeg(file.Read(Part::Thumbnail), shot.Find(Part::Thumbnail)->body.offset, "thumbnail",
              {thumbnailWidth, thumbnailHeight, 80}, depth, findings);
}

}  // namespace shot
