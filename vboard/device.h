// A device of the board: one file under devices/ and one entry in the table of devices.cpp. It
// states what it serves by the groups of calls that it has.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <sys/socket.h>
#include <sys/types.h>
#include <termios.h>

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "vboard/actions.h"
#include "vboard/keys.h"

struct sysinfo;

namespace vboard {

class Section;
class Values;

// Special files. A call that is left out reaches the plain file that stands for the special one
// below root/. Results and errno as the system call has them.
struct FileCalls {
  // The unit that this path names, or -1 when it is none of this device's special files.
  int (*unit)(std::string_view path);
  // A program is about to open the unit: 0 or an errno value.
  int (*open)(int unit, int flags) = nullptr;
  // A program opened the unit, or closed it.
  void (*opened)(int unit) = nullptr;
  void (*closed)(int unit) = nullptr;
  ssize_t (*read)(int unit, int fd, void *data, size_t length) = nullptr;
  ssize_t (*write)(int unit, int fd, const void *data, size_t length, int64_t *offset) = nullptr;
  int (*ioctl)(int unit, int fd, unsigned long request, void *argument) = nullptr;
  int (*sync)(int unit) = nullptr;
};

// A special file that programs map. Results and errno as the system call has them.
struct MappingCalls {
  void *(*map)(int fd, void *address, size_t length, int protection, int flags, int64_t offset);
  // Before memory is unmapped; true when it is this device's.
  bool (*unmap)(void *address, size_t length);
};

// A special file that is a terminal. Results and errno as the C library's calls have them.
struct TerminalCalls {
  int (*get)(int unit, termios *settings);
  int (*set)(int unit, const termios *settings);
  int (*flush)(int unit, int queue);
};

// What is wired to the lines of the GPIO controller.
struct GpioLines {
  // The level that this device gives an input line, or -1 for a line that is not its own.
  int (*level)(unsigned group, unsigned bit);
  // The program drives a line (level 0 or 1) or lets it go (-1). True when it is a line of this
  // device that changes too often for the event log.
  bool (*driven)(unsigned group, unsigned bit, int level);
};

// File systems on a block device of this kind, and what is to be done when any is mounted. Either
// may be left out.
struct MountCalls {
  // 0 and the folder below disks/, or an errno value; -1 when the source is none of its own.
  int (*mount)(std::string_view source, std::string_view type, std::string *content) = nullptr;
  // Something was mounted or unmounted.
  void (*remounted)() = nullptr;
};

// The network. Results and errno as the system call has them.
struct NetworkCalls {
  // An interface request, as ioctl gets it on a socket of any kind.
  int (*request)(unsigned long request, void *argument);
  // A datagram leaves through a packet socket.
  ssize_t (*send)(const void *data, size_t length, const sockaddr *to, socklen_t toLength);
};

// Everything but the name may be left out.
struct Device {
  const char *name;                // also the name of its section in a board description
  const char *about = "";          // what it is, for that section
  std::span<const Key> keys = {};  // of the section; a device with make has one
  size_t stateSize = 0;
  // Paths that belong to the board; "/dev/mtd" covers "/dev/mtd0" as well.
  std::span<const char *const> paths = {};

  // Makes the device from its section: files below root/, initial state.
  void (*make)(Section &section) = nullptr;
  void (*powerOn)() = nullptr;
  // Reports what programs did without a call, such as writes to mapped registers.
  void (*settle)() = nullptr;
  // The lifetime at which something falls due while the board has power, kNever for nothing; and
  // what happens then.
  int64_t (*due)() = nullptr;
  void (*tick)() = nullptr;

  std::optional<FileCalls> files = {};
  std::optional<MappingCalls> mapping = {};
  std::optional<TerminalCalls> terminal = {};
  std::optional<GpioLines> lines = {};
  std::optional<MountCalls> mounts = {};
  std::optional<NetworkCalls> network = {};
  // A shell command whose first word is this device's: its exit status, or -1 when it is not.
  // What it prints is added to the output.
  int (*command)(std::string_view line, std::string *output) = nullptr;
  // What sysinfo() answers.
  int (*information)(struct sysinfo *information) = nullptr;

  // Puts what the device is in now: under a name, or several.
  void (*values)(Values &values) = nullptr;

  const char *help = "";  // what its actions do
  std::span<const Action> actions = {};
};

std::span<const Device *const> Devices();

}  // namespace vboard
