// The least that an upload or a ping costs: the system calls of a sender in their order, and
// nothing between them. The packets come ready-made.
//
//   kvo-bench-floor DEVICE PACKETS bytes   one write per byte, as kvo-bootloader-tms does it
//   kvo-bench-floor DEVICE PACKETS ready   one write per packet
//   kvo-bench-floor DEVICE PACKETS whole   the same, and each block's checksum is worked out, bit
//                                          by bit as the library does it
//   kvo-bench-floor DEVICE                 a ping
//
// PACKETS: packet 0, blocks, EOT and the closing packet, as on the line.
#include <fcntl.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

enum { kHeader = 3, kData = 1024, kChecksum = 2 };
enum { kSmallPacket = kHeader + 128 + kChecksum, kBlock = kHeader + kData + kChecksum };
enum { kEndOfFile = 1 };

typedef enum { kBytes, kReady, kWhole } Manner;

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

static int OpenLine(const char* device, Manner manner) {
  struct termios settings;
  const int line = open(device, O_RDWR | O_NOCTTY | O_SYNC);
  Require(line != -1, device);
  Require(tcgetattr(line, &settings) == 0, "tcgetattr");
  cfmakeraw(&settings);
  cfsetspeed(&settings, B1000000);
  settings.c_cflag |= CREAD | CLOCAL;
  settings.c_cc[VMIN] = 0;
  settings.c_cc[VTIME] = manner == kBytes ? 1 : 20;
  tcflush(line, TCIFLUSH);
  Require(tcsetattr(line, TCSANOW, &settings) == 0, "tcsetattr");
  return line;
}

static void Send(int line, const uint8_t* bytes, size_t count, Manner manner) {
  const size_t piece = manner == kBytes ? 1 : count;
  for (size_t i = 0; i < count; i += piece) {
    Require(write(line, bytes + i, piece) == (ssize_t)piece, "write");
  }
}

static void WorkOutChecksum(uint8_t* block) {
  uint32_t crc = 0;
  uint8_t* const end = block + kHeader + kData;
  for (const uint8_t* byte = block + kHeader; byte < end; ++byte) {
    crc ^= (uint32_t)*byte << 8;
    for (int bit = 0; bit < 8; ++bit) {
      crc = (crc << 1) ^ ((crc & 0x8000) != 0 ? 0x1021 : 0);
    }
  }
  end[0] = (uint8_t)(crc >> 8);
  end[1] = (uint8_t)crc;
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

static void Upload(int line, uint8_t* packets, size_t size, Manner manner) {
  Send(line, (const uint8_t*)"1", 1, manner);
  usleep(20000);
  while (Answer(line) != 'C') {
  }
  Send(line, packets, kSmallPacket, manner);
  Expect(line, 0x06);
  Expect(line, 'C');
  const uint8_t* end = packets + size - kEndOfFile - kSmallPacket;
  for (packets += kSmallPacket; packets < end; packets += kBlock) {
    if (manner == kWhole) {
      WorkOutChecksum(packets);
    }
    Send(line, packets, kBlock, manner);
    Expect(line, 0x06);
    if (manner == kBytes) {
      Require(write(STDOUT_FILENO, ".", 1) == 1, "write");
    }
  }
  Send(line, packets, kEndOfFile, manner);
  Expect(line, 0x06);
  Expect(line, 'C');
  Send(line, packets + kEndOfFile, kSmallPacket, manner);
  Expect(line, 0x06);
  Expect(line, 'O');
}

static void Ping(int line) {
  tcflush(line, TCIFLUSH);
  Send(line, (const uint8_t*)"0", 1, kBytes);
  Expect(line, 'A');
  usleep(50000);
}

static Manner MannerOf(const char* name) {
  return strcmp(name, "whole") == 0 ? kWhole : strcmp(name, "ready") == 0 ? kReady : kBytes;
}

int main(int argc, char** argv) {
  Require(argc == 2 || argc == 4, "arguments");
  const Manner manner = argc == 4 ? MannerOf(argv[3]) : kBytes;
  if (manner == kBytes) {
    CheckPort(argv[1]);
  }
  const int line = OpenLine(argv[1], manner);
  if (argc == 2) {
    Ping(line);
    return EXIT_SUCCESS;
  }
  size_t size = 0;
  uint8_t* packets = ReadFile(argv[2], &size);
  Upload(line, packets, size, manner);
  free(packets);
  return EXIT_SUCCESS;
}
