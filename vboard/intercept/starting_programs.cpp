// Starting programs: the exec and spawn families.
#include <errno.h>
#include <spawn.h>
#include <stdlib.h>
#include <string.h>

#include <vector>

#include "vboard/board.h"
#include "vboard/faults.h"
#include "vboard/intercept/intercept.h"
#include "vboard/program.h"
#include "vboard/turns.h"

using vboard::Attached;
using vboard::boardEnvironment;
using vboard::Event;
using vboard::MayReach;
using vboard::Path;

namespace {

using Arguments = std::vector<char *>;

std::string Joined(char *const *arguments) {
  std::string text;
  for (; arguments != nullptr && *arguments != nullptr; ++arguments) {
    text += " " + std::string(*arguments);
  }
  return text;
}

// The arguments of execl and its like, the null pointer at their end included.
Arguments Collect(const char *first, va_list rest) {
  Arguments list = {const_cast<char *>(first)};
  while (list.back() != nullptr) list.push_back(va_arg(rest, char *));
  return list;
}

// An environment in which a started program finds the board, whatever the caller made of his own.
class Environment {
 public:
  explicit Environment(char *const *given) : given_(given) {
    if (boardEnvironment.library == nullptr) return;
    for (; given != nullptr && *given != nullptr; ++given) {
      const std::string_view variable(*given);
      if (variable.starts_with(kLibrary)) {
        const std::string own(variable.substr(kLibrary.size()));
        if (!own.empty() && own != boardEnvironment.library) library_ += ":" + own;
      } else if (!variable.starts_with(kFolder)) {
        list_.push_back(*given);
      }
    }
    library_ = std::string(kLibrary) + boardEnvironment.library + library_;
    folder_ = std::string(kFolder) + boardEnvironment.folder;
    list_.insert(list_.end(), {library_.data(), folder_.data(), nullptr});
    given_ = list_.data();
  }
  Environment(const Environment &) = delete;
  Environment &operator=(const Environment &) = delete;
  operator char * const *() const { return given_; }

 private:
  static constexpr std::string_view kLibrary = "LD_PRELOAD=";
  static constexpr std::string_view kFolder = "VBOARD_FOLDER=";

  char *const *given_;
  std::string library_;
  std::string folder_;
  Arguments list_;
};

// Before a start, and logged before it, for a program that starts leaves nobody to log it.
bool MayStart(const char *path, const Path &place, char *const *arguments) {
  const bool may = place.OnBoard() ? MayReach("exec", place) : !vboard::CallFails("exec", path);
  if (may) Event("start: %s:%s", path, Joined(arguments).c_str());
  return may;
}

// Where the loader cannot open the library, it starts the program without it.
bool LibraryIsThere() {
  NEXT(access);
  return boardEnvironment.library == nullptr ||
         next((vboard::Folder() + "/libvboard.so").c_str(), R_OK) == 0;
}

// What the kernel is given in place of a program's path and arguments.
class Start {
 public:
  Start(const char *path, const Path &place, char *const *arguments)
      : program_(vboard::FindProgram(path, std::string(place), [](const std::string &name) {
          return std::string(Path(name.c_str()));
        })) {
    for (std::string &word : program_.words) list_.push_back(word.data());
    if (arguments != nullptr && *arguments != nullptr && !list_.empty()) ++arguments;
    for (; arguments != nullptr && *arguments != nullptr; ++arguments) list_.push_back(*arguments);
    list_.push_back(nullptr);
    if (program_.refusal.empty() && !LibraryIsThere()) {
      program_.refusal = "cannot have the board's library in front of it";
    }
    if (!program_.refusal.empty()) {
      Event("start: %s: it is not on the board: it %s", path, program_.refusal.c_str());
    }
  }
  Start(const Start &) = delete;
  Start &operator=(const Start &) = delete;
  // A program that would run on the PC is one that the board lacks.
  bool OnBoard() const { return program_.refusal.empty(); }
  const char *Place() const { return program_.place.c_str(); }
  char *const *List() const { return list_.data(); }

