#include "boardctl/partition_use.h"

#include <dirent.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <string_view>

#include "boardctl/text_file.h"

namespace boardctl {
namespace {

using std::string_view;

// Returns what the text has before the first such character.
string_view Before(char end, string_view text) {
  return {text.data(), std::min(text.find(end), text.size())};
}

struct Partition {
  string_view number;  // N of /dev/mtdN
  string_view name;
};

// The library numbers its rows like the devices, and has the names in quotes.
Partition Describe(const MtdPartition &partition) {
  string_view name = partition.name;
  if (name.starts_with('"')) name.remove_prefix(1);
  return {strpbrk(partition.path, "0123456789"), Before('"', name)};
}

bool IsJoined(string_view word, string_view first, string_view second) {
  if (!word.starts_with(first)) return false;
  word.remove_prefix(first.size());
  return word == second;
}

// The mount command and the kernel know several spellings for the device of a partition.
bool IsDevice(string_view word, const Partition &partition) {
  static constexpr string_view kBeforeNumber[] = {
      "/dev/mtdblock", "/dev/mtdblock/", "/dev/mtd", "/dev/mtd/", "mtdblock", "mtd", "31:"};
  for (const string_view prefix : kBeforeNumber) {
    if (IsJoined(word, prefix, partition.number)) return true;
  }
  char majorMinor[8];  // as in root=1f02
  snprintf(majorMinor, sizeof majorMinor, "1f%02x",
           static_cast<unsigned>(strtoul(partition.number.data(), nullptr, 10)));
  return word == majorMinor || IsJoined(word, "mtd:", partition.name);
}

// "ubi.mtd=rootfs,2048" takes the number or the name alone.
bool IsParameter(string_view word, const Partition &partition) {
  const string_view key = Before('=', word);
  if (key.size() == word.size()) return false;
  word.remove_prefix(key.size() + 1);
  const string_view value = Before(',', word);
  const bool bare = key == "ubi.mtd" || key == "mtdoops.mtddev";
  return IsDevice(value, partition) ||
         (bare && (value == partition.number || value == partition.name));
}

bool IsOnCommandLine(const Partition &partition, char *by, size_t size) {
  TextFile file("/proc/cmdline");
  char line[4096];
  if (!file.ReadLine(line)) return snprintf(by, size, "/proc/cmdline cannot be read") > 0;
  char *rest = nullptr;
  for (char *word = strtok_r(line, " ", &rest); word != nullptr;
       word = strtok_r(nullptr, " ", &rest)) {
    if (IsParameter(word, partition)) return snprintf(by, size, "%s", word) > 0;
  }
  return false;
}

bool IsMounted(const Partition &partition, char *by, size_t size) {
  TextFile file("/proc/mounts");
  char line[512], source[128], point[128];
  while (file.ReadLine(line)) {
    if (sscanf(line, "%127s %127s", source, point) != 2) continue;
    if (IsDevice(source, partition)) return snprintf(by, size, "mounted on %s", point) > 0;
  }
  return (!file || file.Failed()) && snprintf(by, size, "/proc/mounts cannot be read") > 0;
}

bool Holds(const char *ubiDevice, const Partition &partition) {
  char path[320], number[16];
  snprintf(path, sizeof path, "/sys/class/ubi/%s/mtd_num", ubiDevice);
  return TextFile(path).ReadLine(number) && number == partition.number;
}

// A UBI device that was attached by hand is named on no command line.
bool IsAttached(const Partition &partition, char *by, size_t size) {
  DIR *devices = opendir("/sys/class/ubi");
  if (devices == nullptr && errno == ENOENT) return false;  // this kernel has no UBI
  if (devices == nullptr) return snprintf(by, size, "/sys/class/ubi cannot be read") > 0;
  bool attached = false;
  for (const dirent *each = readdir(devices); each != nullptr && !attached;
       each = readdir(devices)) {
    attached = string_view(each->d_name).starts_with("ubi") && Holds(each->d_name, partition);
    if (attached) snprintf(by, size, "attached as %s", each->d_name);
  }
  closedir(devices);
  return attached;
}

}  // namespace

bool IsPartitionInUse(const MtdPartition &partition, char *by, size_t size) {
  const Partition description = Describe(partition);
  return IsMounted(description, by, size) || IsOnCommandLine(description, by, size) ||
         IsAttached(description, by, size);
}

}  // namespace boardctl
