/* Sets the address of eth0 and says when it began, in nanoseconds of the monotonic clock. */
#include <libsys/network.h>
#include <stdio.h>
#include <time.h>

int main(void) {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  fprintf(stderr, "%lld\n", now.tv_sec * 1000000000LL + now.tv_nsec);
  return NetWorkSetAddress("eth0", "10.1.2.3", "255.255.255.0", 1) == 0 ? 0 : 1;
}
