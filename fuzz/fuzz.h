// What the fuzz targets have in common. A target is a program: the fuzzer calls Try with one input
// after the other, and what is wrong ends the program. Its process is a program on a virtual board,
// whose text files are in memory here: a target opens tens of thousands a second.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <string_view>

namespace fuzz {

// An input, taken from its front. What is missing at its end reads as zeros.
class Input {
 public:
  explicit Input(std::string_view bytes) : rest_(bytes) {}
  bool IsEmpty() const { return rest_.empty(); }
  uint8_t Byte();
  // From 0 to one below the limit.
  int32_t Below(int32_t limit) { return Byte() % limit; }
  template <typename Number>
  Number Get() {
    uint64_t number = 0;
    for (size_t i = 0; i < sizeof(Number); ++i) number = number << 8 | Byte();
    return static_cast<Number>(number);
  }
  // So many bytes, fewer at the end.
  std::string Take(size_t most);
  std::string Rest() { return Take(SIZE_MAX); }
  // The text up to the next zero byte, at most so many characters.
  std::string Text(size_t most);
  // One without line feeds, which may be printed.
  std::string Line(size_t most);
  // One of printable characters without blanks, which no file's grammar gives a meaning.
  std::string Word(size_t most);

 private:
  std::string_view rest_;
};

// What a target consists of. What it keeps open, it opens when it is first called, with an empty
// input.
void Try(Input &input);

// A file of the board, which is not there until an input puts it or has it made.
class BoardFile {
 public:
  explicit BoardFile(const std::string &path);
  void Put(std::string_view content) const;
  void Remove() const;
  void Rename(const std::string &path);
  std::string Content() const;
  int Descriptor() const { return fd_; }

 private:
  std::string path_;
  int fd_;
};

// A path without double slashes and without one at its end.
std::string NormalPath(std::string path);

size_t Count(std::string_view text, std::string_view part);

// What the input has had printed so far.
std::string Printed();

// Ends the program where something does not hold.
void Expect(bool holds, const char *what);

// Whether there is a zero byte in a field.
template <typename Field>
bool IsTerminated(const Field &field) {
  return std::string_view(std::data(field), std::size(field)).find('\0') != std::string_view::npos;
}

// The same, and nothing but zeros from there on.
template <typename Field>
bool IsPadded(const Field &field) {
  const std::string_view text(std::data(field), std::size(field));
  return IsTerminated(field) && text.find_first_not_of('\0', text.find('\0')) == text.npos;
}

}  // namespace fuzz
