#include "tools/rescue/advice.h"

#include <algorithm>

#include "tools/rescue/disk_source.h"
#include "tools/rescue/index_claims.h"

namespace rescue {

std::string AdviceFor(const shot::File& file) {
  if (file.Get().fileSize > longestShot) return "";
  DiskSource disk(file.Path());
  const shot::Bytes bytes = disk.Read(0, disk.Size());
  const Head head = ReadHead(bytes);
  const auto undecoded = [](std::span<const uint8_t>) { return Look{}; };
  const Finds finds = FindPictures(bytes, std::max<int64_t>(head.picturesAt, 0), undecoded);
  const shot::Shot& shot = file.Get();
  const auto isTold = [&](const Found& picture) {
    return std::any_of(shot.entries.begin(), shot.entries.end(), [&](const shot::Entry& entry) {
      return shot.SpanOf(entry) == shot::Span{picture.offset, picture.size};
    });
  };
  const auto there =
      std::count_if(finds.pictures.begin(), finds.pictures.end(), [](const Found& p) { return p.ended; });
  const auto untold = std::count_if(finds.pictures.begin(), finds.pictures.end(),
                                    [&](const Found& p) { return p.ended && !isTold(p); });
  if (there == 0 || (untold == 0 && shot.Whole()) || finds.pictures[0].offset == 0) return "";
  return std::to_string(there) + (there == 1 ? " picture is" : " pictures are") +
         " in it all the same: `lumora-shot rescue " + file.Path() + " OUT.ori` makes a whole shot of " +
         (there == 1 ? "it" : "them");
}

}  // namespace rescue
