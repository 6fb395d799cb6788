#include "Base/text_scanner.h"

#include <limits.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>

namespace libsys::base {
namespace {

constexpr const char *kSpace = " \t\n\v\f\r";

}  // namespace

bool TextScanner::Word(std::span<char> word) {
  rest_ += strspn(rest_, kSpace);
  const size_t length = std::min(strcspn(rest_, kSpace), word.size() - 1);
  if (length == 0) return false;
  memcpy(word.data(), rest_, length);
  word[length] = '\0';
  rest_ += length;
  return true;
}

bool TextScanner::SkipWord() {
  rest_ += strspn(rest_, kSpace);
  const size_t length = strcspn(rest_, kSpace);
  rest_ += length;
  return length > 0;
}

bool TextScanner::Match(const char *pattern) {
  for (; *pattern != '\0'; ++pattern) {
    if (*pattern == ' ') {
      rest_ += strspn(rest_, kSpace);
    } else if (*rest_ == *pattern) {
      ++rest_;
    } else {
      return false;
    }
  }
  return true;
}

bool TextScanner::Number(int *number) {
  char *end = nullptr;
  const long value = strtol(rest_, &end, 10);
  if (end == rest_) return false;
  *number = static_cast<int>(std::clamp<long>(value, INT_MIN, INT_MAX));
  rest_ = end;
  return true;
}

}  // namespace libsys::base
