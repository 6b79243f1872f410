#include "common/httpd/request.h"

#include <strings.h>

#include <cctype>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "common/bounds.h"
#include "common/httpd/transport.h"
#include "common/number.h"

static constexpr int kLineSize = 1024;
static constexpr int kMethodSize = 255;

// --- values ---

static int Clamped(const char* value, int least, int most) { return LMin(LMax(LumoNumber(value), least), most); }

static int Masked(const char* value, int mask) { return LumoNumber(value) & mask; }

static int Truth(const char* value) { return strcasecmp(value, "true") == 0 || strcmp(value, "1") == 0 ? 1 : 0; }

// A client sends either a small index, 8 meaning no compensation, or the biased value itself.
static int Compensation(const char* value) {
  int ev = LumoNumber(value);
  if (ev < 16) ev += 120;
  return LMin(LMax(ev, 112), 144);
}

// 0 to 25; what lies outside falls back to 0.
static int Index(const char* value) {
  const int index = LumoNumber(value);
  return index < 0 || index > 25 ? 0 : index;
}

// Truncated; what 64 bits cannot hold saturates, and what is no number is 0.
static int64_t Whole(const char* value) {
  const double number = atof(value);
  if (std::isnan(number)) return 0;
  if (number >= 9.2e18) return INT64_MAX;
  if (number <= -9.2e18) return INT64_MIN;
  return static_cast<int64_t>(number);
}

// --- the query string ---

struct QueryKey {
  const char* name;
  void (*take)(char* value, HttpRequest* request);
};

static constexpr QueryKey kQueryKeys[] = {
    {"session", [](char* v, HttpRequest* r) { r->session = LumoNumber(v); }},
    {"filename", [](char* v, HttpRequest* r) { r->mainName = v; }},
    {"time", [](char* v, HttpRequest* r) { r->timeStr = v; }},
    {"strobemode", [](char* v, HttpRequest* r) { r->strobeMode = Masked(v, 3); }},
    {"timelapse", [](char* v, HttpRequest* r) { r->timeLapse = Clamped(v, 0, 7); }},
    {"delay", [](char* v, HttpRequest* r) { r->delayMode = Clamped(v, 0, 8); }},
    {"capmode", [](char* v, HttpRequest* r) { r->captureMode = Masked(v, 7); }},
    {"evmode", [](char* v, HttpRequest* r) { r->evCompVal = Compensation(v); }},
    {"isomode", [](char* v, HttpRequest* r) { r->isoMode = Masked(v, 3); }},
    {"exposure", [](char* v, HttpRequest* r) { r->manualExpsUs = Clamped(v, 250, 9000000); }},
    {"iso", [](char* v, HttpRequest* r) { r->manualIso = Clamped(v, 100, 1600); }},
    {"longitude", [](char* v, HttpRequest* r) { r->longitude = LumoNumber(v); }},
    {"latitude", [](char* v, HttpRequest* r) { r->latitude = LumoNumber(v); }},
    {"saveraw", [](char* v, HttpRequest* r) { r->saveRaw = Truth(v); }},
    {"gyrocorrect", [](char* v, HttpRequest* r) { r->gyroCorrect = Clamped(v, 0, 2); }},
    {"btnsetting", [](char* v, HttpRequest* r) { r->btnSetting = Clamped(v, 0, 2); }},
    {"shutdownmode", [](char* v, HttpRequest* r) { r->shutdownMode = Clamped(v, 0, 5); }},
    {"mutemode", [](char* v, HttpRequest* r) { r->muteMode = Masked(v, 1); }},
    {"onlypreview", [](char* v, HttpRequest* r) { r->onlyPreview = Truth(v); }},
    {"camidx", [](char* v, HttpRequest* r) { r->camIdx = Clamped(v, 0, 24); }},
    {"index", [](char* v, HttpRequest* r) { r->index = Index(v); }},
    {"crcvalue", [](char* v, HttpRequest* r) { r->crcValue = Whole(v); }},
    {"prefix",
     [](char* v, HttpRequest* r) {
       if (strlen(v) >= r->prefix.size()) return;
       r->prefix = {};
       memcpy(r->prefix.data(), v, strlen(v));
     }},
};

// Takes a query string apart, in place.
static void ParseQuery(char* query, HttpRequest* request) {
  char* position = query;
  while (position != nullptr) {
    // An "&" in front of the "=" is part of the key; a last key without "=" is dropped.
    char* value = strchr(position, '=');
    if (value == nullptr) return;
    *value++ = '\0';
    char* next = strchr(value, '&');
    if (next != nullptr) *next++ = '\0';
    for (const QueryKey& key : kQueryKeys) {
      if (strcasecmp(position, key.name) == 0) key.take(value, request);
    }
    position = next;
  }
}

// --- the request ---

static bool IsSpace(char c) { return isspace(static_cast<unsigned char>(c)) != 0; }

// Copies up to white space, `end`, or size - 1 characters; a zero byte in the line is a character like any other.
// Returns where it stopped in `text`.
static const char* TakeWord(const char* text, const char* end, char* word, int size) {
  int length = 0;
  while (text != end && !IsSpace(*text) && length < size - 1) word[length++] = *text++;
  word[length] = '\0';
  return text;
}

// Goes through the headers up to the empty line, or to the end of what the peer sends. False if it went away.
static bool ReadHeaders(int client, char* buf, HttpRequest* request) {
  static constexpr char kLengthHeader[] = "Content-Length:";
  int length = 1;
  buf[0] = '\0';
  while (length > 0 && strcmp(buf, "\n") != 0) {
    length = get_line(client, buf, kLineSize);
    if (length < 0) return false;
    if (request->httpMode != 1) continue;
    const char* found = strstr(buf, kLengthHeader);
    if (found != nullptr) request->contentLength = LumoNumber(found + strlen(kLengthHeader));
  }
  return true;
}

RequestResult read_request(int client, HttpRequest* request) {
  char buf[kLineSize];
  char method[kMethodSize];
  const int length = get_line(client, buf, sizeof(buf));
  if (length < 0) return kRequestGone;

  const char* end = buf + length;
  const char* rest = TakeWord(buf, end, method, sizeof(method));
  if (strcasecmp(method, "GET") == 0) {
    request->httpMode = 0;
  } else if (strcasecmp(method, "POST") == 0) {
    request->httpMode = 1;
  } else {
    return kRequestBadMethod;
  }
  while (rest != end && IsSpace(*rest)) rest++;
  TakeWord(rest, end, request->url, sizeof(request->url));
  char* query = strchr(request->url, '?');
  if (query != nullptr) {
    *query++ = '\0';
    ParseQuery(query, request);
  }
  return ReadHeaders(client, buf, request) ? kRequestRead : kRequestGone;
}
