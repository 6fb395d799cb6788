// The numbers that processes have on a board.
#include <unistd.h>

#include <iterator>

#include "vboard/board.h"

namespace vboard {
namespace {

// When this process was started; of the number that was its own then, for a child has another.
ProcessId own;

uint64_t OwnStart(pid_t id) {
  if (own.number != id) {
    own.start = StartOf(id);
    if (own.start != 0) own.number = id;
  }
  return own.start;
}

const Known *Find(pid_t id, uint64_t start) {
  for (const Known &known : State().processes) {
    if (known.process.number == id && known.process.start == start) return &known;
  }
  return nullptr;
}

// The place of this process among those that are known; null when all are taken by others.
const Known *PlaceOf(pid_t id, uint64_t start) {
  if (const Known *place = Find(id, start)) return place;
  const Lock lock;
  // Another thread may have been faster.
  if (const Known *place = Find(id, start)) return place;
  for (Known &known : State().processes) {
    if (Lives(known.process)) continue;
    known.number = ++State().lastNumber;
    known.process.start = start;
    known.process.number = id;  // last, for those who find it without the lock
    return &known;
  }
  return nullptr;
}

// Told once in a power cycle, as an event of a process without a number.
void TellTooMany() {
  Shared &state = State();
  if (state.numbersRanOut.exchange(true)) return;
  Event("processes: no more than %zu at a time have a number, the others show as -1",
        std::size(state.processes));
}

}  // namespace

void NoteOwnStart() {
  OwnStart(getpid());
}

int ProcessNumber() {
  if (!IsProgram()) return 0;  // the board itself
  const int32_t id = getpid();
  const Known *place = PlaceOf(id, OwnStart(id));
  if (place == nullptr) TellTooMany();
  return place != nullptr ? place->number.load() : -1;
}

int NumberOnBoard(pid_t process) {
  const Known *place = PlaceOf(process, StartOf(process));
  return place != nullptr ? place->number.load() : -1;
}

pid_t ProcessOfNumber(int number) {
  for (const Known &known : State().processes) {
    if (known.number == number && Lives(known.process)) return known.process.number;
  }
  return -1;
}

}  // namespace vboard
