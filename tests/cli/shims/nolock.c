// Preloaded into orvel-sound by the tests: a file system without locks for the
// files named ".lock", as some network file systems are. Every other flock is
// the real one.
#define _GNU_SOURCE
#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <sys/syscall.h>
#include <unistd.h>

int flock(int fd, int operation) {
  char link[64];
  char path[4096];
  snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
  const ssize_t size = readlink(link, path, sizeof path);
  if (size >= 6 && memcmp(path + size - 6, "/.lock", 6) == 0) {
    errno = ENOLCK;
    return -1;
  }
  return (int)syscall(SYS_flock, fd, operation);
}
