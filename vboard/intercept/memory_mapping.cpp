// Mapping files into memory.
#include "vboard/board.h"
#include "vboard/intercept/intercept.h"

using vboard::Device;

extern "C" {

#define INTERCEPT_MMAP(name, offset_type)                                     \
  void *name(void *address, size_t length, int protection, int flags, int fd, \
             offset_type offset) {                                            \
    NEXT(name);                                                               \
    if (fd >= 0 && vboard::DescriptorFails("mmap", fd)) return MAP_FAILED;    \
    const auto *mapping = vboard::SpecialFile(fd).Own(&Device::mapping);      \
    if (mapping == nullptr) {                                                 \
      return next(address, length, protection, flags, fd, offset);            \
    }                                                                         \
    return mapping->map(fd, address, length, protection, flags, offset);      \
  }
INTERCEPT_MMAP(mmap, off_t)
INTERCEPT_MMAP(mmap64, off64_t)

int munmap(void *address, size_t length) {
  NEXT(munmap);
  if (vboard::Attached()) {
    for (const Device *device : vboard::Devices()) {
      if (device->mapping && device->mapping->unmap(address, length)) break;
    }
  }
  return next(address, length);
}

}  // extern "C"
