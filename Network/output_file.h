// A text file for one of the system's daemons, made anew.
#pragma once

#include <stddef.h>
#include <stdio.h>

#include <span>

namespace libsys::network {

enum class Readers { kAll, kOwner };

// A character that the reader of a file takes as its own, and how it is written to be the text's.
struct Escape {
  char special;
  const char *written;
};

class OutputFile {
 public:
  // With kOwner the file holds a password: nobody else may read it, also when it was there
  // before with other rights.
  explicit OutputFile(const char *path, Readers readers = Readers::kAll);
  OutputFile(const OutputFile &) = delete;
  OutputFile &operator=(const OutputFile &) = delete;
  ~OutputFile() {
    if (file_ != nullptr) fclose(file_);
  }

  explicit operator bool() const { return file_ != nullptr; }

  // Writes a text that holds no line feed of a caller's making: see LineLength.
  [[gnu::format(printf, 2, 3)]] void Print(const char *format, ...);

  // Writes a field of so many bytes as far as LineLength goes.
  void PrintEscaped(const char *field, size_t size, std::span<const Escape> escapes);

 private:
  FILE *file_;
};

}  // namespace libsys::network
