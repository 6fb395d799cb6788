// A board's body: the folder that holds it and the state that all its processes share.
//
// A board lives in a folder:
//   root/     the files that programs on the board see below /
//   disks/    what the file systems on its flash and disks hold
//   events    the event log, one line an event
//   calls     the calls that could have failed, where that was asked for
//   state     the memory shared by every process on the board and by the command vboard
#pragma once

#include <pthread.h>
#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>
#include <time.h>

#include <atomic>
#include <string>
#include <string_view>

#include "vboard/board_time.h"
#include "vboard/processes.h"

namespace vboard {

struct Device;

enum class Power : uint32_t { kOn, kOff, kRestart, kCut };
const char *PowerName(Power power);

// A fault waiting for its call: the nth call of this name with this path fails.
struct Fault {
  char call[16];
  char path[64];    // empty: any path
  int32_t process;  // its number on the board; 0: any
  int32_t outcome;  // as PlanFault has it; 0 marks a free slot
  uint32_t nth;     // counts down to 1
  uint32_t repeat;
};

// Where in a flash operation the power goes, and how much of it is done by then.
enum class Moment : uint32_t {
  kNone,
  kBefore,
  kInside,  // so many bytes
  kHalf,
  kAllButOne,
  kTorn,  // some of its bits, as the seed draws
  kAfter,
};

// The power goes at the nth flash operation from now on.
struct PowerCut {
  uint32_t operation;  // counts down to 1; 0: no cut is planned
  Moment moment;
  uint32_t number;  // bytes, or the seed
};

struct Mount {
  char point[64];    // empty marks a free slot
  char source[64];   // the device that is mounted there
  char type[16];     // of the file system
  char content[64];  // folder below disks/
  int32_t error;     // of every call on a file below the point; 0: none
};

// A process that has caused an event on the board.
struct Known {
  ProcessId process;
  std::atomic<int32_t> number;  // on the board
};

// The part of the state that belongs to no device.
struct Shared {
  uint64_t magic;  // tells a board from any other file
  uint32_t size;
  pthread_mutex_t lock;
  Time time;
  std::atomic<Power> power;
  std::atomic<uint32_t> boots;
  ProcessId machine;                  // what keeps the board under power
  std::atomic<bool> hanging;          // the machine stops every program where it is
  std::atomic<int32_t> processGroup;  // of the command that the board's init runs; 0: none
  std::atomic<uint32_t> flashOperations;
  char console[64];             // the terminal that shows where in it an event belongs, or empty
  char mark[17];                // what begins such a mark on it; no program can know it
  std::atomic<bool> unmarked;   // the terminal did not take the mark of some event
  std::atomic<bool> logFailed;  // some event could not be written
  std::atomic<int32_t> lastNumber;      // of the processes in this power cycle
  std::atomic<bool> numbersRanOut;      // in this power cycle
  Known processes[1024];                // the place of one that has ended is taken again
  std::atomic<uint32_t> faultsPlanned;  // 0 while none ever was, so that calls need not look
  std::atomic<bool> notesCalls;         // every call that could fail is noted in the file calls
  Fault faults[16];
  PowerCut cut;
  Mount mounts[16];
};

// Attaches this process to the board in a folder made by MakeBoard. From then on the calls
// of this process reach the board. Throws std::runtime_error when there is no such board.
void Attach(const std::string &folder);
void Detach();
// Whether this process is a program on the board.
bool IsProgram();
// Whether this thread's calls reach the board.
bool Attached();

// The absolute path of a board's folder, which need not be there. Throws std::runtime_error for one
// that a program cannot be started from.
std::string FolderOfBoard(const std::string &folder);

// Maps the board's state without redirecting this process's calls, which is what the command
// and a machine's power supply want.
void Open(const std::string &folder);

// Whether a board is open or attached to.
bool IsOpen();
const std::string &Folder();
const char *EventsPath();
Shared &State();

// The bytes of the shared state that belong to a device, zero when the board is made.
void *DeviceState(const Device &device);
template <typename T>
T &StateOf(const Device &device) {
  return *static_cast<T *>(DeviceState(device));
}

// Whether a folder holds a board, of whatever version.
bool IsBoard(const std::string &folder);

// Creates the state of a new board in a folder and opens it.
void CreateState(const std::string &folder);

// Starts a power cycle: the mounts and every device's volatile state go back to their start.
void PowerOn();

// What this process opened last without close-on-exec, by its path on the board; "" for nothing.
const char *OpenedForChildren();

// True while a machine keeps the open board under power; false for one that has only been made, or
// whose machine was killed.
bool MachineRuns();

// The number of this process on the board, counted from 1 in order of appearance; the board itself
// has 0, those beyond the limit of processes at the same time -1. A process keeps its number when
// it becomes another program. No other one gets it in the same power cycle, in which the events of
// both could not be told apart.
int ProcessNumber();
// The same of a process that the board itself has just started, and the other way round, -1 for one
// that does not live.
int NumberOnBoard(pid_t process);
pid_t ProcessOfNumber(int number);
// Has this process have a number even when it has no descriptor left. For Attach.
void NoteOwnStart();

// While one of these lives, this thread looks after the board itself: its calls reach the PC as
// they are and no planned fault hits them. A signal handler, whose calls are the program's, cannot
// come in between.
class OwnCalls {
 public:
  OwnCalls();
  ~OwnCalls();
  OwnCalls(const OwnCalls &) = delete;
  OwnCalls &operator=(const OwnCalls &) = delete;

 private:
  sigset_t signals_;
};

// Holds the board's lock, which a thread may take again while it has it. What it calls meanwhile
// are the board's own calls. A process that dies with the lock leaves it to the next.
class Lock {
 public:
  Lock();
  ~Lock();
  Lock(const Lock &) = delete;
  Lock &operator=(const Lock &) = delete;

 private:
  OwnCalls ownCalls_;
};

// Adds a line to the event log, as printf does. A longer line than this is cut.
constexpr size_t kLongestEvent = 399;
[[gnu::format(printf, 1, 2)]] void Event(const char *format, ...);

// Copies a text into a field of the shared state, cut to its size.
template <size_t N>
void Store(char (&field)[N], std::string_view text) {
  const size_t length = text.copy(field, N - 1);
  field[length] = '\0';
}

}  // namespace vboard
