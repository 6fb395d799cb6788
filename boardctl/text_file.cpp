#include "boardctl/text_file.h"

namespace boardctl {

bool TextFile::ReadLine(std::span<char> buffer) {
  size_t length = 0;
  int c = file_ != nullptr ? getc(file_) : EOF;
  if (c == EOF) return false;
  for (; c != EOF && c != '\n'; c = getc(file_)) {
    if (length + 1 < buffer.size()) buffer[length++] = static_cast<char>(c);
  }
  buffer[length] = '\0';
  return true;
}

}  // namespace boardctl
