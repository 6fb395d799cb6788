#include "libsys/boot.h"

#include <fcntl.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>

#include "Base/lock.h"
#include "Base/message.h"
#include "Base/standard_descriptors.h"
#include "Flash/mtd.h"
#include "System/boot/boot_list.h"
#include "System/boot/held_signals.h"
#include "System/version/products.h"
#include "libsys/flash.h"
#include "libsys/version.h"

using namespace libsys;

namespace {

struct State {
  pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
  int fd = -1;
  uint32_t offset = 0;  // of the block in the device
  boot::BootEnv env;    // no bytes: no buffer
  bool loaded = false;
};
constinit State state;

uint32_t BootEnvSize() {
  constexpr uint32_t kUnit = 0x10000;
  return static_cast<uint32_t>(product::Get(&product::Product::block)) * kUnit;
}

void Release() {
  free(state.env.bytes);
  state.env = {};
  state.loaded = false;
  if (state.fd >= 0) close(state.fd);
  state.fd = -1;
}

bool CreateBuffer() {
  if (state.env.bytes != nullptr) {
    puts("LIBDVR : Boot device has created");
    return true;
  }
  const uint32_t size = BootEnvSize();
  void *bytes = calloc(1, size + boot::kSpareBytes);
  if (bytes == nullptr) {
    base::PrintAt({"System/boot", 62}, "Malloc envStruct.buf falied\n");
    return false;
  }
  state.env = {static_cast<char *>(bytes), size};
  return true;
}

struct Place {
  const MtdPartition *partition;  // null: there is none
  uint32_t offset;
};

Place FindPlace() {
  uint32_t sectorSize = 0;
  FlashGetSectorSize(&sectorSize);
  const MtdPartition *boot = FlashFindPartition("\"boot\"");
  if (DvrGetBoardType() != 0) {
    if (boot == nullptr) return {nullptr, 0};
    const uint32_t offset = boot->size - sectorSize;
    printf("envoffset = %x\n", offset);
    return {boot, offset};
  }
  if (const MtdPartition *env = FlashFindPartition("\"env\""); env != nullptr) {
    puts("LIBDVR : Find device chip");
    return {env, 0};
  }
  puts("LIBDVR : No device chip");
  return {boot, 0x80000};
}

bool OpenDevice() {
  if (state.fd >= 0) return true;
  FlashInit();
  const Place place = FindPlace();
  if (place.partition == nullptr) {
    puts("LIBDVR : Get env mtd failed");
    return false;
  }
  const char *path = place.partition->path;
  state.offset = place.offset;
  state.fd = base::Open(path, O_RDWR);
  if (state.fd < 0) state.fd = base::Open(path, O_RDWR);
  if (state.fd >= 0) return true;
  base::PrintAt({"System/boot", 124}, "Open %s falied\n", path);
  return false;
}

bool ReadBlock() {
  const ssize_t size = static_cast<ssize_t>(state.env.size);
  if (lseek(state.fd, static_cast<off_t>(state.offset), SEEK_SET) >= 0 &&
      read(state.fd, state.env.bytes, state.env.size) == size) {
    return true;
  }
  base::PrintAt({"System/boot", 153}, "Read failed\n");
  return false;
}

bool Load() {
  if (state.loaded) return true;
  if (!CreateBuffer() || !OpenDevice() || !ReadBlock()) {
    Release();
    return false;
  }
  boot::ClearBrokenList(state.env);
  state.loaded = true;
  return true;
}

// Replaces the variable in the loaded block; a null value only deletes it.
bool Change(const char *name, const char *value) {
  boot::DeleteEntry(state.env, name);
  if (value == nullptr) return true;
  if (!boot::AppendEntry(state.env, name, value)) {
    base::PrintAt({"System/boot", 323}, "Environment Overflow, \"%s\" Deleted\n", name);
    base::PrintAt({"System/boot", 404}, "Set environmeent to flash fail\n");
    return false;
  }
  printf("BOOT_ENV_SIZE = %x\n", state.env.size);
  return true;
}

bool EraseAndWrite() {
  const uint32_t size = state.env.size;
  if (state.offset % size != 0) {
    base::PrintAt({"System/boot", 215}, "Address doesn't alias %d \n", static_cast<int>(size));
    return false;
  }
  const boot::HeldSignals held;
  if (!MtdErase(state.fd, state.offset, BootEnvSize())) {
    base::PrintAt({"System/boot", 242}, "Mem Erase Failed\n");
    return false;
  }
  if (lseek(state.fd, static_cast<off_t>(state.offset), SEEK_SET) < 0 ||
      write(state.fd, state.env.bytes, size) != static_cast<ssize_t>(size)) {
    base::PrintAt({"System/boot", 250}, "Write Mtd Failed\n");
    return false;
  }
  return true;
}

bool Save(const char *name, const char *value) {
  boot::StoreCrc(state.env);
  printf("LIBDVR : Will save %s = %s\n", name, value == nullptr ? "(null)" : value);
  puts("LIBDVR : Save environment to flash ,Please wait ......");
  puts("LIBDVR : Note!! Don't power off");
  if (EraseAndWrite()) return true;
  base::PrintAt({"System/boot", 416}, "Save environmeent to flash fail\n");
  return false;
}

}  // namespace

int32_t BootEnvInit(void) {
  const base::Lock lock(state.mutex);
  return Load() ? 0 : -1;
}

void BootEnvRelease(void) {
  const base::Lock lock(state.mutex);
  Release();
}

int32_t BootEnvGet(const char *name, void *destination, uint32_t length) {
  if (destination == nullptr) {
    puts("LIBDVR : Invalid parma");
    return -1;
  }
  memset(destination, 0, length);
  if (name == nullptr) return -1;
  const base::Lock lock(state.mutex);
  if (!Load()) return -1;
  const char *value = boot::FindValue(state.env, name);
  if (value != nullptr) memcpy(destination, value, strnlen(value, length));
  Release();
  return value != nullptr ? 0 : -1;
}

int32_t BootEnvForEach(void (*visit)(const char *entry, void *context), void *context) {
  const base::Lock lock(state.mutex);
  if (visit == nullptr || !Load()) return -1;
  const char *entry = nullptr;
  while ((entry = boot::NextOf(state.env, entry)) != nullptr) visit(entry, context);
  Release();
  return 0;
}

int32_t BootEnvSet(const char *name, const char *value) {
  if (name == nullptr) return -1;
  const base::Lock lock(state.mutex);
  if (!Load()) {
    puts("LIBDVR : BootEnvInit failed");
    return -1;
  }
  const bool saved = Change(name, value) && Save(name, value);
  Release();
  if (saved) puts("LIBDVR : Save in flash complete\n");
  return saved ? 0 : -1;
}

int32_t BootEnvSetText(const char *text) {
  if (text == nullptr) return -1;
  const char *equals = strchr(text, '=');
  if (equals == nullptr) return -1;
  char name[32] = {};
  char value[32] = {};
  memcpy(name, text, std::min(static_cast<size_t>(equals - text), sizeof name - 1));
  memcpy(value, equals + 1, strnlen(equals + 1, sizeof value - 1));
  return BootEnvSet(name, value);
}
