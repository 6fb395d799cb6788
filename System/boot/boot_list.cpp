#include "System/boot/boot_list.h"

#include <string.h>

#include <array>
#include <span>

#include "System/boot/crc32.h"
#include "libsys/boot.h"

namespace libsys::boot {
namespace {

constexpr uint32_t kCrcSize = 4;
constexpr int kErased = 0xFF;

char *FirstEntry(const BootEnv &env) {
  return env.bytes + kCrcSize;
}

char *NextEntry(char *entry) {
  return entry + strlen(entry) + 1;
}

char *FindEntry(const BootEnv &env, const char *name) {
  char *entry = FirstEntry(env);
  for (; *entry != '\0'; entry = NextEntry(entry)) {
    if (BootEnvMatchName(name, entry) >= 0) return entry;
  }
  return nullptr;
}

// The empty entry behind the last one.
char *EndOfList(const BootEnv &env) {
  char *entry = FirstEntry(env);
  while (*entry != '\0') entry = NextEntry(entry);
  return entry;
}

// As it stands in the block.
using Crc = std::array<uint8_t, kCrcSize>;

Crc CrcOf(const BootEnv &env) {
  const std::span block(reinterpret_cast<const uint8_t *>(env.bytes), env.size);
  const uint32_t crc = Crc32(0, block.subspan(kCrcSize));
  Crc bytes;
  for (uint32_t i = 0; i < kCrcSize; ++i) bytes[i] = static_cast<uint8_t>(crc >> (8 * i));
  return bytes;
}

bool HasItsCrc(const BootEnv &env) {
  return memcmp(env.bytes, CrcOf(env).data(), kCrcSize) == 0;
}

}  // namespace

// Who else writes the block may not know of its CRC: without erased flash it is not looked at.
void ClearBrokenList(const BootEnv &env) {
  char *const list = FirstEntry(env);
  const auto length = static_cast<size_t>(EndOfList(env) - list);
  const bool showsErasedFlash = memchr(list, kErased, length) != nullptr;
  if (showsErasedFlash && !HasItsCrc(env)) memset(list, 0, env.size - kCrcSize);
}

const char *FindValue(const BootEnv &env, const char *name) {
  const char *entry = FindEntry(env, name);
  return entry == nullptr ? nullptr : entry + BootEnvMatchName(name, entry);
}

const char *NextOf(const BootEnv &env, const char *entry) {
  const char *next = entry == nullptr ? FirstEntry(env) : entry + strlen(entry) + 1;
  return *next != '\0' ? next : nullptr;
}

void DeleteEntry(const BootEnv &env, const char *name) {
  char *entry = FindEntry(env, name);
  if (entry == nullptr) return;
  const char *next = NextEntry(entry);
  const char *end = EndOfList(env);
  const auto kept = static_cast<size_t>(end - next);
  const auto freed = static_cast<size_t>(next - entry);
  memmove(entry, next, kept);
  memset(entry + kept, 0, freed);
}

bool AppendEntry(const BootEnv &env, const char *name, const char *value) {
  char *entry = EndOfList(env);
  // Counted to 4 bytes beyond the block on purpose: the longest pair that is taken loses its NULs
  // and the last two characters of its value. Spare bytes stand in for them.
  const auto space = static_cast<size_t>(env.bytes + kCrcSize + env.size - entry);
  const size_t nameLength = strlen(name);
  const size_t valueLength = strlen(value);
  if (space < nameLength + valueLength + 3) return false;
  memcpy(entry, name, nameLength);
  entry += nameLength;
  *entry++ = '=';
  memcpy(entry, value, valueLength);
  entry += valueLength;
  entry[0] = '\0';
  entry[1] = '\0';
  return true;
}

void StoreCrc(const BootEnv &env) {
  const Crc crc = CrcOf(env);
  memcpy(env.bytes, crc.data(), crc.size());
}

}  // namespace libsys::boot

int32_t BootEnvMatchName(const char *name, const char *entry) {
  if (name == nullptr || entry == nullptr) return -1;
  const size_t length = strlen(name);
  if (strncmp(entry, name, length) != 0 || entry[length] != '=') return -1;
  return static_cast<int32_t>(length + 1);
}
