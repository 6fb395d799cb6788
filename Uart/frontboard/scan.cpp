// The scanning thread: key matrix and infrared receiver.
#include <poll.h>
#include <pthread.h>
#include <stdio.h>
#include <unistd.h>

#include "Base/descriptor.h"
#include "Base/lock.h"
#include "System/gpio/gpio.h"
#include "Uart/frontboard/key_queue.h"
#include "Uart/frontboard/keys.h"
#include "Uart/frontboard/pins.h"
#include "libsys/frontboard.h"
#include "libsys/gpio.h"

using namespace libsys;

namespace {

using panel::Board;
using panel::Key;
using panel::Keys;
using panel::PinMap;

enum ScanState { kStopAsked = 0, kRunning = 1, kStopped = 2 };

struct {
  pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
  ScanState FrontScanState = kRunning;  // guarded by the mutex
} state;

constexpr const char *kInfrared = "/dev/Hi_IR";
constexpr int kInfraredWait = 100;  // milliseconds
constexpr useconds_t kPassPause = 100'000;
constexpr useconds_t kStopPoll = 50'000;

// A record of the infrared receiver.
constexpr size_t kRecordLength = 12;
constexpr size_t kRecordCode = 6;
constexpr size_t kRecordState = 8;

char exitValue[] = "expect\n";

void SetScanState(ScanState scan) {
  const base::Lock lock(state.mutex);
  state.FrontScanState = scan;
}

bool StopIsAsked() {
  const base::Lock lock(state.mutex);
  return state.FrontScanState == kStopAsked;
}

// A scanner that has stopped already is left as it is.
bool AskToStop() {
  const base::Lock lock(state.mutex);
  const bool stopped = state.FrontScanState == kStopped;
  if (!stopped) state.FrontScanState = kStopAsked;
  return stopped;
}

// The pins of this board's key matrix; null where its panel has none.
const PinMap *PinsOf(const Board &board) {
  if (!panel::HasKeyQueue(board)) return nullptr;
  if (panel::HasProductMatrix(board)) return &panel::kProductPins;
  for (const PinMap &map : panel::kPinMaps) {
    if (map.variant == board.variant) return &map;
  }
  return nullptr;
}

// A line that fails is passed over. False when the driver is gone, with which all would fail.
bool Drive(const Line &scan, uint32_t level) {
  return GpioWrite(scan.group, scan.bit, level) == 0 || gpio::Open();
}

// A level that differs from the last one becomes an entry; nothing else debounces the keys.
bool Sample(const Line &sense, uint8_t number, Key &key) {
  uint8_t level = 0;
  if (GpioRead(sense.group, sense.bit, &level) != 0) return gpio::Open();
  if (level == key.level) return true;
  const uint8_t pressed = level <= 1 ? static_cast<uint8_t>(1 - level) : uint8_t{0};
  panel::PutKey({number, 0, pressed});
  key.level = level;
  return true;
}

// Without the driver the pass ends at the first line, so that one message is printed a pass and
// not fifty.
void ScanMatrix(const PinMap &pins, Keys &keys) {
  const auto &[variant, scan, sense] = pins;
  for (size_t k = 0; k < scan.size(); ++k) {
    for (size_t other = 0; other < scan.size(); ++other) {
      if (!Drive(scan[other], other == k ? 0 : 1)) return;
    }
    for (size_t j = 0; j < sense.size(); ++j) {
      const size_t number = k * sense.size() + j;
      if (!Sample(sense[j], static_cast<uint8_t>(number), keys[number])) return;
    }
  }
}

void ReadInfrared(int fd) {
  pollfd receiver = {fd, POLLIN, 0};
  const int ready = poll(&receiver, 1, kInfraredWait);
  if (ready <= 0) return;
  uint8_t record[kRecordLength];
  const ssize_t length = read(fd, record, sizeof record);
  // A receiver that is gone is ready all the time.
  if (length <= 0) usleep(kPassPause);
  if (length == static_cast<ssize_t>(sizeof record)) {
    const uint8_t code = record[kRecordCode];
    const uint8_t keyState = record[kRecordState];
    panel::PutKey({panel::kInfraredSource, code, keyState});
    printf("hiir read(%x , %x)......OK\n", keyState, code);
  }
  // As many microseconds as there are ready descriptors: hardly a pause, on purpose.
  usleep(static_cast<useconds_t>(ready));
}

void Scan(int infrared) {
  const Board board = panel::ThisBoard();
  const PinMap *pins = PinsOf(board);
  Keys &keys = panel::KeysOf(board);
  while (!StopIsAsked()) {
    if (pins != nullptr) ScanMatrix(*pins, keys);
    if (infrared >= 0) {
      ReadInfrared(infrared);
    } else {
      usleep(kPassPause);
    }
  }
}

}  // namespace

void *FrontScanProc(void *) {
  {
    const base::Descriptor infrared(kInfrared, O_RDONLY);
    if (!infrared) printf("LIBDVR : open %s failed\n", kInfrared);
    SetScanState(kRunning);
    Scan(infrared.get());
  }
  SetScanState(kStopped);
  return exitValue;
}

void FrontboardStop() {
  while (!AskToStop()) usleep(kStopPoll);
}
