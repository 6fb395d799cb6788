#include "Base/text_file.h"

#include <ctype.h>

namespace libsys::base {

bool TextFile::ReadPiece(std::span<char> buffer) {
  return file_ != nullptr &&
         fgets(buffer.data(), static_cast<int>(buffer.size()), file_) != nullptr;
}

bool TextFile::ReadLine(std::span<char> buffer) {
  if (file_ == nullptr) return false;
  size_t length = 0;
  int c = getc(file_);
  if (c == EOF) return false;
  for (; c != EOF && c != '\n'; c = getc(file_)) {
    if (length + 1 < buffer.size()) buffer[length++] = static_cast<char>(c);
  }
  buffer[length] = '\0';
  return true;
}

void TextFile::ReadWord(std::span<char> buffer) {
  size_t length = 0;
  int c = file_ != nullptr ? getc(file_) : EOF;
  while (c != EOF && isspace(c) != 0) c = getc(file_);
  for (; c != EOF && isspace(c) == 0; c = getc(file_)) {
    if (length + 1 < buffer.size()) buffer[length++] = static_cast<char>(c);
  }
  buffer[length] = '\0';
}

}  // namespace libsys::base
