// The board's plain files and folders: what its root file system holds besides the devices.
#include <stdexcept>

#include "vboard/description.h"
#include "vboard/device.h"
#include "vboard/files.h"

namespace vboard {
namespace {

// Folders that the root file system of every board has.
constexpr const char *kFolders[] = {"/opt/app/", "/opt/custom/", "/opt/sav/", "/mnt/mtd/",
                                    "/share/",   "/tool/",       "/var/"};

void Make(Section &section) {
  for (const char *folder : kFolders) WriteFile(RootPath(folder), "");
  for (const auto &[name, text] : section.Pairs("root")) {
    if (!name.starts_with('/') || !BelongsToBoard(name)) {
      section.Fail("root", "has '" + name + "', which is no path of the board");
    }
    WriteFile(RootPath(name), text);
  }
}

constexpr const char *kPaths[] = {"/opt",        "/mnt/mtd", "/share",       "/tool",
                                  "/var/Vantor", "/sbin",    "/proc/bus/pci"};

}  // namespace

extern const Device kFiles;
const Device kFiles = {.name = "files", .paths = kPaths, .make = Make};

}  // namespace vboard
