/* The smallest application for a board that starts it directly: it says that it runs, and runs
 * until the power goes. */
#include <stdio.h>
#include <unistd.h>

int main(int argumentCount, char **arguments) {
  setvbuf(stdout, NULL, _IOLBF, 0);
  printf("recorder: started as %s with %d arguments\n", arguments[0], argumentCount - 1);
  for (;;) pause();
}
