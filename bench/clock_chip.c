/* Preloaded where there is no clock chip: each request still is a system call, but then the chip's
 * memory answers, with valid settings or with none. The PC's own clock is left alone. */
#include <stdint.h>
#include <stdlib.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

int clock_settime(clockid_t clock, const struct timespec *time) {
  (void)clock;
  (void)time;
  return 0;
}

int ioctl(int fd, unsigned long request, uint32_t *word) {
  enum { VALID = 0xaa, FLAG = 52 + 8 };
  syscall(SYS_ioctl, fd, request, word);
  const uint32_t place = *word >> 16 & 0xff;
  if (request == 1) *word |= place == FLAG && getenv("VALID") != NULL ? VALID : 10;
  return 0;
}
