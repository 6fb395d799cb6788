// Calls on terminals.
#include <termios.h>

#include "vboard/device.h"
#include "vboard/intercept/intercept.h"

using vboard::DescriptorFails;
using vboard::Special;
using vboard::SpecialFile;

extern "C" {

int tcgetattr(int fd, termios *settings) noexcept {
  NEXT(tcgetattr);
  if (DescriptorFails("tcgetattr", fd)) return -1;
  const Special special = SpecialFile(fd);
  const bool own = special.device != nullptr && special.device->getTerminal != nullptr;
  return own ? special.device->getTerminal(special.unit, settings) : next(fd, settings);
}

int tcsetattr(int fd, int actions, const termios *settings) noexcept {
  NEXT(tcsetattr);
  if (DescriptorFails("tcsetattr", fd)) return -1;
  const Special special = SpecialFile(fd);
  const bool own = special.device != nullptr && special.device->setTerminal != nullptr;
  if (!own) return next(fd, actions, settings);
  if (actions == TCSAFLUSH) special.device->flush(special.unit, TCIFLUSH);
  return special.device->setTerminal(special.unit, settings);
}

int tcflush(int fd, int queue) noexcept {
  NEXT(tcflush);
  if (DescriptorFails("tcflush", fd)) return -1;
  const Special special = SpecialFile(fd);
  const bool own = special.device != nullptr && special.device->flush != nullptr;
  return own ? special.device->flush(special.unit, queue) : next(fd, queue);
}

int isatty(int fd) noexcept {
  NEXT(isatty);
  const Special special = SpecialFile(fd);
  return special.device != nullptr && special.device->getTerminal != nullptr ? 1 : next(fd);
}

}  // extern "C"
