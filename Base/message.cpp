#include "Base/message.h"

#include <stdarg.h>
#include <stdio.h>

namespace libsys::base {

void PrintAt(Position position, const char *format, ...) {
  flockfile(stdout);
  printf("LIBDVR : FILE -> %s, LINE -> %d: ", position.file, position.line);
  va_list arguments;
  va_start(arguments, format);
  vprintf(format, arguments);
  va_end(arguments);
  funlockfile(stdout);
}

}  // namespace libsys::base
