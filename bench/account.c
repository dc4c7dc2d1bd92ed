// Runs a command and writes what it cost into a file, as JSON: its exit status, wall and processor
// time in seconds (the latter with what it ran and waited for), peak resident size in KiB.
//
//   kvo-bench-account FILE COMMAND [ARGUMENT...]
//
// SIGTERM ends the command.
//
// Apart from measure.py because a process inherits the peak of the one that starts it, and
// Python's is larger than what is to be measured.
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

static pid_t child;

static void EndCommand(int signal) { kill(child, signal); }

static double Now(void) {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return (double)now.tv_sec + (double)now.tv_nsec * 1e-9;
}

static double Seconds(struct timeval time) {
  return (double)time.tv_sec + (double)time.tv_usec * 1e-6;
}

int main(int argc, char** argv) {
  struct rusage usage;
  int status = 0;
  FILE* result = argc > 2 ? fopen(argv[1], "we") : NULL;
  if (result == NULL) {
    return EXIT_FAILURE;
  }
  const double start = Now();
  child = fork();
  if (child == 0) {
    execvp(argv[2], argv + 2);
    _exit(127);
  }
  signal(SIGTERM, EndCommand);
  if (wait4(child, &status, 0, &usage) != child) {
    return EXIT_FAILURE;
  }
  const double wall = Now() - start;
  fprintf(result, "{\"status\": %d, \"wall\": %.6f, \"cpu\": %.6f, \"peak_kib\": %ld}\n",
          WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), wall,
          Seconds(usage.ru_utime) + Seconds(usage.ru_stime), usage.ru_maxrss);
  return fclose(result) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
