#include "vboard/command/output.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <stdexcept>
#include <utility>

namespace vboard::command {

void EndOutput() {
  if (fflush(stdout) == 0 && ferror(stdout) == 0) return;
  throw std::runtime_error(std::string("standard output: ") + strerror(errno));
}

ResultFile::ResultFile(std::string path)
    : path_(std::move(path)), fd_(open(path_.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666)) {
  if (fd_ < 0) Fail();
}

ResultFile::~ResultFile() {
  close(fd_);
}

void ResultFile::Write(const std::string &text) {
  struct stat status = {};
  if (fstat(fd_, &status) == 0 && S_ISREG(status.st_mode) && ftruncate(fd_, 0) != 0) Fail();
  for (size_t written = 0; written < text.size();) {
    const ssize_t part = write(fd_, text.data() + written, text.size() - written);
    if (part < 0 && errno != EINTR) Fail();
    if (part > 0) written += static_cast<size_t>(part);
  }
}

void ResultFile::Fail() {
  throw std::runtime_error(path_ + ": " + strerror(errno));
}

}  // namespace vboard::command
