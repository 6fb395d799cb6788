// Reading text files line by line into buffers of a fixed size.
#pragma once

#include <span>

#include <stdio.h>

#include "Base/standard_descriptors.h"

namespace libsys::base {

// A text file open for reading; closed when it goes out of scope.
class TextFile {
 public:
  explicit TextFile(const char *path) : file_(OpenFile(path, "re")) {}
  TextFile(const TextFile &) = delete;
  TextFile &operator=(const TextFile &) = delete;
  ~TextFile() {
    if (file_ != nullptr) fclose(file_);
  }

  explicit operator bool() const { return file_ != nullptr; }

  // Reads up to the next line feed, at most the buffer's size less one, and terminates the
  // text; the rest of a longer line is what the next call returns. False at the end.
  bool ReadPiece(std::span<char> buffer);

  // Reads one whole line, without its line feed; what does not fit the buffer is dropped.
  bool ReadLine(std::span<char> buffer);

  // Reads the next word, wherever it stands, and terminates it; what does not fit the buffer is
  // dropped. The word is empty at the end.
  void ReadWord(std::span<char> buffer);

 private:
  FILE *file_;
};

}  // namespace libsys::base
