#include "common/httpd/serve.h"

#include <sys/stat.h>

#include "common/httpd/shot_walk.h"
#include "common/httpd/transport.h"

static constexpr int kPreviewSize = 1024;  // what is left of a full picture
static constexpr int64_t kEntrySize = sizeof(JpgDataIndexInfo);

static int NotFound(int client, const char* text) { return send_txt(client, 404, "NOT FOUND", text); }

// Opens a file and finds its size. On failure the answer has been sent; *result tells which.
static FILE* OpenFile(int client, const char* filename, int64_t* fileSize, int* result) {
  struct stat status = {};
  if (stat(filename, &status) != 0) {
    *result = NotFound(client, "File not found");
    return nullptr;
  }
  *fileSize = status.st_size;
  FILE* file = fopen(filename, "rb");
  if (file == nullptr) *result = NotFound(client, "File cannot open");
  return file;
}

static int SendRange(int client, FILE* file, int64_t offset, int64_t size) {
  return send_part(client, file, static_cast<unsigned int>(offset), static_cast<unsigned int>(size));
}

// --- the shot file ---

using Index = std::array<JpgDataIndexInfo, kMaxIndexEntries>;

struct Delivery {
  ShotLayout layout;
  Index stored;       // as the file has it
  Index sent;         // with consecutive offsets, and cut to previews if asked
  int64_t dataStart;  // first byte of JPEG data
  int64_t total;      // bytes of JPEG data that are sent
};

// Reads the index and works out the one that is sent. False if a stored size passes the end of the file.
static bool PlanDelivery(FILE* file, int64_t fileSize, int onlyPreview, Delivery* plan) {
  if (!LumoWalkShot(file, &plan->layout)) return false;
  const int num = plan->layout.indexInfoNum;
  const auto indexSize = static_cast<size_t>(num * kEntrySize);
  if (!LumoReadAt(file, plan->layout.indexOffset, plan->stored.data(), indexSize)) return false;
  plan->dataStart = plan->layout.indexOffset + num * kEntrySize + 6;
  plan->total = 0;
  for (int i = 0; i < num; i++) {
    const JpgDataIndexInfo& stored = plan->stored[static_cast<size_t>(i)];
    JpgDataIndexInfo& sent = plan->sent[static_cast<size_t>(i)];
    // Below 0 is damage that no reader could follow.
    if (stored.jpgFileOffset < 0 || stored.jpgFileSize < 0) return false;
    sent = stored;
    sent.jpgFileOffset = static_cast<int32_t>(plan->total);
    if (onlyPreview != 0 && i >= num / 2) sent.jpgFileSize = kPreviewSize;
    plan->total += sent.jpgFileSize;
    if (fileSize < stored.jpgFileOffset + plan->dataStart + stored.jpgFileSize || plan->total > INT32_MAX) return false;
  }
  return true;
}

static int SendShot(int client, FILE* file, int64_t fileSize, const Delivery& plan) {
  const int num = plan.layout.indexInfoNum;
  const int64_t indexEnd = plan.layout.indexOffset + num * kEntrySize;
  const auto total = static_cast<int32_t>(plan.total);
  if (send_head(client, "application/octet-stream", static_cast<int>(fileSize)) < 0) return -1;
  if (SendRange(client, file, 0, plan.layout.indexOffset) < 0) return -1;
  if (send_bytes(client, plan.sent.data(), static_cast<size_t>(num * kEntrySize)) < 0) return -1;
  if (SendRange(client, file, indexEnd, 2) < 0) return -1;
  if (send_bytes(client, &total, sizeof(total)) < 0) return -1;
  // The body ends where it was promised to. Previews may be longer than tiny pictures, and pictures may share bytes.
  int64_t left = fileSize - plan.dataStart;
  for (size_t i = 0; i < static_cast<size_t>(num); i++) {
    const int64_t size = plan.sent[i].jpgFileSize < left ? plan.sent[i].jpgFileSize : left;
    if (SendRange(client, file, plan.stored[i].jpgFileOffset + plan.dataStart, size) < 0) return -1;
    left -= size;
  }
  return SendRange(client, file, fileSize - left, left);
}

int serve_file(int client, const char* filename, int onlyPreview) {
  int64_t fileSize = 0;
  int result = 0;
  FILE* file = OpenFile(client, filename, &fileSize, &result);
  if (file == nullptr) return result;
  Delivery plan;
  result = PlanDelivery(file, fileSize, onlyPreview, &plan) ? SendShot(client, file, fileSize, plan)
                                                            : NotFound(client, "File size error");
  fclose(file);
  return result;
}

// --- parts of it ---

static int SendThumb(int client, FILE* file, int64_t fileSize) {
  ShotLayout layout;
  uint32_t jpgDataSecSize = 0;
  uint32_t thumbDataSecSize = 0;
  if (!LumoWalkShot(file, &layout)) return NotFound(client, "File size error");
  if (!LumoReadAt(file, layout.jpgSizeOffset, &jpgDataSecSize, sizeof(jpgDataSecSize))) {
    return NotFound(client, "File size error");
  }
  const int64_t thumbPos = jpgDataSecSize + layout.jpgSizeOffset + 6;
  if (!LumoReadAt(file, thumbPos, &thumbDataSecSize, sizeof(thumbDataSecSize)) ||
      fileSize < thumbDataSecSize + thumbPos + 4) {
    return NotFound(client, "File size error");
  }
  if (send_head(client, "image/jpeg", static_cast<int>(thumbDataSecSize)) < 0) return -1;
  return SendRange(client, file, thumbPos + 4, thumbDataSecSize);
}

int serve_thumb(int client, const char* filename) {
  int64_t fileSize = 0;
  int result = 0;
  FILE* file = OpenFile(client, filename, &fileSize, &result);
  if (file == nullptr) return result;
  result = SendThumb(client, file, fileSize);
  fclose(file);
  return result;
}

// Sent as an image although it is none: clients expect that word.
int serve_parameters(int client, const char* filename) {
  FILE* file = fopen(filename, "rb");
  if (file == nullptr) return NotFound(client, "File cannot open");
  RawImageInfo info = {};
  int result;
  if (!LumoReadAt(file, 8, &info, sizeof(info))) {
    result = NotFound(client, "File size error");
  } else if (send_head(client, "image/jpeg", sizeof(info)) < 0) {
    result = -1;
  } else {
    result = send_bytes(client, &info, sizeof(info));
  }
  fclose(file);
  return result;
}

int serve_single(int client, const char* filename) {
  int64_t fileSize = 0;
  int result = 0;
  FILE* file = OpenFile(client, filename, &fileSize, &result);
  if (file == nullptr) return result;
  result = send_head(client, "image/jpeg", static_cast<int>(fileSize)) < 0 ? -1 : SendRange(client, file, 0, fileSize);
  fclose(file);
  return result;
}
