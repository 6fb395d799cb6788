// Memory: what a program itself asks for can be refused, not what the C library takes for its own
// purposes, which fails with the call that needs it.
#include <errno.h>
#include <link.h>

#include "vboard/board.h"
#include "vboard/faults.h"
#include "vboard/intercept/intercept.h"

using vboard::Attached;

extern "C" {

// The C library's own, which a lookup of the next function would need already.
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *memory, size_t size);

}  // extern "C"

namespace {

// The main program comes first.
bool IsPrograms(const void *caller) {
  const auto look = [](dl_phdr_info *object, size_t, void *data) {
    const auto place = *static_cast<const uintptr_t *>(data) - object->dlpi_addr;
    for (int i = 0; i < object->dlpi_phnum; ++i) {
      const auto &part = object->dlpi_phdr[i];
      if (part.p_type == PT_LOAD && place >= part.p_vaddr && place - part.p_vaddr < part.p_memsz) {
        return 2;
      }
    }
    return 1;
  };
  auto place = reinterpret_cast<uintptr_t>(caller);
  return dl_iterate_phdr(look, &place) == 2;
}

bool Fails(const void *caller) {
  return Attached() && vboard::CallsMayFail() && IsPrograms(caller) &&
         vboard::CallFails("malloc", "");
}

}  // namespace

extern "C" {

void *malloc(size_t size) {
  return Fails(__builtin_return_address(0)) ? nullptr : __libc_malloc(size);
}

void *calloc(size_t count, size_t size) {
  return Fails(__builtin_return_address(0)) ? nullptr : __libc_calloc(count, size);
}

void *realloc(void *memory, size_t size) {
  return Fails(__builtin_return_address(0)) ? nullptr : __libc_realloc(memory, size);
}

}  // extern "C"
