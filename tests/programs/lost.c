/* Becomes a program whose results do not arrive: lost HOW PROGRAM ARGUMENT... */
#include <fcntl.h>
#include <unistd.h>

int main(int count, char **arguments) {
  int ends[2];
  if (count < 3) return 2;
  for (const char *how = arguments[1]; *how != '\0'; ++how) {
    if (*how == 'o') close(STDOUT_FILENO);
    if (*how == 'm') close(STDERR_FILENO);
    if (*how == 'f') { /* a full disk */
      close(STDOUT_FILENO);
      if (open("/opt/sav/full", O_WRONLY) != STDOUT_FILENO) return 2;
    }
    if (*how == 'p') { /* a pipe that nobody reads */
      if (pipe(ends) != 0 || dup2(ends[1], STDOUT_FILENO) < 0) return 2;
      close(ends[0]);
      close(ends[1]);
    }
  }
  execv(arguments[2], arguments + 2);
  return 127;
}
