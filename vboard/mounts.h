// What is mounted on the board.
#pragma once

#include <string_view>

namespace vboard {

struct Mount;

// The mount that this path is on; null for one of the root file system.
const Mount *FindMount(std::string_view path);

// The errno value of every call on this path where what is mounted there has gone; else 0.
int MountError(std::string_view path);
// What is mounted with this content goes: a disk that somebody pulled.
void LoseMounts(std::string_view content);

// Mounts and unmounts as the system calls do: 0 or an errno value.
int MountDevice(std::string_view source, std::string_view point, std::string_view type);
int Unmount(std::string_view point);

}  // namespace vboard
