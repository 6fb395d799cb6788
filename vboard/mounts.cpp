#include "vboard/mounts.h"

#include <errno.h>
#include <string.h>

#include <filesystem>
#include <iterator>

#include "vboard/board.h"
#include "vboard/device.h"
#include "vboard/files.h"

namespace vboard {
namespace {

// 0 and the folder below disks/ of what the source holds, or an errno value.
int FindContent(std::string_view source, std::string_view type, std::string *content) {
  for (const Device *device : Devices()) {
    if (!device->mounts || device->mounts->mount == nullptr) continue;
    const int error = device->mounts->mount(source, type, content);
    if (error >= 0) return error;
  }
  return ENOENT;
}

}  // namespace

const Mount *FindMount(std::string_view path) {
  const Mount *found = nullptr;
  for (const Mount &mount : State().mounts) {
    if (mount.point[0] == '\0' || !IsBelow(path, mount.point)) continue;
    if (found == nullptr || strlen(mount.point) >= strlen(found->point)) found = &mount;
  }
  return found;
}

int MountError(std::string_view path) {
  const Mount *mount = FindMount(path);
  return mount != nullptr ? mount->error : 0;
}

void LoseMounts(std::string_view content) {
  Lock lock;
  for (Mount &mount : State().mounts) {
    if (mount.point[0] != '\0' && content == mount.content) mount.error = EIO;
  }
}

int MountDevice(std::string_view source, std::string_view point, std::string_view type) {
  const OwnCalls ownCalls;
  std::string content;
  if (const int error = FindContent(source, type, &content)) return error;
  if (!std::filesystem::is_directory(PathOnBoard(point))) return ENOENT;
  Lock lock;
  for (Mount &mount : State().mounts) {
    if (mount.point[0] != '\0') continue;
    mount = {};
    Store(mount.source, source);
    Store(mount.type, type);
    Store(mount.content, content);
    Store(mount.point, point);
    return 0;
  }
  Event("mount: the board has room for %zu mounts", std::size(State().mounts));
  return ENOMEM;
}

int Unmount(std::string_view point) {
  Lock lock;
  // The mount that is on top goes first; later mounts stand in later places.
  for (size_t i = std::size(State().mounts); i-- > 0;) {
    Mount &mount = State().mounts[i];
    if (mount.point[0] == '\0' || point != mount.point) continue;
    mount = {};
    return 0;
  }
  return EINVAL;
}

}  // namespace vboard
