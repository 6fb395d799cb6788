// The records of the infrared receiver, and the key events that each board makes of them.
#include <poll.h>
#include <setjmp.h>
#include <unistd.h>

#include "Uart/frontboard/infrared.h"
#include "fuzz/panel_board.h"

namespace fuzz {
namespace {

constexpr size_t kRecord = 12, kCode = 6, kState = 8;
constexpr size_t kMostRecords = 100;  // fewer than the queue holds

struct {
  size_t left = 0;  // of what the receiver has
  bool stops = false;
  jmp_buf stopped;
} receiver;

// What is asked of the scanner makes it stop; nobody waits for it.
[[gnu::noinline]] void StopScanner() {
  receiver.stops = true;
  if (setjmp(receiver.stopped) == 0) FrontboardStop();
  receiver.stops = false;
}

void CheckEvent(uint8_t code, uint8_t state) {
  uint8_t event[4] = {};
  Expect(FrontKeyQueueGet(event, 4) == 4, "a record is an event");
  Expect(event[0] == 0xff && event[3] == state, "an event's first byte and its state");
  const bool raw = board.oem == 8 || board.oem == 14 || board.oem == 20;
  Expect(!raw || (event[1] == 0x01 && event[2] == code), "a code that goes through as it is");
}

}  // namespace

void Try(Input &input) {
  static const BoardFile device("/dev/Hi_IR");
  const std::string chosen = input.Take(5), records = input.Take(kMostRecords * kRecord);
  device.Put(records);
  receiver.left = records.size();
  board = {};  // without a key matrix
  FrontScanProc(nullptr);
  const size_t count = Count(Printed(), "hiir read");
  Expect(count == records.size() / kRecord, "every whole record is read");
  Input choice(chosen);
  ChooseBoard(choice);
  libsys::panel::ChooseInfraredTable(libsys::panel::ThisBoard());
  for (size_t i = 0; i < count; ++i) {
    const auto *record = reinterpret_cast<const uint8_t *>(&records[i * kRecord]);
    CheckEvent(record[kCode], record[kState]);
  }
  Expect(FrontKeyQueueGet(nullptr, 4) == 0, "no event without a buffer");
}

}  // namespace fuzz

extern "C" {

int __wrap_poll(pollfd *, nfds_t, int) {
  const size_t left = fuzz::receiver.left;
  fuzz::receiver.left -= left < fuzz::kRecord ? left : fuzz::kRecord;
  if (left == 0) fuzz::StopScanner();
  return left > 0 ? 1 : 0;
}

int __wrap_usleep(useconds_t) {
  if (fuzz::receiver.stops) longjmp(fuzz::receiver.stopped, 1);
  return 0;
}

}  // extern "C"
