// The file that a rescue leaves.
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "tools/lumora-shot/layout.h"
#include "tools/photos/extract.h"
#include "tools/rescue/rescue.h"

namespace rescue {
namespace {

void Add(shot::Bytes& to, int64_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) to.push_back(static_cast<uint8_t>(value >> (8 * i)));
}

void AddHead(shot::Bytes& to, uint16_t token, int64_t size) {
  Add(to, token, 2);
  Add(to, size, 4);
}

// The index of the placed pictures, laid one behind the other; `end` receives their length.
shot::Bytes IndexOf(const Rescued& rescued, int64_t& end) {
  shot::Shot numbering;
  numbering.cameras = rescued.head.cameras;
  numbering.exposures = rescued.head.exposures;
  shot::Bytes index(static_cast<size_t>(rescued.Places() * shot::entrySize));
  end = 0;
  for (const Placed& placed : rescued.placement.placed) {
    const Found& found = rescued.finds.pictures[placed.picture];
    shot::Bytes entry;
    Add(entry, placed.place.size == shot::PictureSize::Half ? 1 : 2, 2);
    Add(entry, placed.place.camera, 2);
    Add(entry, placed.place.exposure, 2);
    Add(entry, 0, 2 + 4);
    Add(entry, end, 4);
    Add(entry, found.size, 4);
    std::copy(entry.begin(), entry.end(), index.begin() + numbering.NumberOf(placed.place) * shot::entrySize);
    end += found.size;
  }
  return index;
}

// A file that has its name only when it is whole.
class NewFile {
 public:
  explicit NewFile(const std::string& path)
      : path_(path), part_(path + ".part"), file_(std::fopen(part_.c_str(), "wb"), std::fclose) {
    if (!file_) Fail("cannot create");
  }
  ~NewFile() {
    if (!done_) std::remove(part_.c_str());
  }
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  void Write(Source bytes) {
    if (std::fwrite(bytes.data(), 1, bytes.size(), file_.get()) != bytes.size()) Fail("cannot write");
  }
  void Finish() {
    if (std::fflush(file_.get()) != 0 || fsync(fileno(file_.get())) != 0) Fail("cannot write");
    if (std::rename(part_.c_str(), path_.c_str()) != 0) Fail("cannot take its name");
    done_ = true;
  }

 private:
  [[noreturn]] void Fail(const char* what) const {
    const int error = errno;
    std::remove(part_.c_str());
    throw shot::CannotWrite(path_ + ": " + what + ": " + std::strerror(error));
  }
  const std::string path_, part_;
  std::unique_ptr<FILE, int (*)(FILE*)> file_;
  bool done_ = false;
};

}  // namespace

void ComposeShot(Source source, const Rescued& rescued, const std::function<void(Source)>& write) {
  int64_t length = 0;
  const shot::Bytes index = IndexOf(rescued, length);
  shot::Bytes head = rescued.head.bytes;
  AddHead(head, shot::tokenIndex, static_cast<int64_t>(index.size()));
  head.insert(head.end(), index.begin(), index.end());
  AddHead(head, shot::tokenPictures, length);
  write(head);
  for (const Placed& placed : rescued.placement.placed) {
    const Found& found = rescued.finds.pictures[placed.picture];
    write(source.subspan(static_cast<size_t>(found.offset), static_cast<size_t>(found.size)));
  }
  shot::Bytes end;
  AddHead(end, shot::tokenThumbnail, static_cast<int64_t>(rescued.thumbnail.size()));
  end.insert(end.end(), rescued.thumbnail.begin(), rescued.thumbnail.end());
  write(end);
}

void WriteShot(Source source, const Rescued& rescued, const std::string& path) {
  NewFile file(path);
  ComposeShot(source, rescued, [&](Source bytes) { file.Write(bytes); });
  file.Finish();
}

}  // namespace rescue
