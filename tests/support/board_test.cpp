#include "tests/support/board_test.h"

#include <inttypes.h>
#include <stdio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <sstream>

namespace test {

std::string Printed(const std::function<void()> &function) {
  testing::internal::CaptureStdout();
  function();
  fflush(stdout);
  return testing::internal::GetCapturedStdout();
}

Child InChild(const std::function<int()> &function) {
  int ends[2];
  if (pipe(ends) != 0) return {};
  fflush(nullptr);
  const pid_t id = fork();
  if (id == 0) {
    close(ends[0]);
    dup2(ends[1], STDOUT_FILENO);
    close(ends[1]);
    const int status = function();
    fflush(stdout);
    _exit(status);
  }
  close(ends[1]);
  Child child;
  char data[4096];
  for (ssize_t length; (length = read(ends[0], data, sizeof data)) > 0;) {
    child.printed.append(data, static_cast<size_t>(length));
  }
  close(ends[0]);
  int status = 0;
  waitpid(id, &status, 0);
  if (WIFEXITED(status)) child.exitStatus = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) child.signal = WTERMSIG(status);
  return child;
}

BoardTest::~BoardTest() {
  vboard::Detach();
}

void BoardTest::UseBoard(const std::string &description) {
  vboard::Detach();
  const std::string file = folder_.path() + "/board.toml";
  vboard::WriteFile(file, description);
  vboard::MakeBoard(file, folder_.path() + "/board", PROGRAMS_FOLDER);
  vboard::PowerOn();
  vboard::Attach(folder_.path() + "/board");
  seen_ = 0;
}

std::vector<std::string> BoardTest::Events() {
  const std::string log = vboard::ReadFile(vboard::Folder() + "/events");
  std::istringstream stream(log.substr(seen_));
  seen_ = log.size();
  std::vector<std::string> events;
  for (std::string line; std::getline(stream, line);) {
    events.push_back(line.substr(line.find("] ") + 2));
  }
  return events;
}

std::string SmallBoard(uint64_t identifier, uint32_t oem, const std::string &more) {
  char head[200];
  snprintf(head, sizeof head,
           "summary = \"a board for tests\"\n[identity]\nproduct = \"%016" PRIX64
           "\"\noem = %" PRIu32 "\n",
           identifier, oem);
  return std::string(head) + R"(
[flash]
size = 0x100000
sector_size = 0x10000
[[flash.partition]]
name = "boot"
size = 0x40000
[[flash.partition]]
name = "config"
size = 0x40000
content = "jffs2"
files."Config/" = ""
[[flash.partition]]
name = "data"
size = 0x20000
[flash.environment]
partition = "boot"
offset = 0x30000
size = 0x10000
variables = { xuart = "0", xapp = "1" }
)" + more;
}

}  // namespace test
