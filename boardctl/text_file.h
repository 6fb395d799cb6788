// The kernel's lists are read line by line into buffers of a fixed size.
#pragma once

#include <stdio.h>

#include <span>

namespace boardctl {

// The file is open for reading until the object goes out of scope; one that does not open has no
// lines.
class TextFile {
 public:
  explicit TextFile(const char *path) : file_(fopen(path, "re")) {}
  TextFile(const TextFile &) = delete;
  TextFile &operator=(const TextFile &) = delete;
  ~TextFile() {
    if (file_ != nullptr) fclose(file_);
  }

  explicit operator bool() const { return file_ != nullptr; }

  // Reads the next line, without its line feed; what does not fit the buffer is dropped. Returns
  // false when there is none.
  bool ReadLine(std::span<char> buffer);

  // Whether a line was the last because the next one could not be read.
  bool Failed() const { return file_ != nullptr && ferror(file_) != 0; }

 private:
  FILE *file_;
};

}  // namespace boardctl
