// The kernel's tree of SCSI devices, and what the drives behind it answer.
#include <dirent.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <memory>
#include <set>
#include <vector>

#include "fuzz/fuzz.h"
#include "libsys/disk.h"

namespace fuzz {
namespace {

constexpr size_t kMostFiles = 40;

// A folder lists its entries in the order in which they came.
struct Listing {
  std::vector<std::string> names;
  size_t next = 0;
  dirent entry = {};
};

std::vector<std::string> paths;  // of files and, with / at their end, of folders
std::set<DIR *> listings;        // that are open
int32_t answer = 0;              // a drive's

DIR *List(const std::string &folder) {
  auto listing = std::make_unique<Listing>();
  std::vector<std::string> &names = listing->names;
  bool exists = false;
  for (const std::string &path : paths) {
    if (!path.starts_with(folder) || path[folder.size()] != '/') continue;
    exists = true;
    const size_t start = folder.size() + 1;
    const std::string name = path.substr(start, path.find('/', start) - start);
    if (!name.empty() && std::find(names.begin(), names.end(), name) == names.end()) {
      names.push_back(name);
    }
  }
  return exists ? *listings.insert(reinterpret_cast<DIR *>(listing.release())).first : nullptr;
}

// A path and a file's content, each ended by a zero byte; a path that ends in / is a folder, one
// that begins with . begins with the folder of the one before.
void MakeTree(Input &input) {
  static std::vector<BoardFile> files;
  while (files.size() < kMostFiles) files.emplace_back("");
  for (BoardFile &file : files) file.Rename("");
  paths.clear();
  std::string folder;
  for (BoardFile &file : files) {
    if (input.IsEmpty()) break;
    std::string path = input.Line(300);
    const std::string content = input.Text(40);
    if (path.starts_with(".")) path = folder + path.substr(1);
    folder = path.substr(0, path.rfind('/'));
    const bool isFolder = path.ends_with('/');
    path = NormalPath("/sys/bus/scsi/devices/" + path);
    paths.push_back(path + (isFolder ? "/" : ""));
    if (isFolder) continue;
    file.Rename(path);
    file.Put(content);
  }
}

void CheckDisk(const DiskInfo &disk, int32_t index) {
  Expect(disk.kind >= 0 && disk.kind <= DISK_KIND_OPTICAL, "the kind");
  const bool internal = disk.diskClass == DISK_CLASS_INTERNAL;
  Expect(internal || disk.diskClass == DISK_CLASS_EXTERNAL, "the class");
  Expect(disk.partitionCount >= 0 && disk.partitionCount <= DISK_MAX_PARTITIONS, "the partitions");
  Expect(disk.letter <= 255 && disk.genericNumber >= 0, "the numbers");
  for (int32_t i = 0; i < disk.partitionCount; ++i) {
    Expect(disk.partitions[i].size >= 3 && disk.partitions[i].number >= 0, "a partition");
  }
  std::vector<char> path(sizeof "/dev/sda", 'x');
  Expect(DiskGetPath(index, path.data(), sizeof "/dev/sda") == 0 && IsTerminated(path), "the path");
  Expect(DiskGetPath(index, path.data(), 8) == -1, "a path that is cut");
  Expect(strncmp(path.data(), disk.kind == DISK_KIND_OPTICAL ? "/dev/sr" : "/dev/sd", 7) == 0,
         "a node");
}

// Nothing but the first disk's drive answers.
void CheckDrive(int32_t count, int32_t minutes) {
  const bool valid = minutes >= 0 && minutes <= 330;
  char path[16];
  const bool isFirst = DiskGetPath(0, path, sizeof path) == 0 && strcmp(path, "/dev/sda") == 0;
  const int32_t expected = count > 0 && isFirst && valid ? answer : -1;
  Expect(DiskSetStandby(0, minutes) == expected, "the drive's answer");
  Expect(DiskSetStandby(count, 1) == -1 && DiskFlush(-1) == -1, "there is no such disk");
}

}  // namespace

void Try(Input &input) {
  static const BoardFile drive("/dev/sda");
  drive.Put("");
  const auto minutes = static_cast<int32_t>(input.Get<int16_t>());
  answer = input.Below(2) - 1;
  MakeTree(input);
  DiskInfo *table = nullptr;
  const int32_t count = DiskEnumerate(&table);
  Expect(count >= 0 && count <= DISK_MAX_DISKS && count == DiskGetCount(), "the count");
  for (int32_t i = 0; i < count; ++i) {
    Expect(i == 0 || table[i - 1].host < table[i].host, "in the order of the hosts");
    CheckDisk(table[i], i);
  }
  Expect(listings.empty(), "every folder is closed");
  CheckDrive(count, minutes);
}

}  // namespace fuzz

using fuzz::Listing;

extern "C" {

DIR *__real_opendir(const char *path);
DIR *__wrap_opendir(const char *path) {
  const std::string name = fuzz::NormalPath(path);
  if (!name.starts_with("/sys")) return __real_opendir(path);  // the fuzzer's own
  return fuzz::List(name);
}

dirent *__wrap_readdir64(DIR *folder) {
  auto &[names, next, entry] = *reinterpret_cast<Listing *>(folder);
  if (next == names.size()) return nullptr;
  snprintf(entry.d_name, sizeof entry.d_name, "%s", names[next++].c_str());
  return &entry;
}

int __real_closedir(DIR *folder);
int __wrap_closedir(DIR *folder) {
  if (fuzz::listings.erase(folder) == 0) return __real_closedir(folder);
  delete reinterpret_cast<Listing *>(folder);
  return 0;
}

int __wrap_ioctl(int, unsigned long, ...) {
  return fuzz::answer;
}

}  // extern "C"
