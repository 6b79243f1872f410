// The routes: each answers one request on `client`, which the router closes. Routes never touch hardware: they write a
// field of ControlSignals, parameters first and the mailbox last, and the control thread acts on it.
#pragma once

#include "common/control_signals.h"
#include "common/httpd/request.h"

// Battery as clients are told it: percent, 1,000 more while it charges, -1 before it is known.
int BatteryNumber(ControlSignals* ctrlSigs);

using Route = void(ControlSignals* ctrlSigs, int client, HttpRequest* request);

// capture_routes.cpp
Route get_session, do_capture, cap_single, exit_timelapse;
// settings_routes.cpp
Route set_time, config, set_prefix, get_information, shutdown_device, format_udisk, compass_calibrate_start,
    compass_calibrate_end, get_battery_level, get_last_temperature, get_current_temperature, get_last_exposure;
// file_routes.cpp
Route get_list, get_thumb, get_parameters, get_file, del_file, get_single;
// firmware_routes.cpp
Route update_firmware, del_updated_firmware;
