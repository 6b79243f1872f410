#include <unistd.h>

#include <cstdio>

#include "common/httpd/post_body.h"
#include "common/httpd/routes.h"
#include "common/httpd/transport.h"

// The boot script takes a file of the final name at the next start and puts it in the application's place.
static constexpr const char* srcName = "/mnt/udisk/firmware_tmp";
static constexpr const char* dstName = "/mnt/udisk/firmware";

void update_firmware(ControlSignals* /*ctrlSigs*/, int client, HttpRequest* request) {
  FILE* file = fopen(srcName, "wb");
  if (file == nullptr) {
    send_txt(client, 400, "Bad Request", "Write file error");
    return;
  }
  const unsigned int crc = get_post_body(client, file, request->contentLength);
  // What the stream still holds is written only now: a disk that is full by then must not get by with a good CRC, or
  // half an application would be installed at the next start.
  const bool isWritten = fclose(file) == 0;
  if (request->crcValue != static_cast<int64_t>(crc) || !isWritten) {
    remove(srcName);
    send_txt(client, 400, "Bad Request", "CRC error");
    return;
  }
  // A battery that is taken out soon after the answer would leave a file of no length under the final name, and the
  // next start would put that in the application's place.
  sync();
  rename(srcName, dstName);
  sync();
  send_txt(client, 200, "OK", "OK");
}

void del_updated_firmware(ControlSignals* /*ctrlSigs*/, int client, HttpRequest* /*request*/) {
  remove("/mnt/udisk/lumora.updated");
  send_txt(client, 200, "OK", "OK");
}
