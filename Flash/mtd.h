// The erase request of MTD character devices.
#pragma once

#include <mtd/mtd-user.h>
#include <stdint.h>
#include <sys/ioctl.h>

static_assert(MEMERASE == 0x40084D02);

// Erases `length` bytes from byte `start` of the device. Blocks until done; false on failure.
inline bool MtdErase(int fd, uint32_t start, uint32_t length) {
  erase_info_user range = {start, length};
  return ioctl(fd, MEMERASE, &range) >= 0;
}
