#include "System/system/application_flag.h"

#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include "Base/descriptor.h"
#include "libsys/system.h"

using namespace libsys;

namespace {

constexpr const char *kFlagFile = "/opt/sav/Config/Config3";

}  // namespace

int32_t application::WriteFlag(char value) {
  const base::Descriptor file(ApplicationFlagOpen());
  if (!file) return -1;
  if (write(file.get(), &value, 1) == 1) return 0;
  puts("Write failed");
  return -1;
}

int32_t ApplicationFlagOpen() {
  const int file = base::Open(kFlagFile, O_RDWR | O_CREAT, 0644);
  if (file < 0) puts("open failed");
  return file;
}

// A file that did not open fails once more here, on purpose.
int32_t ApplicationFlagStart() {
  const base::Descriptor file(ApplicationFlagOpen());
  const char text[] = {APPLICATION_STARTED, '\0'};
  if (write(file.get(), text, sizeof text) > 0) return 0;
  puts("Write failed");
  return -1;
}

int32_t ApplicationFlagRead(int32_t descriptor) {
  char flag = APPLICATION_STARTED;
  lseek(descriptor, 0, SEEK_SET);
  if (read(descriptor, &flag, 1) < 0) puts("read failed");
  return static_cast<unsigned char>(flag);
}

int32_t ApplicationRestartFlag() {
  return application::WriteFlag(APPLICATION_RESTART);
}
