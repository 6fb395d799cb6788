// Physical memory behind /dev/mem: a sparse file with a byte for each physical address, which
// programs map. What they store there is seen when the page is compared with a copy: at the
// next event and when it is unmapped. A store of the value that is there already stays unseen.
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <string.h>
#include <unistd.h>

#include <array>
#include <iterator>
#include <vector>

#include "vboard/board.h"
#include "vboard/description.h"
#include "vboard/device.h"
#include "vboard/files.h"
#include "vboard/real.h"

namespace vboard {
namespace {

constexpr int64_t kAddresses = int64_t{1} << 32;
constexpr size_t kMostMappings = 16;

// A mapping of this process, with the bytes it held when it was last compared.
struct Mapping {
  volatile uint8_t *memory;
  size_t length;
  int64_t physical;
  std::vector<uint8_t> seen;
};

struct {
  pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
  Mapping mappings[kMostMappings];
} process;

// Holds this process's mappings. A signal handler, whose events look at them too, cannot come in
// between.
class Guard {
 public:
  Guard() { pthread_mutex_lock(&process.lock); }
  ~Guard() { pthread_mutex_unlock(&process.lock); }
  Guard(const Guard &) = delete;
  Guard &operator=(const Guard &) = delete;

 private:
  OwnCalls ownCalls_;
};

// A child must not begin with a lock that another thread held.
[[gnu::constructor]] void KeepLockOverForks() {
  pthread_atfork([] { pthread_mutex_lock(&process.lock); },
                 [] { pthread_mutex_unlock(&process.lock); },
                 [] { pthread_mutex_unlock(&process.lock); });
}

constexpr Column kRegisterColumns[] = {{"address", 0, kAddresses - 1}, {"byte", 0, 0xff}};
constexpr Key kKeys[] = {
    {"registers", key::Rows(kRegisterColumns), "bytes that are not 0 when the board is made"},
};

void Make(Section &section) {
  const std::string path = RootPath("/dev/mem");
  WriteFile(path, "");
  if (truncate(path.c_str(), kAddresses) != 0) throw DescriptionError(path + ": no sparse files");
  const int fd = real::open(path.c_str(), O_RDWR | O_CLOEXEC);
  for (const auto &row : section.Rows("registers")) {
    const auto value = static_cast<uint8_t>(row[1]);
    if (real::pwrite(fd, &value, 1, row[0]) != 1) section.Fail("registers", "cannot be stored");
  }
  real::close(fd);
}

int Unit(std::string_view path) {
  return path == "/dev/mem" ? 0 : -1;
}

struct Stored {
  int64_t address;
  uint8_t value;
};

// A handful at a time: events of signal handlers come here, which may not take more memory.
struct Stores {
  std::array<Stored, 64> stored;
  size_t count = 0;
  bool Full() const { return count == stored.size(); }
};

// Adds what was stored since the last comparison. Another thread may be storing meanwhile, as
// programs and hardware do.
__attribute__((no_sanitize("thread"))) void Compare(Mapping &mapping, Stores &stores) {
  for (size_t i = 0; i < mapping.length && !stores.Full(); ++i) {
    const uint8_t value = mapping.memory[i];
    if (value == mapping.seen[i]) continue;
    mapping.seen[i] = value;
    stores.stored[stores.count++] = {mapping.physical + static_cast<int64_t>(i), value};
  }
}

void Report(const Stores &stores) {
  for (const auto &[address, value] : std::span(stores.stored).first(stores.count)) {
    Event("register: 0x%llx = 0x%02x", static_cast<long long>(address), value);
  }
}

void Settle() {
  Stores stores;
  do {
    stores.count = 0;
    {
      const Guard guard;
      for (Mapping &mapping : process.mappings) {
        if (mapping.memory != nullptr) Compare(mapping, stores);
      }
    }
    Report(stores);
  } while (stores.Full());
}

// Has the PC's disk hold this part of the memory: a page without room on the disk would kill the
// program that stores into it. 0 or an errno value.
int Reserve(int64_t offset, size_t length) {
  if (offset < 0 || offset >= kAddresses || length > static_cast<uint64_t>(kAddresses - offset)) {
    return EINVAL;
  }
  const int fd = real::open(RootPath("/dev/mem").c_str(), O_RDWR | O_CLOEXEC);
  if (fd < 0) return errno;
  // Where files have no such reservation, the program takes its chance.
  const bool reserved = fallocate(fd, FALLOC_FL_KEEP_SIZE, offset, static_cast<off_t>(length)) == 0;
  const int error = reserved || errno == EOPNOTSUPP ? 0 : errno;
  real::close(fd);
  return error;
}

void *Map(int fd, void *address, size_t length, int protection, int flags, int64_t offset) {
  if (const int error = Reserve(offset, length)) {
    errno = error;
    return MAP_FAILED;
  }
  void *memory = real::map(address, length, protection, flags, fd, offset);
  if (memory == MAP_FAILED) return memory;
  const Guard guard;
  for (Mapping &mapping : process.mappings) {
    if (mapping.memory != nullptr) continue;
    const auto *bytes = static_cast<uint8_t *>(memory);
    mapping = {static_cast<uint8_t *>(memory), length, offset, {bytes, bytes + length}};
    break;
  }
  return memory;
}

bool Unmap(void *address, size_t) {
  Settle();
  const Guard guard;
  for (Mapping &mapping : process.mappings) {
    if (mapping.memory != address) continue;
    mapping = {};
    return true;
  }
  return false;
}

constexpr const char *kPaths[] = {"/dev/mem"};

}  // namespace

extern const Device kMemory;
const Device kMemory = {
    .name = "memory",
    .about = "physical memory, /dev/mem: the processor's registers",
    .keys = kKeys,
    .paths = kPaths,
    .make = Make,
    .settle = Settle,
    .files = FileCalls{.unit = Unit},
    .mapping = MappingCalls{.map = Map, .unmap = Unmap},
};

}  // namespace vboard
