#include "vboard/machine.h"

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/personality.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <utility>

#include "vboard/actions.h"
#include "vboard/board.h"
#include "vboard/device.h"
#include "vboard/files.h"
#include "vboard/program.h"
#include "vboard/real.h"
#include "vboard/turns.h"

namespace vboard {

using Clock = std::chrono::steady_clock;

namespace {

// What the programs of a board that shuts down or restarts still get, of its time.
constexpr int64_t kShutDown = kSecond;
// What ends a program that is killed gets of the PC's time, and how often it is looked after.
constexpr std::chrono::seconds kLongestEnd{5};
constexpr int64_t kShortestPause = 20'000, kLongestPause = kSecond / 1000;
// What the kernel gets of it for what is typed.
constexpr std::chrono::milliseconds kLongestTyping{50};
// What a turn takes at most from a program that prints without end.
constexpr int kReadsPerTurn = 16;

volatile sig_atomic_t stopSignal = 0;
volatile sig_atomic_t waits = 0;  // a machine, for something that a signal has to end

constexpr Clock::time_point kNoEnd = Clock::time_point::max();

int64_t Left(Clock::time_point end) {
  if (end == kNoEnd) return kSecond;  // until the next look at what may come from outside
  return std::chrono::nanoseconds(end - Clock::now()).count();
}

Clock::time_point After(double seconds) {
  return Clock::now() +
         std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

constexpr char kInPrograms[] = "libvboard-in-programs.so";  // beside the library that this is

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
    const auto library = std::filesystem::path(info.dli_fname).replace_filename(kInPrograms);
    std::error_code error;
    std::filesystem::create_hard_link(library, made, error);
    if (error) std::filesystem::copy_file(library, made);
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

std::vector<char *> Pointers(std::vector<std::string> &texts) {
  std::vector<char *> list;
  for (std::string &text : texts) list.push_back(text.data());
  list.push_back(nullptr);
  return list;
}

// This process's own, but for what leads to the board.
std::vector<std::string> Environment() {
  std::vector<std::string> variables = {"VBOARD_FOLDER=" + Folder(), "LD_PRELOAD=" + Preload()};
  for (char **variable = environ; variable != nullptr && *variable != nullptr; ++variable) {
    const std::string_view text = *variable;
    if (text.starts_with("VBOARD_FOLDER=") || text.starts_with("LD_PRELOAD=")) continue;
    variables.emplace_back(text);
  }
  return variables;
}

// All that a process needs to become a program on the board. It is made before there is the
// process: nothing may be allocated there, which another thread may just have been doing here.
class Execution {
 public:
  Execution(const std::string &program, const std::vector<std::string> &command)
      : program_(program), start_(FindProgram(program, program, PlaceOf)) {
    words_ = start_.words;
    if (words_.empty()) words_ = {command[0]};
    words_.insert(words_.end(), command.begin() + 1, command.end());
    arguments_ = Pointers(words_);
  }
  Execution(const Execution &) = delete;
  Execution &operator=(const Execution &) = delete;

  [[noreturn]] void Become() const noexcept {
    // The thread sanitizer cannot place its memory on kernels that scatter addresses widely.
    personality(ADDR_NO_RANDOMIZE);
    const char *refusal = start_.refusal.c_str(), *reason = "it is not on the board: it ";
    if (start_.refusal.empty()) {
      execve(start_.place.c_str(), arguments_.data(), environment_.data());
      refusal = strerrordesc_np(errno);
      reason = "";
    }
    dprintf(STDERR_FILENO, "vboard: %s: %s%s\n", program_.c_str(), reason, refusal);
    _exit(127);
  }

  // In a child, where nothing may go back to what the machine was doing.
  [[noreturn]] void BecomeWith(const std::array<int, 3> &standard) const noexcept {
    signal(SIGPIPE, SIG_DFL);  // which the machine itself ignores
    for (int fd = 0; fd <= 2; ++fd) dup2(standard[static_cast<size_t>(fd)], fd);
    close_range(3, ~0U, 0);
    Become();
  }

 private:
  std::string program_;
  Program start_;
  std::vector<std::string> words_, variables_ = Environment();
  std::vector<char *> arguments_, environment_ = Pointers(variables_);
};

// Takes leave of a child that has ended: its number, 0 where none has, -1 where none is left.
pid_t TakeLeave(int *status) {
  siginfo_t ended = {};
  // Its last thread may still be on its way out of /proc. Who takes leave meanwhile spins in the
  // kernel for milliseconds, for that thread needs this very processor.
  if (waitid(P_ALL, 0, &ended, WEXITED | WNOHANG | WNOWAIT) == 0 && ended.si_pid != 0) {
    real::sleep({0, kShortestPause});
  }
  return waitpid(-1, status, WNOHANG);
}

bool AnyChildIsLeft() {
  int status = 0;
  pid_t ended = 0;
  while ((ended = TakeLeave(&status)) > 0) continue;
  return ended == 0;
}

// One goes on at a time, and to wake it on another processor takes the PC longer than most turns.
void KeepToOneProcessor() {
  cpu_set_t set;
  CPU_ZERO(&set);
  if (const int processor = sched_getcpu(); processor >= 0) {
    CPU_SET(static_cast<unsigned>(processor), &set);
    sched_setaffinity(0, sizeof set, &set);
  }
}

}  // namespace

void ExecuteOnBoard(const std::string &program, const std::vector<std::string> &command) {
  Execution(program, command).Become();
}

void Machine::RequestStop(int signal) {
  stopSignal = signal;
  if (waits != 0) Poke();
}

Machine::Machine(Plan plan, Transcript::Show show, uint32_t speed)
    : plan_(std::move(plan)), transcript_(std::move(show)), keeper_(speed) {
  AdoptOrphans();
  KeepToOneProcessor();
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
  waits = 1;
}

Machine::~Machine() {
  Stop();
  waits = 0;
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
  const Execution execution(PathOnBoard(plan_.start[0]), plan_.start);
  fflush(nullptr);
  command_ = fork();
  // Here and there, so that the group is there for both from now on.
  setpgid(command_, command_);
  if (command_ == 0) execution.BecomeWith({terminal_, terminal_, terminal_});
  if (command_ < 0) throw std::runtime_error("no process for the board's command");
  NoteBirth();
  State().processGroup = command_;
  running_ = true;
}

pid_t Machine::StartBeside(const std::vector<std::string> &command, int output, int messages) {
  const std::string program = PlaceOf(command[0]);
  if (access(program.c_str(), X_OK) != 0) {
    throw std::runtime_error(command[0] + ": no such program");
  }
  std::array<int, 3> standard = {terminal_, terminal_, terminal_};
  const Execution execution(program, command);
  const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
  if (output >= 0) standard = {nothing, output, messages};
  fflush(nullptr);
  const pid_t child = fork();
  setpgid(child, command_);  // here and there, as with the command
  if (child == 0) execution.BecomeWith(standard);
  close(nothing);
  if (child < 0) throw std::runtime_error("no process for " + command[0]);
  beside_[child] = -1;
  NoteBirth();
  running_ = true;
  return child;
}

// Takes what the programs printed up to now: the kernel's poll waits for what is still on its way
// from one end of a pseudo terminal to the other. True when anything came.
bool Machine::ReadConsole() {
  pollfd descriptor = {console_, POLLIN, 0};
  int reads = 0;
  for (; reads < kReadsPerTurn && poll(&descriptor, 1, 0) > 0; ++reads) {
    char data[4096];
    const ssize_t length = read(console_, data, sizeof data);
    if (length <= 0) break;
    transcript_.TakeConsole({data, static_cast<size_t>(length)});
  }
  if (State().unmarked.exchange(false)) transcript_.TakeEvents();
  return reads > 0;
}

void Machine::Reap() {
  int status = 0;
  pid_t id = 0;
  while ((id = TakeLeave(&status)) > 0) {
    if (WIFSIGNALED(status) && State().power == Power::kOn) {
      Event("killed: %s", strsignal(WTERMSIG(status)));
    }
    const int ended = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    if (id == command_) exitStatus_ = ended;
    if (const auto beside = beside_.find(id); beside != beside_.end()) beside->second = ended;
  }
  running_ = id == 0;  // some child is left
}

bool Machine::Type(std::string_view text) {
  while (!text.empty()) {
    pollfd descriptor = {console_, POLLOUT, 0};
    if (poll(&descriptor, 1, 0) <= 0) return false;
    // It waits where more is typed than fits, of which a single character is sure.
    if (write(console_, text.data(), 1) != 1) return false;
    text.remove_prefix(1);
  }
  // The kernel hands it on by and by, and nobody else can tell that it is still on its way.
  int unread = 0;
  for (auto end = Clock::now() + kLongestTyping; unread == 0 && Clock::now() < end;) {
    keeper_.PauseBriefly();
    ioctl(terminal_, FIONREAD, &unread);
  }
  return true;
}

// A board that is switched off or restarts waits until its programs have had their time for it.
// True when it has just ended them, or started anew.
bool Machine::FollowPower() {
  const Power power = State().power;
  if (power == Power::kOn) return false;
  if (power != Power::kCut && running_) {
    if (shutDown_ == kNever) shutDown_ = Lifetime() + kShutDown;
    if (Lifetime() < shutDown_) return false;
  }
  if (power == Power::kOff && command_ < 0) return false;
  Stop();
  shutDown_ = kNever;
  if (power != Power::kOff) StartCommand();
  return true;
}

bool Machine::LookOutside() {
  if (stopSignal != 0) throw Interrupted{stopSignal};
  if (State().logFailed) throw std::runtime_error(Folder() + "/events: cannot be written");
  // Time would stand for good: who looks for a place never rests.
  if (State().time.waitsRanOut) {
    throw std::runtime_error("more threads wait than a board has places for: " +
                             std::to_string(std::size(State().time.waits)));
  }
  const bool follows = State().power == Power::kCut && FollowPower();
  if (State().hanging) SignalDescendants(SIGSTOP);
  if (std::exchange(changes_, keeper_.Changes()) == keeper_.Changes()) return follows;
  Reap();
  return true;
}

// Waits until every program waits; false when the real time is over before that. Who waits for a
// place on the console goes on once it has been read.
bool Machine::ComeToRest(Clock::time_point end) {
  do {
    LookOutside();
    if (!keeper_.AllRest()) {
      keeper_.PauseBriefly();
    } else if (!ReadConsole() && !LookOutside()) {
      return true;
    }
  } while (Left(end) > 0);
  return false;
}

// Lets the programs, which rest, go on by one turn, no later than until a moment of the lifetime.
void Machine::GoOn(int64_t moment, Clock::time_point end) {
  if (FollowPower()) return;
  const int64_t left = std::max<int64_t>(0, Left(end));
  keeper_.LetGoOn(std::min(moment, shutDown_), left);
}

bool Machine::GoOnUntil(const std::function<bool()> &happened, double seconds, int64_t moment) {
  const auto end = After(seconds);
  for (; Left(end) > 0 && ComeToRest(end); GoOn(moment, end)) {
    if (happened()) return true;
    if (Lifetime() >= moment) return false;
    const bool alone = goesOnAlone_ && moment != kNever;
    if (!running_ && !alone && State().power == Power::kOn) return false;
  }
  return false;
}

bool Machine::WaitFor(const std::string &text, double seconds, int64_t moment) {
  return GoOnUntil([&] { return transcript_.Find(text); }, seconds, moment);
}

bool Machine::Act(const std::string &action, double seconds, int64_t moment) {
  return GoOnUntil([&] { return TryToAct(action); }, seconds, moment);
}

bool Machine::Run(double seconds) {
  const int64_t moment = Lifetime() + static_cast<int64_t>(seconds * kSecond);
  while (ComeToRest(kNoEnd) && running_ && Lifetime() < moment) {
    GoOn(moment, kNoEnd);
  }
  return Lifetime() >= moment;
}

void Machine::RunOn() {
  while (ComeToRest(kNoEnd) && running_) GoOn(kNever, kNoEnd);
}

void Machine::Attend() {
  for (;;) {
    ComeToRest(kNoEnd);
    GoOn(kNever, kNoEnd);
  }
}

void Machine::Play(double secondsPerStep) {
  for (const std::string &step : plan_.scenario) {
    const std::string argument = step.substr(step.find(' ') + 1);
    if (step.starts_with("after ")) {
      if (Run(std::stod(argument))) continue;
      throw std::runtime_error("'" + step + "': nothing runs any more");
    } else if (step.starts_with("wait ")) {
      if (WaitFor(argument, secondsPerStep)) continue;
      throw std::runtime_error("'" + step + "': this did not come");
    } else if (!Act(step, secondsPerStep)) {
      throw std::runtime_error("'" + step + "': nothing on the board took it");
    }
  }
}

void Machine::Stop() {
  if (command_ < 0) return;
  const auto end = Clock::now() + kLongestEnd;
  // What was just being started appears only now.
  int64_t pause = kShortestPause;
  for (; AnyChildIsLeft() && Clock::now() < end; pause = std::min(2 * pause, kLongestPause)) {
    SignalDescendants(SIGKILL);
    ReadConsole();
    real::sleep({0, static_cast<long>(pause)});
  }
  ReadConsole();
  transcript_.TakeEvents();
  transcript_.EndLine();
  running_ = false;
  command_ = -1;
  for (auto &[id, left] : beside_) {
    if (left < 0) left = 128 + SIGKILL;
  }
  State().processGroup = 0;
  if (State().power == Power::kOn) State().power = Power::kOff;
}

}  // namespace vboard
