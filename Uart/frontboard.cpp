#include "libsys/frontboard.h"

#include <pthread.h>
#include <unistd.h>

namespace {

enum ScanState { kStopAsked = 0, kRunning = 1, kStopped = 2 };

constexpr useconds_t kStopPoll = 50'000;

struct State {
  pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
  ScanState scan = kRunning;  // FrontScanState, guarded by the mutex
};
constinit State state;

void SetScanState(ScanState scan) {
  pthread_mutex_lock(&state.mutex);
  state.scan = scan;
  pthread_mutex_unlock(&state.mutex);
}

// Leaves a scanner that has stopped already as it is.
bool AskToStop() {
  pthread_mutex_lock(&state.mutex);
  const bool stopped = state.scan == kStopped;
  if (!stopped) state.scan = kStopAsked;
  pthread_mutex_unlock(&state.mutex);
  return stopped;
}

char exitOfMcu[] = "McuProc exit\n";
char exitOfScan[] = "expect\n";

}  // namespace

void *McuProc(void *) {
  return exitOfMcu;
}

void *FrontScanProc(void *) {
  SetScanState(kStopped);
  return exitOfScan;
}

int32_t FrontboardInit(void) {
  return -1;
}

int32_t FrontboardRead(uint8_t *, int32_t) {
  sleep(1);  // callers read in a loop
  return -1;
}

void FrontboardStop(void) {
  while (!AskToStop()) usleep(kStopPoll);
}
