#include "vboard/program.h"

#include <elf.h>
#include <errno.h>
#include <fcntl.h>
#include <link.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <algorithm>

#include "vboard/real.h"

namespace vboard {
namespace {

constexpr int kMostInterpreters = 5;

class File {
 public:
  explicit File(const std::string &path)
      : fd_(real::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)),
        hidden_(fd_ < 0 && errno == EACCES) {}
  ~File() { real::close(fd_); }
  File(const File &) = delete;
  File &operator=(const File &) = delete;
  std::string Read(size_t length, uint64_t offset = 0) const {
    std::string bytes(length, '\0');
    const ssize_t count = real::pread(fd_, bytes.data(), length, static_cast<int64_t>(offset));
    bytes.resize(count > 0 ? static_cast<size_t>(count) : 0);
    return bytes;
  }
  template <typename Header>
  bool Read(Header *header, uint64_t offset) const {
    const std::string bytes = Read(sizeof *header, offset);
    if (bytes.size() == sizeof *header) memcpy(header, bytes.data(), sizeof *header);
    return bytes.size() == sizeof *header;
  }
  bool Hidden() const { return hidden_; }
  // Started by this user it has other rights than he: the loader then takes no library from him.
  bool GivesRights() const {
    struct stat status = {};
    if (fstat(fd_, &status) != 0) return false;
    const bool otherUser = (status.st_mode & S_ISUID) != 0 && status.st_uid != getuid();
    const bool otherGroup = (status.st_mode & S_ISGID) != 0 && status.st_gid != getgid();
    return otherUser || otherGroup ||
           (getuid() != 0 && fgetxattr(fd_, "security.capability", nullptr, 0) > 0);
  }

 private:
  int fd_;
  bool hidden_;
};

// The header of the file that this library was loaded from.
const ElfW(Ehdr) & OwnHeader() {
  Dl_info info;
  dladdr(reinterpret_cast<void *>(&FindProgram), &info);
  return *static_cast<const ElfW(Ehdr) *>(info.dli_fbase);
}

// Why the loader would not put the library in front of this program; empty when it does.
std::string Refusal(const File &file) {
  if (file.Hidden()) return "may not be read, so nobody knows whether it would run on the board";
  ElfW(Ehdr) header = {};
  if (!file.Read(&header, 0) || memcmp(header.e_ident, ELFMAG, SELFMAG) != 0) return "";
  if (header.e_ident[EI_CLASS] != OwnHeader().e_ident[EI_CLASS] ||
      header.e_machine != OwnHeader().e_machine) {
    return "is for another kind of processor than the board's library";
  }
  bool loaded = false;
  for (unsigned i = 0; i < header.e_phnum; ++i) {
    ElfW(Phdr) part = {};
    if (!file.Read(&part, header.e_phoff + uint64_t{i} * header.e_phentsize)) break;
    loaded = loaded || part.p_type == PT_INTERP;
  }
  if (!loaded) return "is statically linked";
  return file.GivesRights() ? "runs with other rights than its caller's" : "";
}

// The words of a script's first line: interpreter and, as one word, its argument.
std::vector<std::string> FirstLine(const File &file) {
  constexpr const char *kBlank = " \t";
  std::string line = file.Read(256);
  if (!line.starts_with("#!")) return {};
  line = line.substr(2, line.find('\n') - 2);
  line.erase(0, std::min(line.find_first_not_of(kBlank), line.size()));
  line.erase(line.find_last_not_of(kBlank) + 1);
  if (line.empty()) return {};
  const size_t end = std::min(line.find_first_of(kBlank), line.size());
  const size_t argument = line.find_first_not_of(kBlank, end);
  std::vector<std::string> words = {line.substr(0, end)};
  if (argument != std::string::npos) words.push_back(line.substr(argument));
  return words;
}

// The kernel asks this of a script too.
bool MayBeStarted(const std::string &place) {
  static constinit real::Next<int(const char *, int)> next("access");
  return next(place.c_str(), X_OK) == 0;
}

}  // namespace

Program FindProgram(const std::string &name, const std::string &place,
                    const std::function<std::string(const std::string &)> &placeOf) {
  Program program = {place, {}, ""};
  for (int i = 0; i < kMostInterpreters; ++i) {
    const File file(program.place);
    const std::vector<std::string> words = FirstLine(file);
    if (words.empty() || !MayBeStarted(program.place)) {
      program.refusal = Refusal(file);
      return program;
    }
    if (program.words.empty()) program.words = {name};
    program.words.insert(program.words.begin(), words.begin(), words.end());
    program.place = placeOf(words[0]);
  }
  program.refusal = "has too many interpreters";
  return program;
}

}  // namespace vboard
