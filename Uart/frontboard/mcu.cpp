// The receiver of the front-panel microcontroller's frames.
#include <pthread.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>

#include "Base/lock.h"
#include "libsys/frontboard.h"
#include "libsys/uart.h"

using namespace libsys;

uint8_t FrontMcuFrame[2 + 255];
uint8_t FrontMcuFlags[2];
int32_t FrontMcuIdle = 1;
pthread_mutex_t FrontMcuMutex = PTHREAD_MUTEX_INITIALIZER;

namespace {

constexpr useconds_t kResetTime = 400'000;
constexpr useconds_t kBytePause = 10'000;

constexpr uint8_t kFirstSync = 0xff;
constexpr uint8_t kSecondSync = 0x5a;
constexpr uint8_t kLastType = 2;
constexpr uint8_t kDataType = 2;
constexpr int kUsualLength = 8;

char exitValue[] = "McuProc exit\n";

bool OpenPort() {
  if (UartDeviceCreate(UartMcuIndex) < 0) {
    printf("LIBDVR : Create uart%d failed\n", static_cast<int>(UartMcuIndex));
    return false;
  }
  puts("LIBDVR : Reset Mcu");
  if (UartDeviceOpen(UartMcuIndex) < 0) {
    printf("LIBDVR : open uart%d failed\n", static_cast<int>(UartMcuIndex));
    return false;
  }
  return true;
}

bool Receive(uint8_t *data, uint32_t length) {
  if (UartDeviceRead(UartMcuIndex, data, length) >= 0) return true;
  puts("LIBDVR : read failed");
  return false;
}

// The sync bytes seen after one more. A second FF starts no new pair, and a failed read is
// repeated at once, both on purpose.
int Hunt(int seen) {
  uint8_t byte = 0;
  if (!Receive(&byte, 1)) return seen;
  usleep(kBytePause);
  if (seen == 0) return byte == kFirstSync ? 1 : 0;
  return byte == kSecondSync ? 2 : 0;
}

void Store(const uint8_t *frame, uint32_t length) {
  const bool isData = frame[0] == kDataType;
  {
    const base::Lock lock(FrontMcuMutex);
    memcpy(FrontMcuFrame, frame, 2 + length);
    if (isData) {
      std::reverse(FrontMcuFrame + 2, FrontMcuFrame + 2 + length);
      FrontMcuFlags[0] = 1;
      FrontMcuFlags[1] = 0;
    }
  }
  if (isData) {
    std::atomic_ref(FrontMcuIdle).store(0);
  } else {
    puts("LIBDVR : unsupport now!!!");
  }
}

// Receives what follows the sync bytes. False when a read failed.
bool ReceiveFrame() {
  uint8_t frame[sizeof FrontMcuFrame];
  if (!Receive(frame, 2)) return false;
  const uint8_t type = frame[0];
  const uint8_t length = frame[1];
  if (type == 0 || type > kLastType) return true;
  // Announced, but received whole all the same.
  if (length > kUsualLength) printf("too much uart 1 data! will get %d\n", kUsualLength);
  if (!Receive(frame + 2, length)) return false;
  Store(frame, length);
  return true;
}

}  // namespace

void *McuProc(void *) {
  printf("LIBDVR : McuProc = %d\n", static_cast<int>(getpid()));
  usleep(kResetTime);
  if (!OpenPort()) return exitValue;
  for (int seen = 0;;) {
    if (seen < 2) {
      seen = Hunt(seen);
      continue;
    }
    if (ReceiveFrame()) usleep(kBytePause);
    seen = 0;
  }
}
