#include "boardctl/command.h"

#include <errno.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>

#include "boardctl/messages.h"
#include "boardctl/output.h"
#include "libsys/version.h"

namespace boardctl {
namespace {

struct {
  const Command *command = nullptr;  // the one whose usage is printed
} state;

void Complain(const char *format, va_list arguments) {
  char text[512];
  va_list again;
  va_copy(again, arguments);
  vsnprintf(text, sizeof text, format, again);
  va_end(again);
  output::SetError(text);
  fprintf(stderr, "boardctl: ");
  vfprintf(stderr, format, arguments);
  putc('\n', stderr);
}

}  // namespace

void SetUsage(const Command &command) {
  state.command = &command;
}

int UsageError(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  Complain(format, arguments);
  va_end(arguments);
  fprintf(stderr, "usage: boardctl %s %s\n", state.command->name, state.command->arguments);
  return kUsage;
}

int Failure(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  Complain(format, arguments);
  va_end(arguments);
  return kFailed;
}

bool Number(const char *word, const char *name, uint32_t most, uint32_t *number) {
  char *end = nullptr;
  errno = 0;
  const bool hex = word[0] == '0' && (word[1] == 'x' || word[1] == 'X');
  const unsigned long long value = strtoull(word, &end, hex ? 16 : 10);
  const bool digits = word[0] >= '0' && word[0] <= '9' && *end == '\0' && (!hex || end > word + 2);
  if (digits && errno == 0 && value <= most) {
    *number = static_cast<uint32_t>(value);
    return true;
  }
  UsageError("%s is a number from 0 to %u, not '%s'", name, most, word);
  return false;
}

bool Bytes(const Arguments &arguments, size_t first, std::span<uint8_t> buffer, size_t *count) {
  *count = arguments.size() - first;
  if (*count > buffer.size()) {
    UsageError("at most %zu bytes", buffer.size());
    return false;
  }
  for (size_t i = 0; i < *count; ++i) {
    uint32_t byte = 0;
    if (!Number(arguments[first + i], "BYTE", 0xff, &byte)) return false;
    buffer[i] = static_cast<uint8_t>(byte);
  }
  return true;
}

void StartLibrary() {
  DvrSystemInformationStart();
  messages::Forget();
}

bool OpenBus() {
  if (I2cOpen() != 0) return false;
  messages::Forget();
  return true;
}

}  // namespace boardctl
