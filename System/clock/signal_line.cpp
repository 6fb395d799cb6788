#include "System/clock/signal_line.h"

#include <unistd.h>

namespace libsys {

SignalLine &SignalLine::Add(const char *text) {
  while (*text != '\0' && length_ < sizeof text_) text_[length_++] = *text++;
  return *this;
}

SignalLine &SignalLine::Add(int32_t number) {
  char digits[12];
  char *at = digits + sizeof digits - 1;
  *at = '\0';
  int64_t rest = number < 0 ? -static_cast<int64_t>(number) : number;
  do {
    *--at = static_cast<char>('0' + rest % 10);
    rest /= 10;
  } while (rest != 0);
  if (number < 0) *--at = '-';
  return Add(at);
}

void SignalLine::Print() {
  Add("\n");
  // Nothing can be done here about a console that does not take it.
  [[maybe_unused]] const ssize_t written = write(STDOUT_FILENO, text_, length_);
}

}  // namespace libsys
