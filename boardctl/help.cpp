#include "boardctl/help.h"

#include <string.h>

#include <algorithm>

#include "boardctl/command_line.h"
#include "boardctl/command_table.h"

namespace boardctl {
namespace {

constexpr const char *kNotes =
    "Numbers are decimal, or hexadecimal with 0x. After a failure the messages that the library\n"
    "printed about it are on standard error.\n"
    "With --json a command that has no result shows {}, and one that fails only an object with\n"
    "the member \"error\": where objects come a line each (JSON lines), that is the last one. In\n"
    "a text each byte that is not UTF-8 shows as U+FFFD, and the member NAME-bytes beside it has\n"
    "the text's bytes in hexadecimal. What tells of the program itself is never JSON.\n"
    "Commands that go by the board's identity, its clock chip or its settings start the library\n"
    "as an application does: the system clock then follows the clock chip.";
constexpr const char *kExitStatus = "0 done, 1 failed, 2 wrong usage.";

void PrintCommand(FILE *file, const Command &command) {
  char line[80];
  snprintf(line, sizeof line, "%s %s", command.name, command.arguments);
  fprintf(file, "  %-44s %s\n", line, command.help);
}

bool IsOf(const Command &command, const char *group) {
  const size_t length = strlen(group);
  return strncmp(command.name, group, length) == 0 && command.name[length] == ' ';
}

}  // namespace

void PrintHelp(FILE *file) {
  fprintf(file, "usage: boardctl [OPTION...] COMMAND [ARGUMENT...]\n\nCommands:\n");
  for (const Command &command : Commands()) PrintCommand(file, command);
  fprintf(file, "\nOptions:\n");
  for (const Option &option : Options()) fprintf(file, "  %-44s %s\n", option.name, option.help);
  fprintf(file, "\n%s\n\nExit status: %s\n", kNotes, kExitStatus);
}

bool IsGroup(const char *word) {
  const auto commands = Commands();
  return std::any_of(commands.begin(), commands.end(),
                     [&](const Command &command) { return IsOf(command, word); });
}

void PrintGroupHelp(FILE *file, const char *word) {
  fprintf(file, "Commands:\n");
  for (const Command &command : Commands()) {
    if (IsOf(command, word)) PrintCommand(file, command);
  }
}

void PrintCommandHelp(FILE *file, const Command &command) {
  fprintf(file, "usage: boardctl [OPTION...] %s %s\n%s\n", command.name, command.arguments,
          command.help);
}

// The formatter of manual pages takes a line that begins with a dot, and what follows a backslash,
// for its own; no help text has either.
void PrintManual(FILE *file) {
  fprintf(file, ".TH BOARDCTL 8\n.SH NAME\nboardctl \\- look at a recorder board and act on it\n");
  fprintf(file, ".SH SYNOPSIS\n.B boardctl\n[OPTION...] COMMAND [ARGUMENT...]\n.SH COMMANDS\n");
  for (const Command &command : Commands()) {
    fprintf(file, ".TP\n\\fB%s\\fR %s\n%s\n", command.name, command.arguments, command.help);
  }
  fprintf(file, ".SH OPTIONS\n");
  for (const Option &option : Options()) {
    fprintf(file, ".TP\n\\fB\\%s\\fR\n%s\n", option.name, option.help);
  }
  fprintf(file, ".SH NOTES\n%s\n.SH \"EXIT STATUS\"\n%s\n", kNotes, kExitStatus);
}

}  // namespace boardctl
