// One HTTP request, parsed once into fixed fields.
#pragma once

#include <array>

#include "common/types.h"

// Every key of the query string is optional; what is missing has the default given here. Values are taken as they
// stand, without percent-decoding; a repeated key overwrites the earlier one, an unknown one is ignored.
struct TagHttpRequest {
  TagHttpRequest() = default;
  TagHttpRequest(const TagHttpRequest&) = delete;  // its texts point into it

  int httpMode = 0;       // 0 GET, 1 POST
  int contentLength = 0;  // of a POST
  char url[255] = {};     // the path; the query string stands behind it and is cut up in place
  char nullStr[1] = {};   // the text of a key that is missing

  int session = -1;
  char* mainName = nullStr;  // file name without extension, inside url
  char* timeStr = nullStr;   // inside url
  int strobeMode = 0;        // 0-3
  int timeLapse = 0;         // 0-7
  int delayMode = 0;         // 0-8
  int captureMode = 0;       // 0-7
  int evCompVal = 128;       // 112-144: thirds of a stop plus 128
  int isoMode = 0;           // 0-3
  int manualExpsUs = 10000;  // 250-9000000
  int manualIso = 100;       // 100-1600
  int longitude = 0;
  int latitude = 0;
  int saveRaw = 0;       // 0, 1
  int gyroCorrect = 0;   // 0-2
  int btnSetting = 0;    // 0-2
  int shutdownMode = 0;  // 0-5
  int muteMode = 0;      // 0, 1
  int onlyPreview = 0;   // 0, 1
  int camIdx = 0;        // 0-24
  int index = 0;         // 0-25
  int64_t crcValue = 0;
  std::array<char, 12> prefix = {};  // at most 11 characters
};
using HttpRequest = TagHttpRequest;

enum RequestResult {
  kRequestRead,       // all fields are set
  kRequestGone,       // the peer went away: no answer
  kRequestBadMethod,  // neither GET nor POST
};

// Reads request line and headers from `client`; the body stays unread.
RequestResult read_request(int client, HttpRequest* request);
