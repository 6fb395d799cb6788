/* The smallest application that a supervising launcher can work with: it says that it runs,
 * works for a while, hands control back through the flag file, and ends. */
#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

enum { WORK_SECONDS = 7 };

int main(int argumentCount, char **arguments) {
  setvbuf(stdout, NULL, _IOLBF, 0);
  printf("recorder: started as %s with %d arguments\n", arguments[0], argumentCount - 1);
  sleep(WORK_SECONDS);
  const int file = open("/opt/sav/Config/Config3", O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  if (file < 0 || pwrite(file, "1", 1, 0) != 1) {
    puts("recorder: cannot hand control back");
    return 1;
  }
  puts("recorder: hands control back");
  return 0;
}
