/* Shows what the front panel sends, and lights its first LED while a key is held. */
#include <libsys/frontboard.h>
#include <libsys/version.h>
#include <pthread.h>
#include <stdio.h>

int main(void) {
  setvbuf(stdout, NULL, _IOLBF, 0);
  DvrSystemInformationStart();
  pthread_t thread;
  void *(*const source)(void *) = DvrGetBoardType() == 0 ? McuProc : FrontScanProc;
  if (pthread_create(&thread, NULL, source, NULL) != 0) {
    puts("keys: no thread for the front panel");
    return 1;
  }
  FrontboardInit();
  puts("keys: reading");
  for (;;) {
    uint8_t event[4] = {0};
    if (FrontboardRead(event, sizeof event) != (int32_t)sizeof event) return 1;
    printf("key %02x %02x %02x %02x\n", event[0], event[1], event[2], event[3]);
    const uint8_t led[4] = {0xff, 0xdd, 0x09, event[3]};
    FrontboardWrite(led, sizeof led);
  }
}
