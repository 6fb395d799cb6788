// Reading a text from its front, word by word, as scanf does. scanf itself would bring the C
// library's floating-point conversions into every static program.
#pragma once

#include <span>

namespace libsys::base {

// Each operation takes what it matches off the front of the text; one that returns false has
// stored nothing, but may have taken what it had matched. White space is a blank or one of \t \n \v
// \f \r.
class TextScanner {
 public:
  explicit TextScanner(const char *text) : rest_(text) {}

  // Like "%s": skips white space and stores the word behind it, at most what fits the buffer
  // with its zero byte; the rest of a longer word is the next one.
  bool Word(std::span<char> word);

  // Like "%*s": passes over a word of any length.
  bool SkipWord();

  // A blank in the pattern matches any white space, or none; every other character itself.
  bool Match(const char *pattern);

  // Like "%d"; a number that is too large or too small gives the largest or the smallest.
  bool Number(int *number);

 private:
  const char *rest_;
};

}  // namespace libsys::base
