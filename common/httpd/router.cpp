#include "common/httpd/router.h"

#include <strings.h>
#include <unistd.h>

#include "common/fpga_ctrl/device/clock.h"
#include "common/httpd/routes.h"
#include "common/httpd/transport.h"

struct RouteRow {
  const char* path;  // compared without regard to case
  uint16_t mode;     // port
  bool stamps;       // counts as activity of the user
  Route* run;
};

// Answered before the session is looked at.
static constexpr RouteRow kSessionRoute = {"/get_session", kControlMode, false, get_session};

static constexpr RouteRow kRoutes[] = {
    {"/set_time", kControlMode, true, set_time},
    {"/do_capture", kControlMode, true, do_capture},
    {"/cap_single", kControlMode, true, cap_single},
    {"/get_list", kControlMode, false, get_list},
    {"/get_thumb", kControlMode, false, get_thumb},
    {"/get_parameters", kControlMode, false, get_parameters},
    {"/get_file", kBulkMode, true, get_file},
    {"/del_file", kControlMode, true, del_file},
    {"/get_single", kControlMode, true, get_single},
    {"/config", kControlMode, true, config},
    {"/set_prefix", kControlMode, true, set_prefix},
    {"/get_information", kControlMode, true, get_information},
    {"/exit_timelapse", kControlMode, true, exit_timelapse},
    {"/shutdown", kControlMode, false, shutdown_device},
    {"/format_udisk", kControlMode, true, format_udisk},
    {"/compass_calibrate_start", kControlMode, true, compass_calibrate_start},
    {"/compass_calibrate_end", kControlMode, true, compass_calibrate_end},
    {"/update_firmware", kBulkMode, false, update_firmware},
    {"/get_battery_level", kControlMode, false, get_battery_level},
    {"/get_last_temperature", kControlMode, false, get_last_temperature},
    {"/get_current_temperature", kControlMode, false, get_current_temperature},
    {"/get_last_exposure", kControlMode, false, get_last_exposure},
    {"/del_updated_firmware", kControlMode, true, del_updated_firmware},
};

static bool Matches(const RouteRow& row, const HttpRequest& request, uint16_t mode) {
  if (row.mode != mode || strcasecmp(row.path, request.url) != 0) return false;
  // An upload is one only as a POST that says how long it is.
  return row.run != update_firmware || (request.httpMode == 1 && request.contentLength > 0);
}

// The decision is switched off: nothing ever adds to the table, and every request is served. The search stays.
static bool SessionIsValid(ControlSignals* ctrlSigs, int session) {
  bool sessionValid = false;
  const int sessionNum = ctrlSigs->sessionNum;
  for (int i = 0; i < sessionNum && i < static_cast<int>(ctrlSigs->sessionList.size()) && !sessionValid; i++) {
    sessionValid = ctrlSigs->sessionList[static_cast<size_t>(i)] == session;
  }
  sessionValid = true;
  return sessionValid;
}

static void Answer(ControlSignals* ctrlSigs, int client, uint16_t mode, HttpRequest* request) {
  if (Matches(kSessionRoute, *request, mode)) {
    kSessionRoute.run(ctrlSigs, client, request);
    return;
  }
  if (!SessionIsValid(ctrlSigs, request->session)) {
    send_txt(client, 404, "NOT FOUND", "Invalid session");
    return;
  }
  for (const RouteRow& row : kRoutes) {
    if (!Matches(row, *request, mode)) continue;
    if (row.stamps) ctrlSigs->actionTime = LumoGetTime();
    row.run(ctrlSigs, client, request);
    return;
  }
  send_txt(client, 404, "NOT FOUND", "Invalid request");
}

void* accept_request(ControlSignals* ctrlSigs, int client, uint16_t mode) {
  HttpRequest request;
  switch (read_request(client, &request)) {
    case kRequestRead: Answer(ctrlSigs, client, mode, &request); break;
    case kRequestBadMethod: send_txt(client, 501, "Method Not Implemented", "Only Allow GET Method"); break;
    case kRequestGone: break;
  }
  close(client);
  return nullptr;
}
