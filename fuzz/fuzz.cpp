#include "fuzz/fuzz.h"

#include <errno.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <sched.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <optional>
#include <vector>

#include "vboard/board.h"
#include "vboard/files.h"
#include "vboard/make.h"

namespace fuzz {
namespace {

struct File {
  int fd;
  bool exists = false;
};

// The files in memory, by path.
std::map<std::string, File, std::less<>> &Files() {
  static std::map<std::string, File, std::less<>> files;
  return files;
}

std::string Read(int fd, off_t size) {
  std::string content(static_cast<size_t>(size), '\0');
  Expect(pread(fd, content.data(), content.size(), 0) == size, "a file cannot be read");
  return content;
}

// Nothing for a path that is none of theirs, -1 for one that is not there. Of each file only one is
// open at a time.
std::optional<int> OpenInMemory(const char *path, int flags) {
  const auto found = Files().find(NormalPath(path));
  if (found == Files().end()) return std::nullopt;
  File &file = found->second;
  const bool makes = (flags & O_CREAT) != 0 && !file.exists;
  if (makes || (flags & O_TRUNC) != 0) file.exists = ftruncate(file.fd, 0) == 0;
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

std::vector<std::string> LinesOf(const std::string &text) {
  std::vector<std::string> lines;
  for (size_t at = 0; at < text.size(); at += lines.back().size() + 1) {
    lines.push_back(text.substr(at, text.find('\n', at) - at));
  }
  return lines;
}

// The product's lines: a star is any text, such as a message behind one that does not end its line.
void CheckMessages() {
  static const std::vector<std::string> messages =
      LinesOf(vboard::ReadFile(SOURCE_FOLDER "/fuzz/messages.txt"));
  for (const std::string &line : LinesOf(Printed())) {
    const bool known = std::any_of(messages.begin(), messages.end(), [&](const auto &message) {
      return fnmatch(message.c_str(), line.c_str(), FNM_NOESCAPE) == 0;
    });
    if (!known) Expect(false, ("this is no message of the product's: " + line).c_str());
  }
}

int LowestFree() {
  const int fd = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
  close(fd);
  return fd;
}

void Run(std::string_view bytes) {
  fflush(stdout);
  lseek(STDOUT_FILENO, 0, SEEK_SET);
  for (auto &[path, file] : Files()) file.exists = false;
  const int free = LowestFree();
  Input input(bytes);
  Try(input);
  CheckMessages();
  // The fuzzer's own threads have some open now and then.
  for (int looks = 0; LowestFree() > free; ++looks) {
    Expect(looks < 1000, "a descriptor was left open");
    sched_yield();
  }
}

}  // namespace

uint8_t Input::Byte() {
  const std::string byte = Take(1);
  return byte.empty() ? uint8_t{0} : static_cast<uint8_t>(byte[0]);
}

std::string Input::Take(size_t most) {
  std::string taken(rest_.substr(0, most));
  rest_.remove_prefix(taken.size());
  return taken;
}

std::string Input::Text(size_t most) {
  std::string text = Take(std::min(most, rest_.find('\0')));
  if (rest_.starts_with('\0')) Take(1);
  return text;
}

std::string Input::Line(size_t most) {
  std::string text = Text(most);
  std::replace(text.begin(), text.end(), '\n', ' ');
  return text;
}

std::string Input::Word(size_t most) {
  constexpr const char *kCharacters =
      "0123456789.abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ_-";
  std::string text = Text(most);
  for (char &c : text) c = kCharacters[c & 63];
  return text;
}

std::string NormalPath(std::string path) {
  for (size_t at; (at = path.find("//")) != path.npos;) path.erase(at, 1);
  if (path.size() > 1 && path.ends_with('/')) path.pop_back();
  return path;
}

std::string Printed() {
  fflush(stdout);
  return Read(STDOUT_FILENO, lseek(STDOUT_FILENO, 0, SEEK_CUR));
}

size_t Count(std::string_view text, std::string_view part) {
  size_t count = 0;
  for (size_t at = 0; (at = text.find(part, at)) != text.npos; at += part.size()) ++count;
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

void BoardFile::Put(std::string_view content) const {
  const auto size = static_cast<ssize_t>(content.size());
  Expect(ftruncate(fd_, size) == 0 && pwrite(fd_, content.data(), content.size(), 0) == size,
         "a file cannot be written");
  lseek(fd_, 0, SEEK_SET);
  Files()[path_].exists = true;
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
  return Read(fd_, lseek(fd_, 0, SEEK_END));
}

}  // namespace fuzz

extern "C" {

// What the product calls where it calls open and fopen.
int __real_open64(const char *path, int flags, ...);
int __wrap_open64(const char *path, int flags, ...) {
  if (const auto fd = fuzz::OpenInMemory(path, flags)) return *fd;
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return __real_open64(path, flags, mode);
}

FILE *__real_fopen64(const char *path, const char *mode);
FILE *__wrap_fopen64(const char *path, const char *mode) {
  const auto fd = fuzz::OpenInMemory(path, mode[0] == 'w' ? O_CREAT | O_TRUNC : 0);
  if (!fd) return __real_fopen64(path, mode);
  return *fd >= 0 ? fdopen(*fd, mode) : nullptr;
}

// The program's text goes into memory; the fuzzer's own goes to standard error.
int LLVMFuzzerInitialize(int *, char ***) {
  const int output = memfd_create("output", MFD_CLOEXEC);
  fuzz::Expect(dup2(output, STDOUT_FILENO) == STDOUT_FILENO, "no standard output");
  close(output);
  fuzz::CheckMessages();
  fuzz::AttachToBoard();
  fuzz::Input nothing("");
  fuzz::Try(nothing);
  return 0;
}

// Short contexts: what allocates most is the board.
const char *__asan_default_options() {
  return "malloc_context_size=2:quarantine_size_mb=8";
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::Run({reinterpret_cast<const char *>(data), size});
  return 0;
}

}  // extern "C"
