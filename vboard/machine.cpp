#include "vboard/machine.h"

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/personality.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>

#include "vboard/actions.h"
#include "vboard/board.h"
#include "vboard/device.h"
#include "vboard/files.h"
#include "vboard/program.h"

namespace vboard {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kPollMilliseconds = 10;
// A board that shuts down waits for its programs to come to rest, but not for ever.
constexpr int kQuietPolls = 8;
constexpr std::chrono::seconds kLongestShutDown{5};
// What a turn takes at most from a program that prints without end.
constexpr int kReadsPerTurn = 16;

volatile sig_atomic_t stopSignal = 0;

Clock::time_point After(double seconds) {
  return Clock::now() +
         std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

// What has to come before the C library in a program on the board.
std::string Preload() {
  Dl_info info;
  dladdr(reinterpret_cast<void *>(&Attach), &info);
  // The loader splits its list at blanks and colons, which the library's own path may have.
  std::string libraries = Folder() + "/libvboard.so";
  if (!std::filesystem::exists(libraries)) {
    // Under its name at once, for it may be another one's first program too.
    const std::string made = libraries + std::to_string(getpid());
    // The file itself: no new build takes it away from the programs of a board that runs.
    std::error_code error;
    std::filesystem::create_hard_link(info.dli_fname, made, error);
    if (error) std::filesystem::copy_file(info.dli_fname, made);
    std::filesystem::rename(made, libraries);
  }
#ifdef VBOARD_SANITIZER
  libraries.insert(0, VBOARD_SANITIZER ":");
#endif
  return libraries;
}

// A program or an interpreter of scripts that is named by its path on the board.
std::string PlaceOf(const std::string &name) {
  return BelongsToBoard(name) ? PathOnBoard(name) : name;
}

// In a child, where nothing may go back to what the machine was doing.
[[noreturn]] void Become(const std::vector<std::string> &command, int terminal) noexcept {
  signal(SIGPIPE, SIG_DFL);  // which the machine itself ignores
  for (int fd = 0; fd <= 2; ++fd) dup2(terminal, fd);
  close_range(3, ~0U, 0);
  ExecuteOnBoard(PathOnBoard(command[0]), command);
}

}  // namespace

void ExecuteOnBoard(const std::string &program, const std::vector<std::string> &command) {
  // The thread sanitizer cannot place its memory on kernels that scatter addresses widely.
  personality(ADDR_NO_RANDOMIZE);
  setenv("VBOARD_FOLDER", Folder().c_str(), 1);
  setenv("LD_PRELOAD", Preload().c_str(), 1);
  Program start = FindProgram(program, program, PlaceOf);
  if (start.words.empty()) start.words = {command[0]};
  std::vector<char *> arguments;
  for (std::string &word : start.words) arguments.push_back(word.data());
  for (size_t i = 1; i < command.size(); ++i) {
    arguments.push_back(const_cast<char *>(command[i].c_str()));
  }
  arguments.push_back(nullptr);
  if (start.refusal.empty()) {
    execv(start.place.c_str(), arguments.data());
    start.refusal = strerror(errno);
  } else {
    start.refusal = "it is not on the board: it " + start.refusal;
  }
  fprintf(stderr, "vboard: %s: %s\n", program.c_str(), start.refusal.c_str());
  _exit(127);
}

void Machine::RequestStop(int signal) {
  stopSignal = signal;
}

Machine::Machine(Plan plan, Transcript::Show show)
    : plan_(std::move(plan)), transcript_(std::move(show)) {
  AdoptOrphans();
  console_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  char name[64] = "";
  if (console_ < 0 || grantpt(console_) != 0 || unlockpt(console_) != 0 ||
      ptsname_r(console_, name, sizeof name) != 0) {
    throw std::runtime_error("no pseudo terminal for the board's console");
  }
  // Held open, so that the console outlives the programs that print on it.
  terminal_ = open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
  termios settings = {};
  tcgetattr(terminal_, &settings);
  cfmakeraw(&settings);
  tcsetattr(terminal_, TCSANOW, &settings);
  Store(State().console, name);
  State().machine.start = StartOf(getpid());
  State().machine.number = getpid();
}

Machine::~Machine() {
  Stop();
  State().console[0] = '\0';
  State().machine.number = 0;
  close(terminal_);
  close(console_);
}

void Machine::Start() {
  if (plan_.start.empty()) throw std::runtime_error("the board has nothing to start");
  const std::string program = PathOnBoard(plan_.start[0]);
  if (access(program.c_str(), X_OK) != 0) {
    throw std::runtime_error(plan_.start[0] + ": no such program on the board");
  }
  const std::string refusal = FindProgram(plan_.start[0], program, PlaceOf).refusal;
  if (!refusal.empty()) {
    throw std::runtime_error(plan_.start[0] + ": it is not on the board: it " + refusal);
  }
  StartCommand();
}

void Machine::StartCommand() {
  PowerOn();
  Event("power: on, boot %u", State().boots.load());
  exitStatus_ = -1;
  Preload();
  fflush(nullptr);
  command_ = fork();
  // Here and there, so that the group is there for both from now on.
  setpgid(command_, command_);
  if (command_ == 0) Become(plan_.start, terminal_);
  if (command_ < 0) throw std::runtime_error("no process for the board's command");
  State().processGroup = command_;
  running_ = true;
}

void Machine::ReadConsole(int milliseconds) {
  pollfd descriptor = {console_, POLLIN, 0};
  for (int reads = 0; reads < kReadsPerTurn && poll(&descriptor, 1, milliseconds) > 0; ++reads) {
    char data[4096];
    const ssize_t length = read(console_, data, sizeof data);
    if (length <= 0) return;
    transcript_.TakeConsole({data, static_cast<size_t>(length)});
    milliseconds = 0;
  }
  if (State().unmarked.exchange(false)) transcript_.TakeEvents();
}

void Machine::Reap() {
  int status = 0;
  pid_t id = 0;
  while ((id = waitpid(-1, &status, WNOHANG)) > 0) {
    if (WIFSIGNALED(status) && State().power == Power::kOn) {
      Event("killed: %s", strsignal(WTERMSIG(status)));
    }
    if (id == command_)
      exitStatus_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  running_ = id == 0;  // some child is left
}

bool Machine::Quiet() {
  const size_t seen = transcript_.Taken();
  for (int polls = 0; polls < kQuietPolls; ++polls) {
    ReadConsole(kPollMilliseconds);
    if (DescendantsCompute()) return false;
  }
  return transcript_.Taken() == seen;
}

void Machine::FollowPower() {
  const Power power = State().power;
  if (power == Power::kOn) return;
  if (power != Power::kCut) {
    const auto end = Clock::now() + kLongestShutDown;
    while (!Quiet() && Clock::now() < end) Reap();
  }
  Stop();
  if (power != Power::kOff) StartCommand();
}

void Machine::Step() {
  if (stopSignal != 0) throw Interrupted{stopSignal};
  if (State().logFailed) throw std::runtime_error(Folder() + "/events: cannot be written");
  ReadConsole(kPollMilliseconds);
  Reap();
  for (const Device *device : Devices()) {
    if (device->tick != nullptr && State().power == Power::kOn) device->tick();
  }
  FollowPower();
  if (State().hanging) SignalDescendants(SIGSTOP);
}

bool Machine::WaitFor(const std::string &text, double seconds) {
  const auto end = After(seconds);
  for (;;) {
    if (transcript_.Find(text)) return true;
    if (Clock::now() >= end) return false;
    const bool ran = running_;
    Step();
    if (ran || running_) continue;
    transcript_.TakeEvents();
    return transcript_.Find(text);
  }
}

void Machine::Run(double seconds) {
  for (const auto end = After(seconds); Clock::now() < end && running_;) Step();
  ReadConsole(kPollMilliseconds);
}

void Machine::Play(double secondsPerStep) {
  for (const std::string &step : plan_.scenario) {
    if (!step.starts_with("wait ")) {
      Act(step);
    } else if (!WaitFor(step.substr(5), secondsPerStep)) {
      throw std::runtime_error("'" + step + "': this did not come");
    }
  }
}

void Machine::Stop() {
  if (command_ < 0) return;
  const auto end = Clock::now() + kLongestShutDown;
  pid_t ended = 0;
  int status = 0;
  // What was just being started appears only now.
  do {
    SignalDescendants(SIGKILL);
    ReadConsole(kPollMilliseconds);
    while ((ended = waitpid(-1, &status, WNOHANG)) > 0) {
    }
  } while (ended == 0 && Clock::now() < end);
  transcript_.TakeEvents();
  transcript_.EndLine();
  running_ = false;
  command_ = -1;
  State().processGroup = 0;
  if (State().power == Power::kOn) State().power = Power::kOff;
}

}  // namespace vboard
