#include "campaign/pristine.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <stdexcept>
#include <utility>

namespace campaign {
namespace {

// Mapped by every program, and so always changed.
constexpr char kState[] = "/state";
// Put there by the first start of a program, and the same at each.
constexpr char kLibrary[] = "/libvboard.so";

[[noreturn]] void Fail(const std::string &path) {
  throw std::runtime_error(path + ": " + strerror(errno));
}

bool IsSame(const struct stat &one, const struct stat &other) {
  return one.st_ino == other.st_ino && one.st_mode == other.st_mode &&
         one.st_ctim.tv_sec == other.st_ctim.tv_sec && one.st_ctim.tv_nsec == other.st_ctim.tv_nsec;
}

struct Descriptor {
  explicit Descriptor(int number) : fd(number) {}
  ~Descriptor() { close(fd); }
  Descriptor(const Descriptor &) = delete;
  Descriptor &operator=(const Descriptor &) = delete;
  int fd;
};

void CopyPart(int from, int to, off_t at, off_t end) {
  static std::array<char, size_t{256} << 10> part;
  while (at < end) {
    const auto length = std::min(part.size(), static_cast<size_t>(end - at));
    const ssize_t got = pread(from, part.data(), length, at);
    if (got <= 0 || pwrite(to, part.data(), static_cast<size_t>(got), at) != got)
      Fail("a board's file");
    at += got;
  }
}

// A board's memory is a file of holes.
void CopyFile(const std::string &from, const std::string &to, const struct stat &status) {
  const Descriptor source(open(from.c_str(), O_RDONLY | O_CLOEXEC));
  const Descriptor target(open(to.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
  if (source.fd < 0) Fail(from);
  if (target.fd < 0 || ftruncate(target.fd, 0) != 0 || ftruncate(target.fd, status.st_size) != 0) {
    Fail(to);
  }
  for (off_t at = 0; (at = lseek(source.fd, at, SEEK_DATA)) >= 0;) {
    const off_t end = lseek(source.fd, at, SEEK_HOLE);
    CopyPart(source.fd, target.fd, at, end);
    at = end;
  }
  fchmod(target.fd, status.st_mode & 07777);
}

void CopyLink(const std::string &from, const std::string &to) {
  std::filesystem::create_symlink(std::filesystem::read_symlink(from), to);
}

}  // namespace

Pristine::Pristine(std::string original, std::string copy)
    : original_(std::move(original)), copy_(std::move(copy)) {
  std::filesystem::create_directories(copy_);
  for (const auto &found : std::filesystem::recursive_directory_iterator(original_)) {
    const std::string name = found.path().string().substr(original_.size());
    Entry &entry = entries_[name];
    if (lstat(found.path().c_str(), &entry.original) != 0) Fail(found.path());
  }
  for (auto &[name, entry] : entries_) Copy(name, entry);
}

void Pristine::Copy(const std::string &name, Entry &entry) {
  const std::string from = original_ + name, to = copy_ + name;
  const mode_t mode = entry.original.st_mode;
  if (!S_ISREG(mode) || (lstat(to.c_str(), &entry.copied) == 0 && !S_ISREG(entry.copied.st_mode))) {
    std::filesystem::remove_all(to);
  }
  if (S_ISDIR(mode)) {
    std::filesystem::create_directory(to);
    chmod(to.c_str(), mode & 07777);
  } else if (S_ISLNK(mode)) {
    CopyLink(from, to);
  } else if (S_ISFIFO(mode)) {
    mkfifo(to.c_str(), mode & 07777);
  } else {
    CopyFile(from, to, entry.original);
  }
  if (lstat(to.c_str(), &entry.copied) != 0) Fail(to);
}

// Removes what is new, and notes what is there.
void Pristine::Look(const std::string &folder) {
  DIR *const listing = opendir((copy_ + folder).c_str());
  if (listing == nullptr) return;
  while (const dirent *found = readdir(listing)) {
    if (strcmp(found->d_name, ".") == 0 || strcmp(found->d_name, "..") == 0) continue;
    const std::string name = folder + "/" + found->d_name;
    const auto entry = entries_.find(name);
    if (entry == entries_.end()) {
      if (name != kLibrary) std::filesystem::remove_all(copy_ + name);
      continue;
    }
    entry->second.seen = true;
    if (S_ISDIR(entry->second.original.st_mode)) Look(name);
  }
  closedir(listing);
}

bool Pristine::HasChanged(const std::string &name) const {
  struct stat status;
  const auto entry = entries_.find(name);
  return entry == entries_.end() || lstat((copy_ + name).c_str(), &status) != 0 ||
         !IsSame(status, entry->second.copied);
}

void Pristine::Restore() {
  for (auto &[name, entry] : entries_) entry.seen = false;
  Look("");
  for (auto &[name, entry] : entries_) {
    struct stat status;
    const std::string path = copy_ + name;
    const bool isFolder = S_ISDIR(entry.original.st_mode);
    const bool same =
        entry.seen && lstat(path.c_str(), &status) == 0 &&
        (isFolder ? status.st_mode == entry.copied.st_mode : IsSame(status, entry.copied));
    if (!same || name == kState) Copy(name, entry);
  }
}

}  // namespace campaign