 private:
  vboard::Program program_;
  Arguments list_;
};

int Execute(const char *path, char *const *arguments, char *const *environment) {
  NEXT(execve);
  if (!Attached()) return next(path, arguments, environment);
  const Path place(path);
  if (!MayStart(path, place, arguments)) return -1;
  const Start start(path, place, arguments);
  if (start.OnBoard()) {
    vboard::NoteBirth();  // where the parent waits for this in vfork()
    next(start.Place(), start.List(), Environment(environment));
    Event("start: %s: %s", path, strerrordesc_np(errno));
  } else {
    errno = ENOENT;
  }
  return -1;
}

// The program of a name without a folder, as the folders of PATH have it; the name itself where
// they have not.
std::string Found(std::string name) {
  if (name.empty() || name.find('/') != std::string::npos) return name;
  const char *path = getenv("PATH");
  std::string folders(path != nullptr ? path : "/bin:/usr/bin");
  for (folders += ':'; !folders.empty(); folders.erase(0, folders.find(':') + 1)) {
    const std::string folder = folders.substr(0, folders.find(':'));
    std::string program = (folder.empty() ? "." : folder) + "/" + name;
    if (access(program.c_str(), X_OK) == 0) return program;
  }
  return name;
}

int ExecuteFound(const char *file, char *const *arguments, char *const *environment) {
  const std::string program = Found(file);
  if (program.find('/') != std::string::npos) {
    return Execute(program.c_str(), arguments, environment);
  }
  errno = ENOENT;
  return -1;
}

}  // namespace

extern "C" {

int execve(const char *path, char *const arguments[], char *const environment[]) {
  return Execute(path, arguments, environment);
}

int execv(const char *path, char *const arguments[]) {
  return Execute(path, arguments, environ);
}

int execl(const char *path, const char *first, ...) {
  va_list rest;
  va_start(rest, first);
  const Arguments arguments = Collect(first, rest);
  va_end(rest);
  return Execute(path, arguments.data(), environ);
}

int execvpe(const char *file, char *const arguments[], char *const environment[]) {
  NEXT(execvpe);
  if (!Attached()) return next(file, arguments, environment);
  return ExecuteFound(file, arguments, environment);
}

int execvp(const char *file, char *const arguments[]) {
  return execvpe(file, arguments, environ);
}

int execlp(const char *file, const char *first, ...) {
  va_list rest;
  va_start(rest, first);
  const Arguments arguments = Collect(first, rest);
  va_end(rest);
  return execvpe(file, arguments.data(), environ);
}

int fexecve(int fd, char *const arguments[], char *const environment[]) {
  NEXT(fexecve);
  if (!Attached()) return next(fd, arguments, environment);
  return Execute(("/proc/self/fd/" + std::to_string(fd)).c_str(), arguments, environment);
}

int posix_spawn(pid_t *id, const char *path, const posix_spawn_file_actions_t *actions,
                const posix_spawnattr_t *attributes, char *const arguments[],
                char *const environment[]) {
  NEXT(posix_spawn);
  if (!Attached()) return next(id, path, actions, attributes, arguments, environment);
  const Path place(path);
  if (!MayStart(path, place, arguments)) return errno;
  const Start start(path, place, arguments);
  if (!start.OnBoard()) return ENOENT;
  const int error =
      next(id, start.Place(), actions, attributes, start.List(), Environment(environment));
  vboard::NoteBirth();
  return error;
}

int posix_spawnp(pid_t *id, const char *file, const posix_spawn_file_actions_t *actions,
                 const posix_spawnattr_t *attributes, char *const arguments[],
                 char *const environment[]) {
  NEXT(posix_spawnp);
  if (!Attached()) return next(id, file, actions, attributes, arguments, environment);
  const std::string program = Found(file);
  if (program.find('/') == std::string::npos) return ENOENT;
  return posix_spawn(id, program.c_str(), actions, attributes, arguments, environment);
}

int posix_spawn_file_actions_addopen(posix_spawn_file_actions_t *actions, int fd, const char *path,
                                     int flags, mode_t mode) noexcept {
  NEXT(posix_spawn_file_actions_addopen);
  return next(actions, fd, Path(path), flags, mode);
}

int execle(const char *path, const char *first, ...) {
  va_list rest;
  va_start(rest, first);
  const Arguments arguments = Collect(first, rest);
  char *const *environment = va_arg(rest, char *const *);
  va_end(rest);
  return Execute(path, arguments.data(), environment);
}

}  // extern "C"
