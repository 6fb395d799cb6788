/* Leaves processes behind, each in a session of its own, that never say a word: daemons COUNT. */
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

int main(int count, char **arguments) {
  for (int left = count > 1 ? atoi(arguments[1]) : 0; left > 0; --left) {
    fflush(stdout);
    const pid_t id = fork();
    if (id == 0) {
      setsid();
      for (;;) pause();
    }
    printf("daemon: %d\n", id);
  }
  printf("daemons: all\n");
  return 0;
}
