// A device of the board: one file under devices/ and one entry in the table of devices.cpp.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <sys/socket.h>
#include <sys/types.h>
#include <termios.h>

#include <span>
#include <string>
#include <string_view>

struct sysinfo;

namespace vboard {

class Section;

// What a person or a scenario can do to a device: "vboard gpio set 1 5 0".
struct Action {
  const char *name;       // "gpio set"
  const char *arguments;  // "GROUP BIT LEVEL"
  const char *help;
  // Throws std::invalid_argument on unusable words.
  void (*run)(std::span<const std::string> words);
};

// A word of an action as a number, decimal or hexadecimal with 0x. Throws std::invalid_argument.
uint32_t NumberOf(const std::string &word, uint32_t most = UINT32_MAX);

// Everything but the name may be left out. Calls that a device does not handle reach the
// plain file that stands for it below root/.
struct Device {
  const char *name;  // also the name of its section in a board description
  size_t stateSize = 0;
  // Paths that belong to the board; "/dev/mtd" covers "/dev/mtd0" as well.
  std::span<const char *const> paths = {};

  // Makes the device from its section: files below root/, initial state.
  void (*make)(Section &section) = nullptr;
  void (*powerOn)() = nullptr;
  // Reports what programs did without a call, such as writes to mapped registers.
  void (*settle)() = nullptr;
  // Called many times a second while the board has power.
  void (*tick)() = nullptr;

  // The unit that this path names, or -1 when it is none of this device's special files.
  int (*unit)(std::string_view path) = nullptr;
  // A program opened the unit, or closed it.
  void (*opened)(int unit) = nullptr;
  void (*closed)(int unit) = nullptr;
  // The calls on an open special file; results and errno as the system call has them.
  ssize_t (*read)(int unit, int fd, void *data, size_t length) = nullptr;
  ssize_t (*write)(int unit, int fd, const void *data, size_t length, int64_t *offset) = nullptr;
  int (*ioctl)(int unit, int fd, unsigned long request, void *argument) = nullptr;
  int (*sync)(int unit) = nullptr;
  void *(*map)(int fd, void *address, size_t length, int protection, int flags,
               int64_t offset) = nullptr;
  bool (*unmap)(void *address, size_t length) = nullptr;
  // A terminal has all three.
  int (*getTerminal)(int unit, termios *settings) = nullptr;
  int (*setTerminal)(int unit, const termios *settings) = nullptr;
  int (*flush)(int unit, int queue) = nullptr;

  // GPIO: the level that this device gives an input line, or -1 for a line that is not its own.
  int (*line)(unsigned group, unsigned bit) = nullptr;
  // GPIO: the program drives a line (level 0 or 1) or lets it go (-1). True when it is a line of
  // this device that changes too often for the event log.
  bool (*driven)(unsigned group, unsigned bit, int level) = nullptr;

  // Mounts a block device of this kind: 0 and the folder below disks/, or an errno value; -1
  // when the source is none of its own.
  int (*mount)(std::string_view source, std::string_view type, std::string *content) = nullptr;
  // Something was mounted or unmounted.
  void (*remounted)() = nullptr;
  // A shell command whose first word is this device's: its exit status, or -1 when it is not.
  // What it prints is added to the output.
  int (*command)(std::string_view line, std::string *output) = nullptr;

  // An interface request on a socket of any kind; result and errno as ioctl has them.
  int (*interfaceRequest)(unsigned long request, void *argument) = nullptr;
  // A datagram leaves through one of this device's sockets; result and errno as sendto has them.
  ssize_t (*send)(const void *data, size_t length, const sockaddr *to,
                  socklen_t toLength) = nullptr;

  // What sysinfo() answers.
  int (*information)(struct sysinfo *information) = nullptr;

  std::span<const Action> actions = {};
};

std::span<const Device *const> Devices();

}  // namespace vboard
