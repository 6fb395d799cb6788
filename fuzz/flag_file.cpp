// The file through which a supervised application and its launcher speak.
#include <unistd.h>

#include "fuzz/fuzz.h"
#include "libsys/system.h"

namespace fuzz {
namespace {

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
  const uint32_t change = input.Below(3);
  const std::string before = input.Rest();
  file.Put(before);
  const auto flag = static_cast<unsigned char>(before.empty() ? '0' : before[0]);
  Expect(Read() == flag, "the first character is the flag");
  if (change == 0) return;
  const std::string written = change == 1 ? std::string("0\0", 2) : "2";
  Expect((change == 1 ? ApplicationFlagStart() : ApplicationRestartFlag()) == 0,
         "the flag is written");
  Expect(Read() == written[0], "the flag that was written is read");
  std::string after = before;
  after.replace(0, written.size(), written);
  Expect(file.Content() == after, "nothing else of the file changes");
  Expect(ApplicationFlagRead(-1) == APPLICATION_STARTED, "without a file it is started");
}

}  // namespace fuzz
