// Supervision: the application and the launcher hand control to each other through the first
// byte of a flag file. The launcher writes '0' before each start; the application writes '1'
// just before it ends.
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <array>
#include <optional>
#include <utility>

#include "launcher/launcher.h"
#include "libsys/frontboard.h"
#include "libsys/system.h"
#include "libsys/version.h"

namespace launcher {

// The console as it was, put back in every poll. Nothing assigns it, so nothing changes.
int savedConsole = -1;

namespace {

constexpr const char *kApplication = "/var/Vantor";
constexpr unsigned kPollSeconds = 3;
constexpr useconds_t kReadPause = 100'000;  // microseconds

// OEM types whose panel is scanned by a thread of its own.
constexpr std::array kScannedOemTypes = {2, 4, 8, 13};

using Key = std::array<uint8_t, 4>;
// The service keys: the middle bytes of an event 0xFF, group, code, 0x01.
constexpr std::array<std::pair<uint8_t, uint8_t>, 2> kServiceKeys = {{{0x1A, 0xFE}, {0x01, 0x0C}}};

void WaitForHandBack(int flagFile) {
  for (;;) {
    const int32_t flag = ApplicationFlagRead(flagFile);
    dup2(savedConsole, STDOUT_FILENO);
    dup2(savedConsole, STDERR_FILENO);
    if (flag == APPLICATION_HANDED_BACK) return;
    puts("quillon is running");
    sleep(kPollSeconds);
  }
}

// `line` is the one that the message names.
pthread_t StartThread(void *(*body)(void *), int line) {
  pthread_t thread;
  if (pthread_create(&thread, nullptr, body, nullptr) == 0) return thread;
  printf("LIBDVR : FILE -> %s, LINE -> %d: ThreadCreate failed\n", "sentrel", line);
  exit(-1);
}

bool IsScanned() {
  for (const int32_t oem : kScannedOemTypes) {
    if (DvrGetHwidInformation(OEM_TYPE) == oem) return true;
  }
  return false;
}

// The thread that scans the panel; none where no thread does, or one that nothing stops.
std::optional<pthread_t> StartFrontPanel() {
  puts("begin to read Frontboard");
  if (DvrGetBoardType() == 0) {
    StartThread(McuProc, 463);
    return {};
  }
  std::optional<pthread_t> scanner;
  if (IsScanned()) scanner = StartThread(FrontScanProc, 480);
  FrontboardInit();
  return scanner;
}

// A service key left over in the queue can come before the new scanner has begun. The state of
// the last one then says that it has stopped, so the new one is asked until it really ends.
void EndScanner(pthread_t scanner) {
  while (pthread_tryjoin_np(scanner, nullptr) != 0) {
    usleep(1000);
    FrontboardStop();
  }
}

bool IsServiceKey(const Key &key) {
  if (key[0] != 0xFF || key[3] != 0x01) return false;
  for (const auto &[group, code] : kServiceKeys) {
    if (key[1] == group && key[2] == code) return true;
  }
  return false;
}

// A failed read leaves the buffer as it was, and it is looked at all the same. The port may fail
// for good: the pause leaves processor and console to others.
void WaitForServiceKey(Key &key) {
  do {
    if (FrontboardRead(key.data(), static_cast<int32_t>(key.size())) < 0) {
      puts("Test : FrontboardRead faield");
      usleep(kReadPause);
    }
  } while (!IsServiceKey(key));
}

}  // namespace

void Supervise() {
  Key key = {};
  for (;;) {
    if (ApplicationFlagStart() != 0) exit(-1);
    // The process that the start-up script knows becomes the application; the child
    // supervises. When there is no child, there is no supervision either.
    if (fork() != 0) {
      puts("ch=---->");
      Become(kApplication);
    }
    const int flagFile = ApplicationFlagOpen();
    WaitForHandBack(flagFile);
    const std::optional<pthread_t> scanner = StartFrontPanel();
    WaitForServiceKey(key);
    close(flagFile);
    FrontboardStop();
    if (scanner) EndScanner(*scanner);
  }
}

}  // namespace launcher
