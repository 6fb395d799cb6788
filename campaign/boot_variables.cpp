#include "campaign/boot_variables.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

#include "libsys/boot.h"
#include "libsys/version.h"
#include "vboard/board.h"
#include "vboard/board_time.h"

namespace campaign {
namespace {

constexpr char kName[] = "campaign";
constexpr char kValue[] = "1";
// Ends a list in what the child says; no entry has it.
constexpr char kEnd = '\n';
constexpr char kUnreadable[] = "(cannot be read)";

std::string ListText() {
  std::string text;
  const auto add = [](const char *entry, void *to) {
    std::string &all = *static_cast<std::string *>(to);
    all.append(entry).push_back('\0');
  };
  if (BootEnvForEach(add, &text) != 0) text.assign(kUnreadable, sizeof kUnreadable);
  return text + kEnd;
}

// In a child, which is a program on the board: the library keeps state, and the next board is
// another one. Nobody wants to see what it prints.
[[noreturn]] void Answer(int to, bool saves) {
  const int none = open("/dev/null", O_WRONLY | O_CLOEXEC);
  dup2(none, STDOUT_FILENO);
  vboard::PowerOn();
  vboard::Attach(vboard::Folder());
  DvrReadBootParameters();  // where the variables lie depends on them
  std::string text = ListText();
  if (saves && BootEnvSet(kName, kValue) == 0) text += ListText();
  vboard::Detach();
  size_t written = 0;
  while (written < text.size()) {
    const ssize_t part = write(to, text.data() + written, text.size() - written);
    if (part <= 0) _exit(1);
    written += static_cast<size_t>(part);
  }
  _exit(0);
}

std::string TextOfChild(bool saves) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe for the boot variables");
  fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) Answer(ends[1], saves);
  close(ends[1]);
  std::string text;
  std::array<char, 4096> part;
  for (ssize_t got; (got = read(ends[0], part.data(), part.size())) > 0;) {
    text.append(part.data(), static_cast<size_t>(got));
  }
  close(ends[0]);
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child || status != 0) {
    throw std::runtime_error("the boot variables could not be read");
  }
  return text;
}

std::vector<std::string> TakeList(std::string *text) {
  std::vector<std::string> list;
  while (!text->empty() && text->front() != kEnd) {
    list.push_back(text->substr(0, text->find('\0')));
    text->erase(0, list.back().size() + 1);
  }
  text->erase(0, 1);
  return list;
}

}  // namespace

BootVariables ReadVariables(bool saves) {
  BootVariables variables;
  std::string text = TextOfChild(saves);
  variables.read = true;
  variables.list = TakeList(&text);
  // A save moves its variable to the end of the list.
  const std::string saved = std::string(kName) + "=" + kValue;
  std::vector<std::string> expected = variables.list;
  std::erase(expected, saved);
  expected.push_back(saved);
  variables.nextSaveWorks = saves && TakeList(&text) == expected;
  return variables;
}

}  // namespace campaign
