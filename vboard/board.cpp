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
#include "vboard/turns.h"

namespace vboard {
namespace {

constexpr const char *kOtherVersion = ": this board was made by another version of vboard";
constexpr uint64_t kMagic = 0x6472616f62763031;  // "10vboard"

struct Process {
  std::string folder;
  std::string events;
  Shared *state = nullptr;
};

// Asked by every call, also by those of a sanitizer's library out of the middle of its own start.
constinit std::atomic<bool> attached{false};

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

size_t Aligned(size_t size) {
  return (size + kAlignment - 1) / kAlignment * kAlignment;
}

size_t StateSize() {
  size_t size = Aligned(sizeof(Shared));
  for (const Device *device : Devices()) size += Aligned(device->stateSize);
  return size;
}

std::string WholePath(const std::string &folder) {
  return std::filesystem::weakly_canonical(std::filesystem::absolute(folder));
}

void MapState(const std::string &name, int flags) {
  const std::string folder = WholePath(name);
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
  state.time.keeper.number = 0;
  RunOn(1, kNever);
  state.processGroup = 0;
  state.power = Power::kOff;
  state.console[0] = '\0';
}

}  // namespace

std::string FolderOfBoard(const std::string &folder) {
  std::string path = WholePath(folder);
  if (path.find_first_of(" :") == std::string::npos) return path;
  // The loader splits the list of libraries there, and the program would run on the PC.
  throw std::runtime_error(path + ": a board's folder has no blank and no colon in its path");
}

void Open(const std::string &folder) {
  MapBoard(FolderOfBoard(folder));
  ForgetDeadMachine();
}

void Attach(const std::string &folder) {
  MapBoard(folder);
  NoteOwnStart();
  attached = true;
  NoteProcess(0);
}

void Detach() {
  attached = false;  // first, for the calls of a signal handler that comes now
  if (ThisProcess().state != nullptr) real::unmap(ThisProcess().state, StateSize());
  ThisProcess().state = nullptr;
}

bool IsProgram() {
  return attached;
}
bool Attached() {
  return IsProgram() && ownCalls == 0;
}
bool IsOpen() {
  return ThisProcess().state != nullptr;
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
  RunOn(1, kNever);
  State().power = Power::kOff;
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

void PowerOn() {
  Shared &state = State();
  for (Known &known : state.processes) known.process.number = 0;
  state.lastNumber = 0;
  state.numbersRanOut = state.time.waitsRanOut = false;
  state.hanging = false;
  for (Mount &mount : state.mounts) mount = {};
  state.time.powerOn = Lifetime();
  state.time.clockOffset = -Lifetime();
  state.power = Power::kOn;
  ++state.boots;
  for (const Device *device : Devices()) {
    if (device->powerOn != nullptr) device->powerOn();
  }
}

const char *PowerName(Power power) {
  static constexpr const char *kNames[] = {"on", "off", "restarting", "cut"};
  return kNames[static_cast<size_t>(power)];
}

bool MachineRuns() {
  return Lives(State().machine);
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
