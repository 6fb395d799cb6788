// The board's plain files and folders: what its root file system holds besides the devices.
#include <stdexcept>

#include "vboard/board.h"
#include "vboard/description.h"
#include "vboard/device.h"
#include "vboard/files.h"

namespace vboard {
namespace {

// Folders that the root file system of every board has.
constexpr const char *kFolders[] = {"/opt/app/", "/opt/custom/", "/opt/sav/", "/mnt/mtd/",
                                    "/share/",   "/tool/",       "/var/"};

constexpr Key kKeys[] = {
    {"root", key::Pairs(),
     "files by their path on the board, with their content; a path that ends in / is a folder"},
};

void Make(Section &section) {
  for (const char *folder : kFolders) WriteFile(RootPath(folder), "");
  for (const auto &[name, text] : section.Pairs("root")) {
    if (!IsBoardPath(name)) section.FailAt("root", name, "is no path of the board");
    PutFile(section, "root", name, RootPath(name), text);
  }
}

// What the kernel tells about the mounts.
void WriteMounts() {
  std::string table = "rootfs / rootfs rw 0 0\n/dev/root / jffs2 rw,relatime 0 0\n";
  const Lock lock;
  for (const Mount &mount : State().mounts) {
    if (mount.point[0] == '\0') continue;
    table +=
        std::string(mount.source) + " " + mount.point + " " + mount.type + " rw,relatime 0 0\n";
  }
  WriteFile(RootPath("/proc/mounts"), table);
}

constexpr const char *kPaths[] = {"/opt",        "/mnt/mtd", "/share",        "/tool",
                                  "/var/Vantor", "/sbin",    "/proc/bus/pci", "/proc/mounts"};

}  // namespace

extern const Device kFiles;
const Device kFiles = {
    .name = "files",
    .about = "what the root file system holds besides the devices",
    .keys = kKeys,
    .paths = kPaths,
    .make = Make,
    .powerOn = WriteMounts,
    .mounts = MountCalls{.remounted = WriteMounts},
};

}  // namespace vboard
