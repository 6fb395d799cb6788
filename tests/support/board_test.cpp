#include "tests/support/board_test.h"

#include <fcntl.h>
#include <inttypes.h>
#include <signal.h>
#include <stdio.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <sstream>

#include "vboard/keeper.h"
#include "vboard/real.h"

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

namespace test {

std::string Printed(const std::function<void()> &function) {
  testing::internal::CaptureStdout();
  function();
  fflush(stdout);
  return testing::internal::GetCapturedStdout();
}

// As the kernel names a file of a board that was made anew meanwhile.
constexpr std::string_view kDeleted = " (deleted)";

std::map<int, std::string> OpenFiles() {
  std::map<int, std::string> files;
  for (int fd = STDERR_FILENO + 1; fd < 256; ++fd) {
    std::error_code error;
    const auto link = "/proc/self/fd/" + std::to_string(fd);
    std::string place = std::filesystem::read_symlink(link, error);
    if (error) continue;
    if (place.ends_with(kDeleted)) place.resize(place.size() - kDeleted.size());
    const std::string path = vboard::Attached() ? vboard::BoardPath(place) : "";
    files[fd] = path.empty() ? place : path;
  }
  return files;
}

namespace {

// What is open and should not be, which files were closed and were somebody else's, and what a
// program that is started would have inherited.
std::string Disorder(const std::map<int, std::string> &before, Paths kept) {
  std::string text;
  const std::map<int, std::string> now = OpenFiles();
  for (const auto &[fd, file] : now) {
    if (before.contains(fd) && before.at(fd) == file) continue;
    const auto place = std::find(kept.begin(), kept.end(), file);
    if (place == kept.end()) {
      text += "left open: " + file + "\n";
    } else {
      kept.erase(place);
    }
  }
  for (const auto &[fd, file] : before) {
    const bool may = std::find(kept.begin(), kept.end(), file) != kept.end();
    if (!now.contains(fd) && !may && file[0] == '/') text += "closed: " + file + "\n";
  }
  const std::string inherited = vboard::OpenedForChildren();
  return text + (inherited.empty() ? "" : "not close-on-exec: " + inherited + "\n");
}

// The check stops all threads from outside, and waits for a process that nothing tells of: on a
// busy PC all seem to rest, and time would run on.
std::string LostBlocks() {
#ifdef __SANITIZE_ADDRESS__
  const int spare = open("/dev/null", O_RDONLY | O_CLOEXEC);
  if (spare < 0) return "";  // the check needs descriptors too
  close(spare);
  if (vboard::Attached()) vboard::State().time.paused = true;
  const bool lost = __lsan_do_recoverable_leak_check() != 0;
  if (vboard::Attached()) vboard::State().time.paused = false;
  if (lost) return "blocks not given back\n";
#endif
  return "";
}

// The same, and what became of the memory.
std::string DisorderAtEnd(const std::map<int, std::string> &before, const Paths &kept) {
  return Disorder(before, kept) + LostBlocks();
}

// Written by the child, read by its parent.
using Report = std::array<char, 1000>;

[[noreturn]] void RunChild(int output, const std::function<int()> &function, const Paths &kept,
                           Report &report) {
  dup2(output, STDOUT_FILENO);
  close(output);
  const std::map<int, std::string> before = OpenFiles();
  const int status = function();
  fflush(stdout);
  snprintf(report.data(), report.size(), "%s", DisorderAtEnd(before, kept).c_str());
  _exit(status);
}

}  // namespace

Child InChild(const std::function<int()> &function, const Paths &kept) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return {};
  void *const shared =
      mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  auto *const report = static_cast<Report *>(shared);
  fflush(nullptr);
  const pid_t id = fork();
  if (id == 0) {
    close(ends[0]);
    RunChild(ends[1], function, kept, *report);
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
  EXPECT_STREQ("", report->data());
  munmap(shared, sizeof(Report));
  if (WIFEXITED(status)) child.exitStatus = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) child.signal = WTERMSIG(status);
  return child;
}

std::string Hex(std::span<const uint8_t> bytes) {
  std::string text;
  char digits[3];
  for (const uint8_t byte : bytes) {
    snprintf(digits, sizeof digits, "%02x", byte);
    text += digits;
  }
  return text;
}

size_t Descriptors(const std::string &path) {
  const std::map<int, std::string> files = OpenFiles();
  return static_cast<size_t>(std::count_if(files.begin(), files.end(),
                                           [&](const auto &file) { return file.second == path; }));
}

int Waiting(const std::string &device) {
  const int fd = open(vboard::RootPath(device).c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  int count = -1;
  ioctl(fd, FIONREAD, &count);
  close(fd);
  return count;
}

// A process of its own: the test's has no thread and no descriptor but those of the test.
void BoardTest::StartKeeper() {
  fflush(nullptr);
  keeper_ = fork();
  if (keeper_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    vboard::KeepTime(0, [] { return vboard::State().time.keeper.number == getpid(); });
    _exit(0);
  }
  while (!vboard::IsKept()) vboard::real::sleep({0, 100'000});
}

// Where somebody else keeps the board's time by now, it ends of itself.
void BoardTest::EndKeeper() {
  if (keeper_ <= 0) return;
  kill(keeper_, SIGKILL);
  waitpid(keeper_, nullptr, 0);
  keeper_ = 0;
}

BoardTest::~BoardTest() {
  EXPECT_EQ("", Disorder(before_, kept_));
  if (vboard::Attached()) ExpectOutputInOrder();
  vboard::Detach();
  EndKeeper();
}

void BoardTest::ExpectOutputInOrder() {
  EXPECT_THAT(Times("command runs before the output"), testing::IsEmpty());
}

void BoardTest::UseBoard(const std::string &description) {
  if (vboard::Attached()) ExpectOutputInOrder();
  vboard::Detach();
  EndKeeper();
  const std::string file = folder_.path() + "/board.toml";
  vboard::WriteFile(file, description);
  vboard::MakeBoard(file, folder_.path() + "/board", PROGRAMS_FOLDER);
  vboard::PowerOn();
  StartKeeper();
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

std::vector<double> BoardTest::Times(const std::string &event) {
  std::istringstream log(vboard::ReadFile(vboard::Folder() + "/events"));
  std::vector<double> times;
  for (std::string line; std::getline(log, line);) {
    if (line.substr(line.find("] ") + 2).starts_with(event)) times.push_back(std::stod(line));
  }
  return times;
}

void WriteIdentity(uint64_t identifier, uint32_t oem) {
  char text[64];
  snprintf(text, sizeof text, "product=%016" PRIX64 "\noem %" PRIx32 "\n", identifier, oem);
  vboard::WriteFile(vboard::RootPath("/proc/vss/bootpara"), text);
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
