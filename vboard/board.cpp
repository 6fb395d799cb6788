#include "vboard/board.h"

#include <errno.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "vboard/device.h"
#include "vboard/faults.h"
#include "vboard/real.h"

namespace vboard {
namespace {

constexpr const char *kOtherVersion = ": this board was made by another version of vboard";
constexpr uint64_t kMagic = 0x6472616f62763031;  // "10vboard"

struct Process {
  std::string folder;
  std::string events;
  Shared *state = nullptr;
  bool attached = false;
  // When this process was started; of the number that was its own then, for a child has another.
  ProcessId own = {};
};

// Never destroyed: the program's exit is the last event. Made on first use, which may be before
// this library's own start.
Process &ThisProcess() {
  static Process &process = *new Process;
  return process;
}

// Of this thread.
thread_local unsigned ownCalls = 0;
thread_local unsigned locks = 0;

constexpr size_t kAlignment = 64;
constexpr int32_t kTaken = -1;  // a place that is just being filled

// The kernel refuses what would be beyond its own range some 30 years later.
constexpr int64_t kLatestSecond = 8'277'292'036;

size_t Aligned(size_t size) {
  return (size + kAlignment - 1) / kAlignment * kAlignment;
}

size_t StateSize() {
  size_t size = Aligned(sizeof(Shared));
  for (const Device *device : Devices()) size += Aligned(device->stateSize);
  return size;
}

int64_t Now() {
  timespec now;
  static constinit real::Next<int(clockid_t, timespec *)> next("clock_gettime");
  next(CLOCK_MONOTONIC, &now);
  return int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

void MapState(const std::string &name, int flags) {
  const std::string folder = FolderOfBoard(name);
  const std::string path = folder + "/state";
  const int fd = real::open(path.c_str(), O_RDWR | O_CLOEXEC | flags, 0600);
  if (fd < 0) throw std::runtime_error(folder + ": no board is here");
  const auto size = static_cast<off_t>(StateSize());
  // Memory that the file has not, or the disk no room for, would kill whoever touches it.
  const int error = (flags & O_CREAT) != 0 ? posix_fallocate(fd, 0, size) : 0;
  void *memory = nullptr;
  if (error == 0 && real::seek(fd, 0, SEEK_END) == size) {
    memory = real::map(nullptr, StateSize(), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  }
  real::close(fd);
  if (error != 0) {
    std::filesystem::remove(path);
    throw std::runtime_error(path + ": " + strerror(error));
  }
  if (memory == nullptr) throw std::runtime_error(folder + kOtherVersion);
  if (memory == MAP_FAILED) throw std::runtime_error(path + ": " + strerror(errno));
  ThisProcess().folder = folder;
  ThisProcess().events = folder + "/events";
  ThisProcess().state = static_cast<Shared *>(memory);
}

void MakeLock(pthread_mutex_t *lock) {
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
  pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
  pthread_mutex_init(lock, &attributes);
  pthread_mutexattr_destroy(&attributes);
}

void MapBoard(const std::string &folder) {
  Detach();
  MapState(folder, 0);
  if (State().magic == kMagic && State().size == StateSize()) return;
  Detach();
  throw std::runtime_error(folder + kOtherVersion);
}

// Says what a machine that was killed could not say itself. Not for programs on the board: one that
// runs apart in a process table of its own sees no machine.
void ForgetDeadMachine() {
  Shared &state = State();
  if (state.machine.number == 0 || MachineRuns()) return;
  state.machine.number = 0;
  state.processGroup = 0;
  state.power = Power::kOff;
  state.console[0] = '\0';
}

// Read once: a program may have no descriptor left when it causes an event.
uint64_t OwnStart(pid_t id) {
  ProcessId &own = ThisProcess().own;
  if (own.number != id) {
    own.start = StartOf(id);
    if (own.start != 0) own.number = id;
  }
  return own.start;
}

// The place of this process among those that are known; null when all are taken by others.
Known *PlaceOf(pid_t id, uint64_t start) {
  for (Known &known : State().processes) {
    if (known.process.number == id && known.process.start == start) return &known;
  }
  for (Known &known : State().processes) {
    int32_t before = known.process.number;
    if (before == kTaken || Lives(known.process)) continue;
    if (!known.process.number.compare_exchange_strong(before, kTaken)) continue;
    known.number = ++State().lastNumber;
    known.process.start = start;
    known.process.number = id;
    return &known;
  }
  return nullptr;
}

}  // namespace

std::string FolderOfBoard(const std::string &folder) {
  std::string path = std::filesystem::weakly_canonical(std::filesystem::absolute(folder));
  if (path.find_first_of(" :") == std::string::npos) return path;
  // The loader splits the list of libraries there, and the program would run on the PC.
  throw std::runtime_error(path + ": a board's folder has no blank and no colon in its path");
}

void Open(const std::string &folder) {
  MapBoard(folder);
  ForgetDeadMachine();
}

void Attach(const std::string &folder) {
  MapBoard(folder);
  OwnStart(getpid());
  ThisProcess().attached = true;
}

void Detach() {
  ThisProcess().attached = false;  // first, for the calls of a signal handler that comes now
  if (ThisProcess().state != nullptr) real::unmap(ThisProcess().state, StateSize());
  ThisProcess().state = nullptr;
}

bool Attached() {
  return ThisProcess().attached && ownCalls == 0;
}
const std::string &Folder() {
  return ThisProcess().folder;
}
const char *EventsPath() {
  return ThisProcess().events.c_str();
}
Shared &State() {
  if (ThisProcess().state == nullptr) abort();  // no board is open
  return *ThisProcess().state;
}

bool IsBoard(const std::string &folder) {
  std::ifstream file(folder + "/state", std::ios::binary);
  uint64_t magic = 0;
  file.read(reinterpret_cast<char *>(&magic), sizeof magic);
  return file && magic == kMagic;
}

void CreateState(const std::string &folder) {
  Detach();
  std::filesystem::remove(folder + "/state");
  MapState(folder, O_CREAT);
  State().size = static_cast<uint32_t>(StateSize());
  MakeLock(&State().lock);
  State().speed = 1;
  State().power = Power::kOff;
  State().lifetimeSince = Now();
  State().magic = kMagic;
}

void *DeviceState(const Device &device) {
  char *place = reinterpret_cast<char *>(ThisProcess().state) + Aligned(sizeof(Shared));
  for (const Device *other : Devices()) {
    if (other == &device) return place;
    place += Aligned(other->stateSize);
  }
  return nullptr;
}

int64_t Lifetime() {
  const Shared &state = State();
  return state.lifetime + (Now() - state.lifetimeSince) * state.speed;
}

double BoardTime() {
  return static_cast<double>(Lifetime() - State().powerOnTime) * 1e-9;
}

void SetSpeed(uint32_t speed) {
  State().lifetime = Lifetime();
  State().lifetimeSince = Now();
  State().speed = speed;
}

int64_t SystemClock() {
  return Lifetime() + State().clockOffset;
}

int SetSystemClock(const timespec &time) {
  if (CallFails("clock_settime", "")) return -1;
  if (time.tv_sec < 0 || time.tv_sec > kLatestSecond || time.tv_nsec < 0 ||
      time.tv_nsec >= 1'000'000'000) {
    errno = EINVAL;
    return -1;
  }
  State().clockOffset = int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec - Lifetime();
  Event("clock: system clock set to %lld", static_cast<long long>(time.tv_sec));
  return 0;
}

void PowerOn() {
  Shared &state = State();
  for (Known &known : state.processes) known.process.number = 0;
  state.lastNumber = 0;
  state.hanging = false;
  for (Mount &mount : state.mounts) mount = {};
  state.powerOnTime = Lifetime();
  state.clockOffset = -Lifetime();
  state.power = Power::kOn;
  ++state.boots;
  for (const Device *device : Devices()) {
    if (device->powerOn != nullptr) device->powerOn();
  }
}

bool MachineRuns() {
  return Lives(State().machine);
}

int ProcessNumber() {
  if (!ThisProcess().attached) return 0;  // the board itself
  const int32_t id = getpid();
  const Known *place = PlaceOf(id, OwnStart(id));
  return place != nullptr ? place->number.load() : -1;
}

OwnCalls::OwnCalls() {
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &signals_);
  ++ownCalls;
}

OwnCalls::~OwnCalls() {
  --ownCalls;
  pthread_sigmask(SIG_SETMASK, &signals_, nullptr);
}

Lock::Lock() {
  if (locks++ > 0) return;
  if (pthread_mutex_lock(&State().lock) == EOWNERDEAD) pthread_mutex_consistent(&State().lock);
}

Lock::~Lock() {
  if (--locks == 0) pthread_mutex_unlock(&State().lock);
}

}  // namespace vboard
