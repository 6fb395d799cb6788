// A line of output that a signal handler may print.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace libsys {

// Made of texts and numbers, cut at 128 bytes, and printed with one write, past stdio.
class SignalLine {
 public:
  SignalLine &Add(const char *text);
  SignalLine &Add(int32_t number);
  // With a line feed behind it. It may be used once.
  void Print();

 private:
  char text_[128];
  size_t length_ = 0;
};

}  // namespace libsys
