// The file through which a supervised application and its launcher speak.
#include <unistd.h>

#include "fuzz/fuzz.h"
#include "libsys/system.h"

namespace fuzz {
namespace {

bool isFull = false;  // the flash

int32_t Read() {
  const int32_t file = ApplicationFlagOpen();
  Expect(file > STDERR_FILENO, "the file opens");
  const int32_t first = ApplicationFlagRead(file), again = ApplicationFlagRead(file);
  Expect(first == again, "a flag that was read is there still");
  close(file);
  return first;
}

}  // namespace

void Try(Input &input) {
  static const BoardFile file("/opt/sav/Config/Config3");
  const int32_t change = input.Below(5);
  const std::string before = input.Rest();
  file.Put(before);
  const auto flag = static_cast<unsigned char>(before.empty() ? '0' : before[0]);
  Expect(Read() == flag, "the first character is the flag");
  if (change == 0) return;
  const bool fails = change > 2, starts = change % 2 == 1;
  isFull = fails;
  const int32_t result = starts ? ApplicationFlagStart() : ApplicationRestartFlag();
  isFull = false;
  Expect(result == (fails ? -1 : 0), "the flag is written");
  std::string after = before;
  if (!fails) after.replace(0, starts ? 2 : 1, starts ? std::string("0\0", 2) : "2");
  Expect(file.Content() == after, "nothing else of the file changes");
  Expect(ApplicationFlagRead(-1) == APPLICATION_STARTED, "without a file it is started");
}

}  // namespace fuzz

extern "C" ssize_t __real_write(int fd, const void *data, size_t length);
extern "C" ssize_t __wrap_write(int fd, const void *data, size_t length) {
  return fuzz::isFull ? -1 : __real_write(fd, data, length);
}
