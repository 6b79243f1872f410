#include "common/usbserial/port.h"

#include <fcntl.h>
#include <sys/select.h>
#include <termios.h>
#include <unistd.h>

#include "common/log.h"

static constexpr cc_t kFrameSize = 16;
static constexpr cc_t kGap = 1;           // tenths of a second
static constexpr int kReceiveLimit = 30;  // s

struct PortSpeed {
  int speed;
  speed_t code;
};
static constexpr PortSpeed kSpeeds[] = {{115200, B115200}, {19200, B19200}, {9600, B9600}, {4800, B4800},
                                        {2400, B2400},     {1200, B1200},   {300, B300}};

int HI_Serial_Open(const char* serialDevice) {
  const int fd = open(serialDevice, O_RDWR | O_NOCTTY | O_NDELAY);
  if (fd == -1) {
    LumoLog("Can't Open Serial Device\n");
    return -1;
  }
  if (fcntl(fd, F_SETFL, 0) < 0) {
    LumoLog("Serial fcntl error!\n");
    return -1;
  }
  return fd;
}

void HI_Serial_Close(int fd) {
  if (fd > 0) close(fd);
}

static bool SetCharacter(termios* options, int databits, int stopbits, int parity) {
  static constexpr tcflag_t kSizes[] = {CS5, CS6, CS7, CS8};
  if (databits < 5 || databits > 8 || (stopbits != 1 && stopbits != 2)) return false;
  options->c_cflag &= ~static_cast<tcflag_t>(CSIZE | CSTOPB | PARENB | PARODD | CMSPAR);
  options->c_cflag |= kSizes[databits - 5];
  if (stopbits == 2) options->c_cflag |= CSTOPB;
  switch (parity) {
    case 'n':
    case 'N': return true;
    case 'o':
    case 'O': options->c_cflag |= PARENB | PARODD; return true;
    case 'e':
    case 'E': options->c_cflag |= PARENB; return true;
    case 's':
    case 'S': options->c_cflag |= PARENB | CMSPAR; return true;  // a parity bit that is always 0
    default: return false;
  }
}

int HI_Serial_Set(int fd, int speed, int /*flow_ctrl*/, int databits, int stopbits, int parity) {
  termios options = {};
  if (tcgetattr(fd, &options) != 0) {
    LumoLog("Serial tcgetattr error!\n");
    return -1;
  }
  for (const PortSpeed& known : kSpeeds) {
    if (known.speed != speed) continue;
    cfsetispeed(&options, known.code);
    cfsetospeed(&options, known.code);
  }
  if (!SetCharacter(&options, databits, stopbits, parity)) return -1;
  options.c_cflag &= ~static_cast<tcflag_t>(CRTSCTS);
  options.c_cflag |= CLOCAL | CREAD;
  options.c_iflag &= ~static_cast<tcflag_t>(BRKINT | INPCK | ISTRIP | INLCR | IGNCR | ICRNL | IXON | IXOFF | IXANY);
  options.c_oflag &= ~static_cast<tcflag_t>(OPOST);
  options.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | ECHOE | ISIG);
  options.c_cc[VTIME] = kGap;
  options.c_cc[VMIN] = kFrameSize;
  tcflush(fd, TCIFLUSH);
  if (tcsetattr(fd, TCSANOW, &options) != 0) {
    LumoLog("Serial tcsetattr error!\n");
    return -1;
  }
  return 0;
}

int HI_Serial_Init(int fd, int speed, int flow_ctrl, int databits, int stopbits, int parity) {
  return HI_Serial_Set(fd, speed, flow_ctrl, databits, stopbits, parity);
}

int HI_Serial_Send(int fd, const char* send_buf, int data_len) {
  const ssize_t written = write(fd, send_buf, static_cast<size_t>(data_len));
  if (written == data_len) return data_len;
  tcflush(fd, TCOFLUSH);
  return -1;
}

int HI_Serial_Recv(int fd, char* rcv_buf, int data_len) {
  fd_set reading;
  FD_ZERO(&reading);
  const bool isOpen = fd >= 0 && fd < FD_SETSIZE;  // a port that did not open is waited for like a silent one
  if (isOpen) FD_SET(fd, &reading);
  timeval limit = {kReceiveLimit, 0};
  if (select(isOpen ? fd + 1 : 0, &reading, nullptr, nullptr, &limit) <= 0) {
    LumoLog("Serial haven't data receive!\n");
    return -1;
  }
  return static_cast<int>(read(fd, rcv_buf, static_cast<size_t>(data_len)));
}
