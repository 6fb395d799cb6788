#include "Base/text_file.h"

namespace base {

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

}  // namespace base
