#include "common/httpd/server.h"

#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

#include "common/control_signals.h"
#include "common/httpd/router.h"
#include "common/log.h"

static constexpr int kBacklog = 5;

// --- the two threads ---

// A failed start is not looked at: each round of the loop then logs that accept failed.
static void Serve(ControlSignals* ctrlSigs, uint16_t port, uint16_t mode, const char* name) {
  sockaddr_in client_name = {};
  socklen_t client_name_len = sizeof(client_name);
  const int server = startup(port, ctrlSigs->usbMode);
  printf("httpd running on port %d\n", port);
  while (ctrlSigs->needQuit == 0) {
    const int client = accept(server, reinterpret_cast<sockaddr*>(&client_name), &client_name_len);
    if (client == -1) {
      fprintf(g_lumoDebug, "%s:%d: accept() error\n", name, __LINE__);
      continue;
    }
    accept_request(ctrlSigs, client, mode);
  }
  close(server);
}

void* LumoServerMain0(void* arg) {
  ControlSignals* ctrlSigs = static_cast<ControlSignals*>(arg);
  for (Shared<int>& session : ctrlSigs->sessionList) session = 0;
  ctrlSigs->sessionNum = 0;
  Serve(ctrlSigs, kControlPort, kControlMode, __func__);
  return nullptr;
}

void* LumoServerMain1(void* arg) {
  Serve(static_cast<ControlSignals*>(arg), kBulkPort, kBulkMode, __func__);
  return nullptr;
}

int startup(uint16_t port, BYTE usbMode) {
  const int httpd = socket(AF_INET, SOCK_STREAM, 0);
  if (httpd == -1) {
    LumoLog("socket() error\n");
    return -1;
  }
  ifreq interface = {};
  strncpy(interface.ifr_name, (usbMode & kUsbEthernet) != 0 ? "eth0" : "wlan0", sizeof(interface.ifr_name) - 1);
  if (setsockopt(httpd, SOL_SOCKET, SO_BINDTODEVICE, &interface, sizeof(interface)) < 0) {
    LumoLog("setsockopt() error\n");
    return -2;
  }
  sockaddr_in name = {};
  name.sin_family = AF_INET;
  name.sin_port = htons(port);
  name.sin_addr.s_addr = htonl(INADDR_ANY);
  if (bind(httpd, reinterpret_cast<sockaddr*>(&name), sizeof(name)) < 0) {
    LumoLog("bind() error\n");
    return -3;
  }
  if (listen(httpd, kBacklog) < 0) {
    LumoLog("listen() error\n");
    return -5;
  }
  return httpd;
}
