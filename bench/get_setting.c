/* Reads the address of eth0 after a mark: bench/system_calls counts its system calls. */
#include <libsys/network.h>
#include <libsys/system.h>
#include <stdio.h>
#include <unistd.h>

int main(void) {
  char address[16] = "";
  I2cOpen();
  fflush(stdout);
  (void)access("/mark", F_OK);
  NetWorkGetAttributes("eth0", HOSTIP, address, sizeof address);
  (void)access("/mark", F_OK);
  printf("%s\n", address);
  return 0;
}
