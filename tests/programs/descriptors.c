/* Prints which descriptors a program on the board starts with. */
#include <fcntl.h>
#include <stdio.h>

int main(void) {
  printf("descriptors:");
  for (int fd = 0; fd < 1024; ++fd) {
    if (fcntl(fd, F_GETFD) >= 0) printf(" %d", fd);
  }
  printf("\n");
  return 0;
}
