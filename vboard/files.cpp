#include "vboard/files.h"

#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "vboard/board.h"
#include "vboard/description.h"
#include "vboard/device.h"
#include "vboard/mounts.h"
#include "vboard/real.h"

namespace vboard {
namespace {

constexpr std::string_view kDisks = "/disks/";

// What stays the PC's own below /dev.
constexpr const char *kOwnDevices[] = {
    "/dev/null", "/dev/zero", "/dev/full",  "/dev/random", "/dev/urandom", "/dev/tty", "/dev/pts",
    "/dev/ptmx", "/dev/shm",  "/dev/stdin", "/dev/stdout", "/dev/stderr",  "/dev/fd",
};

}  // namespace

bool IsBelow(std::string_view path, std::string_view prefix) {
  return path.starts_with(prefix) && (path.size() == prefix.size() || path[prefix.size()] == '/');
}

bool BelongsToBoard(std::string_view path) {
  if (IsBelow(path, "/dev")) {
    return std::none_of(std::begin(kOwnDevices), std::end(kOwnDevices),
                        [&](const char *own) { return IsBelow(path, own); });
  }
  for (const Device *device : Devices()) {
    for (const char *prefix : device->paths) {
      if (IsBelow(path, prefix)) return true;
    }
  }
  return false;
}

std::string RootPath(std::string_view path) {
  return Folder() + "/root" + std::string(path);
}

std::string PathOnBoard(std::string_view path) {
  const Mount *mount = FindMount(path);
  if (mount == nullptr) return RootPath(path);
  return Folder() + "/disks/" + mount->content + std::string(path.substr(strlen(mount->point)));
}

bool BoardPath(std::string_view place, std::span<char> path) {
  if (!IsBelow(place, Folder())) return false;
  place.remove_prefix(Folder().size());
  const char *point = "";
  std::string_view above = "/root";
  if (place.starts_with(kDisks)) {
    place.remove_prefix(kDisks.size());
    const auto *mount = std::find_if(
        std::begin(State().mounts), std::end(State().mounts),
        [&](const Mount &one) { return one.point[0] != '\0' && IsBelow(place, one.content); });
    if (mount == std::end(State().mounts)) return false;
    point = mount->point;
    above = mount->content;
  } else if (!IsBelow(place, above)) {
    return false;
  }
  place.remove_prefix(above.size());
  const int length = snprintf(path.data(), path.size(), "%s%.*s", point,
                              static_cast<int>(place.size()), place.data());
  return length < static_cast<int>(path.size());
}

std::string BoardPath(std::string_view place) {
  char path[PATH_MAX];
  return BoardPath(place, path) ? path : "";
}

bool StaysBelow(std::string_view name) {
  if (name.ends_with('/')) name.remove_suffix(1);
  for (;;) {
    const size_t end = name.find('/');
    const std::string_view part = name.substr(0, end);
    if (part.empty() || part == "." || part == ".." || part.find('\0') != part.npos) return false;
    if (end == name.npos) return true;
    name.remove_prefix(end + 1);
  }
}

bool IsBoardPath(std::string_view path) {
  return path.starts_with('/') && StaysBelow(path.substr(1)) && BelongsToBoard(path);
}

void WriteFile(const std::string &path, std::string_view content) {
  const OwnCalls ownCalls;
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  if (path.ends_with('/')) return;
  // A link may lead to a file of the PC, and a FIFO waits for its reader.
  const auto there = std::filesystem::symlink_status(path);
  if (std::filesystem::exists(there) && !std::filesystem::is_regular_file(there)) {
    throw std::runtime_error(path + ": is there and no plain file");
  }
  std::ofstream file(path, std::ios::binary);
  file.write(content.data(), static_cast<std::streamsize>(content.size()));
  file.close();
  if (!file) throw std::runtime_error(path + ": cannot be written");
}

void PutFile(Section &section, const char *key, const std::string &name, const std::string &place,
             std::string_view content) {
  try {
    WriteFile(place, content);
  } catch (const std::exception &error) {
    section.FailAt(key, name, std::string("cannot be made: ") + error.what());
  }
}

void PutFiles(Section &section, const std::string &folder) {
  for (const auto &[name, text] : section.Pairs("files")) {
    if (!StaysBelow(name)) section.FailAt("files", name, "is no name of a file below here");
    PutFile(section, "files", name, folder + "/" + name, text);
  }
}

std::string ReadFile(const std::string &path) {
  const int fd = real::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return "";
  const int64_t size = std::max<int64_t>(real::seek(fd, 0, SEEK_END), 0);
  // The kernel's own files hold more than they say.
  std::string content(static_cast<size_t>(size) + 1, '\0');
  real::seek(fd, 0, SEEK_SET);
  size_t length = 0;
  for (ssize_t part;
       (part = real::read(fd, content.data() + length, content.size() - length)) > 0;) {
    length += static_cast<size_t>(part);
    if (length == content.size()) content.resize(length + 4096);
  }
  real::close(fd);
  content.resize(length);
  return content;
}

ssize_t FeedFifo(const std::string &path, const void *data, size_t length) {
  const int fd = real::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return -1;
  // A program that closes the FIFO now loses the bytes, and nobody gets a signal.
  const int own = real::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  const ssize_t written = own < 0 ? -1 : real::write(fd, data, length);
  real::close(own);
  real::close(fd);
  return written;
}

}  // namespace vboard
