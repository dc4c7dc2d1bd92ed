// The least that an upload or a ping costs when every byte goes out by one write: the system calls
// of kvo-bootloader-tms in their order, and nothing between them. The packets come ready-made.
//
//   kvo-bench-floor DEVICE PACKETS    packet 0, blocks, EOT and the closing packet, as on the line
//   kvo-bench-floor DEVICE            a ping
#include <fcntl.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

enum { kSmallPacket = 3 + 128 + 2, kBlock = 3 + 1024 + 2, kEndOfFile = 1 };

static void Require(int condition, const char* what) {
  if (!condition) {
    perror(what);
    exit(EXIT_FAILURE);
  }
}

static void RunTool(const char* command) {
  char piece[128];
  FILE* pipe = popen(command, "r");
  Require(pipe != NULL, "popen");
  while (fgets(piece, sizeof piece, pipe) != NULL) {
  }
  pclose(pipe);
}

static void CheckPort(const char* device) {
  char command[256];
  snprintf(command, sizeof command, "lsof %s", device);
  RunTool(command);
  RunTool("ps -aux | grep [m]inicom");
}

static int OpenLine(const char* device) {
  struct termios settings;
  const int line = open(device, O_RDWR | O_NOCTTY | O_SYNC);
  Require(line != -1, device);
  Require(tcgetattr(line, &settings) == 0, "tcgetattr");
  cfmakeraw(&settings);
  cfsetspeed(&settings, B1000000);
  settings.c_cflag |= CREAD | CLOCAL;
  settings.c_cc[VMIN] = 0;
  settings.c_cc[VTIME] = 1;
  tcflush(line, TCIFLUSH);
  Require(tcsetattr(line, TCSANOW, &settings) == 0, "tcsetattr");
  return line;
}

static void Send(int line, const uint8_t* bytes, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    Require(write(line, bytes + i, 1) == 1, "write");
  }
}

static uint8_t Answer(int line) {
  uint8_t byte = 0;
  Require(read(line, &byte, 1) >= 0, "read");
  return byte;
}

static void Expect(int line, uint8_t expected) {
  Require(Answer(line) == expected, "wrong or no answer");
}

static uint8_t* ReadFile(const char* path, size_t* size) {
  struct stat status;
  const int file = open(path, O_RDONLY);
  Require(file != -1 && fstat(file, &status) == 0, path);
  *size = (size_t)status.st_size;
  uint8_t* content = malloc(*size);
  Require(content != NULL && read(file, content, *size) == status.st_size, path);
  close(file);
  return content;
}

static void Upload(int line, const uint8_t* packets, size_t size) {
  Send(line, (const uint8_t*)"1", 1);
  usleep(20000);
  while (Answer(line) != 'C') {
  }
  Send(line, packets, kSmallPacket);
  Expect(line, 0x06);
  Expect(line, 'C');
  const uint8_t* end = packets + size - kEndOfFile - kSmallPacket;
  for (packets += kSmallPacket; packets < end; packets += kBlock) {
    Send(line, packets, kBlock);
    Expect(line, 0x06);
    Require(write(STDOUT_FILENO, ".", 1) == 1, "write");
  }
  Send(line, packets, kEndOfFile);
  Expect(line, 0x06);
  Expect(line, 'C');
  Send(line, packets + kEndOfFile, kSmallPacket);
  Expect(line, 0x06);
  Expect(line, 'O');
}

static void Ping(int line) {
  tcflush(line, TCIFLUSH);
  Send(line, (const uint8_t*)"0", 1);
  Expect(line, 'A');
  usleep(50000);
}

int main(int argc, char** argv) {
  Require(argc >= 2, "arguments");
  CheckPort(argv[1]);
  const int line = OpenLine(argv[1]);
  if (argc == 2) {
    Ping(line);
    return EXIT_SUCCESS;
  }
  size_t size = 0;
  uint8_t* packets = ReadFile(argv[2], &size);
  Upload(line, packets, size);
  free(packets);
  return EXIT_SUCCESS;
}
