// The serial port of the wireless remote: raw bytes, no flow control.
#pragma once

// Opens read-write and blocking, without making it the process's terminal. Returns the descriptor, or -1.
int HI_Serial_Open(const char* serialDevice);
// Closes a descriptor above 0.
void HI_Serial_Close(int fd);

// Makes the port raw and applies the settings at once; waiting input is dropped. Reads then return after 16 bytes, one
// frame, or 100 ms after the last byte.
//   speed      115200, 19200, 9600, 4800, 2400, 1200 or 300; any other leaves the old one
//   flow_ctrl  not used: there is none, whatever the port had before
//   databits   5 to 8
//   stopbits   1 or 2
//   parity     'N' none, 'O' odd, 'E' even, 'S' space (a bit that is always 0), in either case
// Returns 0, or -1 for a setting that it does not know or a port that refuses.
int HI_Serial_Set(int fd, int speed, int flow_ctrl, int databits, int stopbits, int parity);
int HI_Serial_Init(int fd, int speed, int flow_ctrl, int databits, int stopbits, int parity);

// One write. Returns data_len, or -1 if fewer bytes went out (what waits in the port is then dropped).
int HI_Serial_Send(int fd, const char* send_buf, int data_len);

// Waits up to 30 s for data. Returns the bytes of one read, at most data_len, or -1 after that time.
int HI_Serial_Recv(int fd, char* rcv_buf, int data_len);
