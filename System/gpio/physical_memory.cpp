// Physical registers through /dev/mem, one page at a time.
#include <fcntl.h>
#include <stdio.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>

#include "Base/standard_descriptors.h"
#include "libsys/gpio.h"

using namespace libsys;

namespace {

constexpr const char *kDevice = "/dev/mem";
constexpr uint32_t kPageSize = 4096;

static_assert(sizeof(off_t) == 8, "registers above 2 GiB need 64-bit offsets");

// A page of /dev/mem; the descriptor is -1 while it is closed.
struct Slot {
  uint32_t address = 0;
  std::atomic<int> descriptor{-1};
  std::atomic<volatile uint8_t *> page{nullptr};
};

// The two registers that are used all the time stay mapped.
struct {
  Slot persistent[2] = {{0x200A0018}, {0x2005005C}};
} state;

Slot *FindPersistent(uint32_t address) {
  for (Slot &slot : state.persistent) {
    if (slot.address == address) return &slot;
  }
  return nullptr;
}

bool Open(Slot &slot, uint32_t pageAddress) {
  const int descriptor = base::Open(kDevice, O_RDWR);
  if (descriptor < 0) {
    const auto page = reinterpret_cast<uintptr_t>(slot.page.load());
    printf("LIBDVR : Open %s Failed, MapAddressPiont_p = %x\n", kDevice,
           static_cast<unsigned>(page));
    return false;
  }
  void *page = mmap(nullptr, kPageSize, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor,
                    static_cast<off_t>(pageAddress));
  if (page == MAP_FAILED || page == nullptr) {
    printf("LIBDVR : Map 0x%x Failed\n", static_cast<unsigned>(pageAddress));
    close(descriptor);
    return false;
  }
  slot.page = static_cast<volatile uint8_t *>(page);
  slot.descriptor = descriptor;  // last: another thread that sees it finds the page
  return true;
}

void Close(Slot &slot) {
  munmap(const_cast<uint8_t *>(slot.page.exchange(nullptr)), kPageSize);
  close(slot.descriptor.exchange(-1));
}

// Registers of these chips are accessed by the byte; memcpy would be free to take words.
void Copy(volatile uint8_t *registers, uint8_t *buffer, uint32_t length, bool write) {
  for (uint32_t i = 0; i < length; ++i) {
    if (write) {
      registers[i] = buffer[i];
    } else {
      buffer[i] = registers[i];
    }
  }
}

}  // namespace

int32_t DvrPhysicalMemoryAccess(uint32_t address, uint8_t *buffer, uint32_t length, int32_t write) {
  const uint32_t offset = address % kPageSize;
  if (buffer == nullptr || length > kPageSize - offset) {
    puts("LIBDVR : Buffer == NULL or length is to long, must <= 0x1000");
    return 0;
  }
  Slot temporary;
  Slot *persistent = FindPersistent(address);
  Slot &slot = persistent != nullptr ? *persistent : temporary;
  if (slot.descriptor == -1 && !Open(slot, address - offset)) return 0;
  Copy(slot.page + offset, buffer, length, write != 0);
  if (persistent == nullptr) Close(slot);
  return 1;
}
