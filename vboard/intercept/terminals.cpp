// Calls on terminals.
#include <termios.h>

#include "vboard/board.h"
#include "vboard/intercept/intercept.h"

using vboard::DescriptorFails;
using vboard::Device;
using vboard::Special;
using vboard::SpecialFile;

extern "C" {

int tcgetattr(int fd, termios *settings) noexcept {
  NEXT(tcgetattr);
  if (DescriptorFails("tcgetattr", fd)) return -1;
  const Special special = SpecialFile(fd);
  const auto *terminal = special.Own(&Device::terminal);
  return terminal != nullptr ? terminal->get(special.unit, settings) : next(fd, settings);
}

int tcsetattr(int fd, int actions, const termios *settings) noexcept {
  NEXT(tcsetattr);
  if (DescriptorFails("tcsetattr", fd)) return -1;
  const Special special = SpecialFile(fd);
  const auto *terminal = special.Own(&Device::terminal);
  if (terminal == nullptr) return next(fd, actions, settings);
  if (actions != TCSANOW) vboard::Event("terminal: waits until everything is sent");
  if (actions == TCSAFLUSH) terminal->flush(special.unit, TCIFLUSH);
  return terminal->set(special.unit, settings);
}

int tcflush(int fd, int queue) noexcept {
  NEXT(tcflush);
  if (DescriptorFails("tcflush", fd)) return -1;
  const Special special = SpecialFile(fd);
  const auto *terminal = special.Own(&Device::terminal);
  return terminal != nullptr ? terminal->flush(special.unit, queue) : next(fd, queue);
}

int isatty(int fd) noexcept {
  NEXT(isatty);
  return SpecialFile(fd).Own(&Device::terminal) != nullptr ? 1 : next(fd);
}

}  // extern "C"
