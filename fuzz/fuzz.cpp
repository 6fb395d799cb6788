#include "fuzz/fuzz.h"

#include <errno.h>
#include <fcntl.h>
#include <sched.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <optional>

#include "vboard/board.h"
#include "vboard/files.h"
#include "vboard/make.h"

namespace fuzz {
namespace {

constexpr size_t kMostOutput = 1 << 20;

const char *output = nullptr;  // what standard output holds

// The program's text goes into memory; the fuzzer's own goes to standard error.
void CatchOutput() {
  const int fd = memfd_create("output", MFD_CLOEXEC);
  Expect(ftruncate(fd, kMostOutput) == 0 && dup2(fd, STDOUT_FILENO) >= 0, "no standard output");
  void *const memory = mmap(nullptr, kMostOutput, PROT_READ, MAP_SHARED, STDOUT_FILENO, 0);
  Expect(memory != MAP_FAILED, "no memory for standard output");
  close(fd);
  output = static_cast<const char *>(memory);
}

int LowestFree() {
  const int fd = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
  close(fd);
  return fd;
}

struct File {
  int fd;
  bool exists = false;
};

// The files in memory, by path.
std::map<std::string, File, std::less<>> &Files() {
  static std::map<std::string, File, std::less<>> files;
  return files;
}

enum class Way { kRead, kMake, kEmpty };

// Nothing for a path that is none of theirs, -1 for one that is not there. Of each file only one is
// open at a time.
std::optional<int> OpenInMemory(const char *path, Way way) {
  const auto found = Files().find(NormalPath(path));
  if (found == Files().end()) return std::nullopt;
  File &file = found->second;
  if (way == Way::kEmpty || (way == Way::kMake && !file.exists)) {
    file.exists = ftruncate(file.fd, 0) == 0;
  }
  errno = ENOENT;
  if (!file.exists) return -1;
  lseek(file.fd, 0, SEEK_SET);
  return fcntl(file.fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
}

// What no target puts into memory is the board's. The events of millions of inputs are kept
// nowhere.
void AttachToBoard() {
  static const vboard::TemporaryFolder folder;
  const std::string file = folder.path() + "/board.toml", board = folder.path() + "/board";
  vboard::WriteFile(file, "summary = \"for fuzz targets\"\n");
  vboard::MakeBoard(file, board, folder.path());
  vboard::PowerOn();
  std::filesystem::remove(board + "/events");
  std::filesystem::create_symlink("/dev/null", board + "/events");
  vboard::Attach(board);
}

bool AreMessages(std::string_view text);

size_t DigitsOf(std::string_view text, bool hexadecimal) {
  const char *digits = hexadecimal ? "0123456789abcdef" : "0123456789";
  return std::min(text.find_first_not_of(digits), text.size());
}

// Whether the text is what is left of a message, and further messages behind it.
bool Fits(std::string_view text, const char *pattern) {
  for (; *pattern != '\0' && *pattern != '%'; ++pattern) {
    if (text.empty() || text[0] != *pattern) return false;
    text.remove_prefix(1);
  }
  if (*pattern == '\0') return AreMessages(text);
  pattern += 1 + strspn(pattern + 1, "-.0123456789l");
  const char *const rest = pattern + 1;
  if (*pattern == '%') return text.starts_with('%') && Fits(text.substr(1), rest);
  if (*pattern == 'c') return !text.empty() && Fits(text.substr(1), rest);
  if (*pattern == 's') {
    const size_t line = std::min(text.find('\n'), text.size());
    for (size_t length = 0; length <= line; ++length) {
      if (Fits(text.substr(length), rest)) return true;
    }
    return false;
  }
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  if (*pattern == 'd' && text.starts_with('-')) text.remove_prefix(1);
  const size_t digits = DigitsOf(text, *pattern == 'x');
  return digits > 0 && Fits(text.substr(digits), rest);
}

bool AreMessages(std::string_view text) {
  return text.empty() || std::any_of(kMessages.begin(), kMessages.end(),
                                     [&](const char *message) { return Fits(text, message); });
}

void Initialise() {
  CatchOutput();
  AttachToBoard();
  Input nothing({});
  Try(nothing);
}

void Run(Bytes bytes) {
  fflush(stdout);
  lseek(STDOUT_FILENO, 0, SEEK_SET);
  const int free = LowestFree();
  Input input(bytes);
  Try(input);
  if (!AreMessages(Printed())) {
    fprintf(stderr, "%.*s", static_cast<int>(Printed().size()), Printed().data());
    Expect(false, "this is no message of the product's");
  }
  // The fuzzer's own threads have some open now and then.
  for (int looks = 0; LowestFree() > free; ++looks) {
    Expect(looks < 1000, "a descriptor was left open");
    sched_yield();
  }
}

}  // namespace

uint8_t Input::Byte() {
  const Bytes byte = Take(1);
  return byte.empty() ? uint8_t{0} : byte[0];
}

Bytes Input::Take(size_t most) {
  const Bytes taken = rest_.first(std::min(most, rest_.size()));
  rest_ = rest_.subspan(taken.size());
  return taken;
}

std::string Input::Text(size_t most) {
  const auto end = std::find(rest_.begin(), rest_.end(), 0);
  std::string text(TextOf(Take(std::min(most, static_cast<size_t>(end - rest_.begin())))));
  if (!rest_.empty() && rest_[0] == 0) Take(1);
  return text;
}

std::string Input::Line(size_t most) {
  std::string text = Text(most);
  std::replace(text.begin(), text.end(), '\n', ' ');
  return text;
}

std::string Input::Word(size_t most) {
  std::string text = Text(most);
  for (char &c : text)
    c = "0123456789.abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ_-"[c & 63];
  return text;
}

std::string_view TextOf(Bytes bytes) {
  return {reinterpret_cast<const char *>(bytes.data()), bytes.size()};
}

std::string NormalPath(std::string path) {
  for (size_t at; (at = path.find("//")) != path.npos;) path.erase(at, 1);
  if (path.size() > 1 && path.ends_with('/')) path.pop_back();
  return path;
}

std::string_view Printed() {
  fflush(stdout);
  const off_t length = lseek(STDOUT_FILENO, 0, SEEK_CUR);
  Expect(length >= 0 && static_cast<size_t>(length) <= kMostOutput, "too much output");
  return {output, static_cast<size_t>(length)};
}

size_t CountPrinted(std::string_view text) {
  const std::string_view printed = Printed();
  size_t count = 0;
  for (size_t at = 0; (at = printed.find(text, at)) != printed.npos; at += text.size()) ++count;
  return count;
}

void Expect(bool holds, const char *what) {
  if (holds) return;
  fprintf(stderr, "fuzz: %s\n", what);
  abort();
}

BoardFile::BoardFile(const std::string &path)
    : path_(path), fd_(memfd_create(path.c_str(), MFD_CLOEXEC)) {
  Expect(fd_ >= 0, "no memory for a file");
  Files()[path_] = {fd_};
}

void BoardFile::Make() const {
  Files()[path_].exists = true;
}

void BoardFile::Put(Bytes content) const {
  const auto size = static_cast<ssize_t>(content.size());
  Expect(ftruncate(fd_, size) == 0 && pwrite(fd_, content.data(), content.size(), 0) == size,
         "a file cannot be written");
  lseek(fd_, 0, SEEK_SET);
  Make();
}

void BoardFile::Put(std::string_view content) const {
  Put(Bytes(reinterpret_cast<const uint8_t *>(content.data()), content.size()));
}

void BoardFile::Remove() const {
  Files()[path_].exists = false;
}

void BoardFile::Rename(const std::string &path) {
  Files().erase(path_);
  path_ = path;
  Files()[path_] = {fd_};
}

std::string BoardFile::Content() const {
  std::string content(static_cast<size_t>(lseek(fd_, 0, SEEK_END)), '\0');
  const ssize_t size = pread(fd_, content.data(), content.size(), 0);
  Expect(size == static_cast<ssize_t>(content.size()), "a file cannot be read");
  return content;
}

}  // namespace fuzz

// What the product calls where it calls open and fopen.
extern "C" {

int __real_open64(const char *path, int flags, ...);
int __wrap_open64(const char *path, int flags, ...) {
  const auto way = (flags & O_CREAT) != 0 ? fuzz::Way::kMake : fuzz::Way::kRead;
  if (const auto fd = fuzz::OpenInMemory(path, way)) return *fd;
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return __real_open64(path, flags, mode);
}

FILE *__real_fopen64(const char *path, const char *mode);
FILE *__wrap_fopen64(const char *path, const char *mode) {
  const auto fd = fuzz::OpenInMemory(path, mode[0] == 'w' ? fuzz::Way::kEmpty : fuzz::Way::kRead);
  if (!fd) return __real_fopen64(path, mode);
  return *fd >= 0 ? fdopen(*fd, mode) : nullptr;
}

}  // extern "C"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  fuzz::Initialise();
  return 0;
}

// Short contexts: what allocates most is the board.
extern "C" const char *__asan_default_options() {
  return "malloc_context_size=2:quarantine_size_mb=8";
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::Run({data, size});
  return 0;
}
