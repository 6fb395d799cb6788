#include "vboard/panel/address.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <stdexcept>

#include "vboard/board.h"
#include "vboard/make.h"

namespace vboard::panel {
namespace {

constexpr size_t kTokenBytes = 16;

std::string DrawToken() {
  unsigned char bytes[kTokenBytes];
  if (getrandom(bytes, sizeof bytes, 0) != sizeof bytes) {
    throw std::runtime_error("no random numbers for the panel's token");
  }
  std::string token;
  for (const unsigned char byte : bytes) {
    char digits[3];
    snprintf(digits, sizeof digits, "%02x", byte);
    token += digits;
  }
  return token;
}

// The file of this user alone: a token that somebody else could have left is none.
int OpenFile(int flags) {
  const std::string path = Folder() + "/" + kPanelFile;
  const int fd = open(path.c_str(), flags | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600);
  struct stat status = {};
  if (fd < 0 || (fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == geteuid() &&
                 (status.st_mode & 077) == 0)) {
    return fd;
  }
  close(fd);
  return -1;
}

}  // namespace

Address AddressInFolder() {
  Address address;
  char text[64] = "", token[2 * kTokenBytes + 1] = "";
  if (const int fd = OpenFile(O_RDONLY); fd >= 0) {
    if (read(fd, text, sizeof text - 1) < 0) text[0] = '\0';
    close(fd);
  }
  const bool known = sscanf(text, "%5d %32[0-9a-f]", &address.port, token) == 2;
  address.token = token;
  if (known && address.token.size() == 2 * kTokenBytes) return address;
  return NewAddress();
}

Address NewAddress() {
  return {0, DrawToken()};
}

void KeepAddress(const Address &address) {
  const int fd = OpenFile(O_WRONLY | O_CREAT);
  if (fd < 0) return;
  if (ftruncate(fd, 0) == 0) dprintf(fd, "%d %s\n", address.port, address.token.c_str());
  close(fd);
}

}  // namespace vboard::panel
