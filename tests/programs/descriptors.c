/* Prints which descriptors a program on the board starts with, and returns their number. */
#include <fcntl.h>
#include <stdio.h>

int main(void) {
  printf("descriptors:");
  int count = 0;
  for (int fd = 0; fd < 1024; ++fd) {
    if (fcntl(fd, F_GETFD) < 0) continue;
    printf(" %d", fd);
    ++count;
  }
  printf("\n");
  return count;
}
