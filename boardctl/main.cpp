// boardctl is the library as one command, for bringing up boards and for service.
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <span>

#include "boardctl/command.h"
#include "boardctl/command_line.h"
#include "boardctl/command_table.h"
#include "boardctl/completion.h"
#include "boardctl/help.h"
#include "boardctl/messages.h"
#include "boardctl/output.h"
#include "libsys/system.h"
#include "libsys/version.h"

namespace boardctl {
namespace {

struct {
  bool finished = false;
} state;

int NoSuchCommand(const char *word) {
  if (!IsGroup(word)) {
    Failure("there is no such command; boardctl --help names them");
  } else {
    Failure("there is no such command; these begin with '%s'", word);
    PrintGroupHelp(stderr, word);
  }
  return kUsage;
}

int NoCommand() {
  Failure("there is no command");
  PrintHelp(stderr);
  return kUsage;
}

int RunCommand(const Command &command, const Arguments &arguments) {
  SetUsage(command);
  if (!Takes(command, arguments.size())) return UsageError("wrong number of arguments");
  DvrReadBootParameters();  // where the boot variables lie depends on them
  messages::Forget();
  return command.run(arguments);
}

int Help(const Command *command, std::span<const char *const> words) {
  FILE *file = output::Stream();
  if (words.empty()) {
    PrintHelp(file);
  } else if (command != nullptr) {
    PrintCommandHelp(file, *command);
  } else if (words.size() == 1 && IsGroup(words[0])) {
    PrintGroupHelp(file, words[0]);
  } else {
    return NoSuchCommand(words[0]);
  }
  return kDone;
}

int Completion(std::span<const char *const> words) {
  if (words.size() != 1 || strcmp(words[0], "bash") != 0) {
    Failure("the shell is bash: --completion bash");
    return kUsage;
  }
  PrintCompletion(output::Stream());
  return kDone;
}

int Run(const CommandLine &line) {
  if (line.manual) {
    PrintManual(output::Stream());
    return kDone;
  }
  if (line.version) {
    fputs("boardctl " VERSION "\n", output::Stream());
    return kDone;
  }
  if (line.completion) return Completion(line.Words());
  size_t nameLength = 0;
  const std::span<const char *const> words = line.Words();
  const Command *command = FindCommand(words, &nameLength);
  if (line.help) return Help(command, words);
  if (words.empty()) return NoCommand();
  if (command == nullptr) return NoSuchCommand(words[0]);
  return RunCommand(*command, {words.subspan(nameLength), line.force, line.json});
}

// A result that does not arrive makes a failure of a command that has done well.
int Finish(int status) {
  state.finished = true;
  if (!output::Finish(status != kDone) && status == kDone) {
    messages::Forget();
    status = Failure("the output cannot be written");
  }
  messages::Finish(status != kDone);
  return status;
}

// The library ends a process that gets no socket.
void FinishAfterExit() {
  if (!state.finished) _exit(Finish(Failure("the library ended the command")));
}

}  // namespace
}  // namespace boardctl

int main(int argc, char **argv) {
  using namespace boardctl;
  const uint32_t closed = SystemOpenStandardDescriptors();
  signal(SIGPIPE, [](int) {});  // a reader that goes away is an output that cannot be written
  CommandLine line;
  const bool good = Parse(argc, argv, &line);
  output::Start(line.json && !line.OfProgram(), (closed & 1U << STDOUT_FILENO) == 0);
  messages::Start(line.verbose);
  atexit(FinishAfterExit);
  return Finish(good ? Run(line) : kUsage);
}
