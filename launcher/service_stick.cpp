// The service capture: console output goes to a file on a USB stick.
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/mount.h>
#include <unistd.h>

#include "launcher/launcher.h"
#include "libsys/disk.h"
#include "libsys/network.h"
#include "libsys/version.h"

namespace launcher {
namespace {

constexpr const char *kMountPoint = "/share";
constexpr const char *kCapture = "/share/printf.txt";

// The addresses of eth0, in text; empty where they are not known.
struct Addresses {
  char address[32];
  char netmask[32];
  char gateway[32];
};

const DiskInfo *FindStick() {
  DiskInfo *disks = nullptr;
  const int32_t count = DiskEnumerate(&disks);
  const int32_t internalPorts = DvrGetHwidInformation(DISK_NUM);
  for (int32_t i = 0; i < count; ++i) {
    const DiskInfo &disk = disks[i];
    if (disk.host >= internalPorts && disk.kind == DISK_KIND_DISK &&
        disk.diskClass == DISK_CLASS_EXTERNAL) {
      return &disk;
    }
  }
  return nullptr;
}

// Its first partition, or the whole stick where there is none.
void NameDevice(const DiskInfo &stick, char (&device)[32]) {
  const int length = snprintf(device, sizeof device, "/dev/sd%c", static_cast<int>(stick.letter));
  if (stick.partitionCount > 0) {
    snprintf(device + length, sizeof device - static_cast<size_t>(length), "%d",
             stick.partitions[0].number);
  }
}

bool Mount(const char *device) {
  if (mount(device, kMountPoint, "vfat", MS_SYNCHRONOUS, "usefree,codepage=936,iocharset=gb2312") >=
      0) {
    return true;
  }
  puts("mount usb device failed");
  return false;
}

int OpenCapture(int flags) {
  const int fd = open(kCapture, O_RDWR | O_CLOEXEC | flags, 0644);
  if (fd < 0) puts("open /share/printf.txt failed");
  return fd;
}

Addresses ReadAddresses() {
  Addresses eth0 = {};
  if (NetWorkGetDefaultAddress("eth0", eth0.address, sizeof eth0.address, eth0.netmask,
                               sizeof eth0.netmask) != 0) {
    puts("Utils : Get Ip Or Netmask Failed");
  }
  if (NetWorkGetDefaultGateway("eth0", eth0.gateway, sizeof eth0.gateway) != 0) {
    puts("Utils : Get Gateway Failed");
  }
  return eth0;
}

// Begins the capture with the network line. Its NUL byte goes into the file on purpose.
void WriteNetworkLine(int fd) {
  const Addresses eth0 = ReadAddresses();
  char line[160];
  snprintf(line, sizeof line, "ip = %.31s, netmask = %.31s, gateway = %.31s\n", eth0.address,
           eth0.netmask, eth0.gateway);
  // A stick that is full or gone must not keep the recorder from starting.
  if (write(fd, line, strlen(line) + 1) < 0) return;
}

}  // namespace

void CaptureOnServiceStick() {
  const DiskInfo *stick = FindStick();
  if (stick == nullptr) return;
  umount(kMountPoint);
  char device[32];
  NameDevice(*stick, device);
  if (!Mount(device)) return;
  const int fd = OpenCapture(O_CREAT | O_TRUNC);
  if (fd < 0) return;
  WriteNetworkLine(fd);
  close(fd);
  // Mounting anew brings the line safely onto the stick.
  umount(kMountPoint);
  Mount(device);
  const int capture = OpenCapture(O_APPEND);
  // Without a capture both fail and the output stays on the console.
  dup2(capture, STDOUT_FILENO);
  dup2(capture, STDERR_FILENO);
  if (capture > STDERR_FILENO) close(capture);
}

}  // namespace launcher
