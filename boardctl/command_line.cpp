#include "boardctl/command_line.h"

#include <string.h>

#include "boardctl/command.h"

namespace boardctl {
namespace {

constexpr std::array kOptions = {
    Option{"--json", nullptr, &CommandLine::json,
           "show the result as JSON; key and uart listen show an object a line"},
    Option{"--force", nullptr, &CommandLine::force, "do what is refused otherwise"},
    Option{"--verbose", nullptr, &CommandLine::verbose,
           "show all messages of the library as they come"},
    Option{"--help", "-h", &CommandLine::help,
           "show what there is, or what a command takes; also -h"},
    Option{"--man", nullptr, &CommandLine::manual, "print the manual page"},
    Option{"--completion", nullptr, &CommandLine::completion,
           "print what completes command lines in a shell: --completion bash"},
    Option{"--version", nullptr, &CommandLine::version, "print the version"},
};

const Option *FindOption(const char *word) {
  for (const Option &option : kOptions) {
    if (strcmp(word, option.name) == 0) return &option;
    if (option.shortName != nullptr && strcmp(word, option.shortName) == 0) return &option;
  }
  return nullptr;
}

}  // namespace

std::span<const Option> Options() {
  return kOptions;
}

bool Parse(int argc, char **argv, CommandLine *line) {
  bool optionsEnded = false, good = true;
  for (int i = 1; i < argc; ++i) {
    const char *word = argv[i];
    const Option *option = optionsEnded ? nullptr : FindOption(word);
    if (!optionsEnded && strcmp(word, "--") == 0) {
      optionsEnded = true;
    } else if (option != nullptr) {
      line->*option->flag = true;
    } else if (!optionsEnded && strncmp(word, "--", 2) == 0) {
      if (good) Failure("'%s' is no option; boardctl --help names them", word);
      good = false;
    } else if (line->count < line->words.size()) {
      line->words[line->count++] = word;
    } else {
      if (good) Failure("too many words");
      good = false;
    }
  }
  return good;
}

}  // namespace boardctl
