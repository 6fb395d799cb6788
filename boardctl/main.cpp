// boardctl: one command over the library, for bringing up boards and for service.
#include <errno.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <array>

#include "Base/standard_descriptors.h"
#include "boardctl/command.h"
#include "boardctl/output.h"
#include "libsys/version.h"

namespace {

constexpr std::array kCommands = {
    Command{"env get", "NAME", "show the value of a boot variable", EnvGet},
    Command{"env set", "NAME VALUE", "set a boot variable", EnvSet},
    Command{"env delete", "NAME", "delete a boot variable", EnvDelete},
    Command{"env list", "", "show all boot variables", EnvList},
    Command{"flash list", "", "show the flash partitions", FlashList},
    Command{"flash dump", "PARTITION [FILE]", "copy a partition into a file, or to standard output",
            FlashDump},
    Command{"flash erase", "PARTITION", "erase a partition; \"boot\" and \"env\" only with --force",
            FlashErasePartition},
    Command{"hwid", "[COMMAND]", "ask for one of the board's capabilities, or for all", Hwid},
    Command{"product", "", "show which board this is", Product},
    Command{"serial get", "", "show the serial number", SerialGet},
    Command{"serial set", "NUMBER", "store the serial number, at most 31 characters", SerialSet},
    Command{"gpio get", "GROUP BIT", "make a line an input and show its level", GpioGet},
    Command{"gpio set", "GROUP BIT LEVEL", "make a line an output and drive it", GpioSet},
    Command{"mem read", "ADDRESS [COUNT]", "show 32-bit words of physical memory", MemRead},
    Command{"mem write", "ADDRESS VALUE", "write a 32-bit word of physical memory", MemWrite},
    Command{"uart send", "PORT BAUD BYTE...", "send bytes to serial port 1, 2 or 3", UartSend},
    Command{"uart listen", "PORT BAUD [COUNT]",
            "show the bytes that a serial port receives, so many or all", UartListen},
    Command{"key", "[COUNT]", "show key events of the front panel as they come, so many or all",
            Key},
    Command{"led", "CODE STATE", "switch a front-panel LED, 0x09 to 0x0e, on (1) or off (0)", Led},
    Command{"beep", "[MILLISECONDS]", "sound the buzzer, 100 ms or a multiple of 50", Beep},
    Command{"fan", "STATE", "switch the fan on (1) or off (0)", Fan},
    Command{"clock get", "", "set the system clock from the clock chip and show it", ClockGet},
    Command{"clock set", "YYYY-MM-DD HH:MM:SS", "set the clock chip and the system clock",
            ClockSet},
    Command{"nvram read", "[ADDRESS [COUNT]]", "show the clock chip's memory", NvramShow},
    Command{"nvram write", "ADDRESS BYTE...", "write to the clock chip's memory", NvramStore},
    Command{"temp", "", "show the temperature", Temperature},
    Command{"net show", "", "show the network interfaces and their settings", NetShow},
    Command{"net set", "INTERFACE ADDRESS NETMASK [GATEWAY]",
            "set and store the addresses of eth0 or eth1", NetSet},
    Command{"disks", "", "show disks and sticks", Disks},
    Command{"watchdog feed", "SECONDS",
            "start the watchdog, feed it every second, stop it; so does Ctrl-C", WatchdogFeed},
    Command{"watchdog reboot", "", "reboot the board through the watchdog", WatchdogReboot},
    Command{"status", "", "show load, memory, temperature, time and link", ShowStatus},
};

struct Option {
  const char *name;
  const char *help;
};
constexpr std::array kOptions = {
    Option{"--json", "show the result as JSON"},
    Option{"--force", "do what is refused otherwise"},
    Option{"--verbose", "show the library's messages as they come, not only after a failure"},
    Option{"--help", "show what there is, or what a command takes; also -h"},
    Option{"--man", "print the manual page"},
};

constexpr const char *kNotes =
    "Numbers are decimal, or hexadecimal with 0x. After a failure the messages of the library\n"
    "are on standard error.\n"
    "Commands that go by the board's identity, its clock chip or its settings start the library\n"
    "as an application does: the system clock then follows the clock chip.";
constexpr const char *kExitStatus = "0 done, 1 failed, 2 wrong usage.";

const Command *current = nullptr;

void PrintCommand(FILE *file, const Command &command) {
  char line[80];
  snprintf(line, sizeof line, "%s %s", command.name, command.arguments);
  fprintf(file, "  %-44s %s\n", line, command.help);
}

int NoSuchCommand() {
  fprintf(stderr, "boardctl: there is no such command; boardctl --help names them\n");
  return kUsage;
}

void PrintHelp(FILE *file) {
  fprintf(file, "usage: boardctl [OPTION...] COMMAND [ARGUMENT...]\n\nCommands:\n");
  for (const Command &command : kCommands) PrintCommand(file, command);
  fprintf(file, "\nOptions:\n");
  for (const Option &option : kOptions) fprintf(file, "  %-44s %s\n", option.name, option.help);
  fprintf(file, "\n%s\n\nExit status: %s\n", kNotes, kExitStatus);
}

// Of the commands whose name begins with the word.
int PrintGroupHelp(const char *word) {
  const size_t length = strlen(word);
  bool any = false;
  for (const Command &command : kCommands) {
    if (strncmp(command.name, word, length) != 0 || command.name[length] != ' ') continue;
    if (!any) printf("Commands:\n");
    PrintCommand(stdout, command);
    any = true;
  }
  return any ? kDone : NoSuchCommand();
}

int PrintCommandHelp(const Command &command) {
  printf("usage: boardctl [OPTION...] %s %s\n%s\n", command.name, command.arguments, command.help);
  return kDone;
}

// A line that begins with a dot or holds a backslash would be one of the formatter's own; no
// help text does.
void PrintManual() {
  printf(".TH BOARDCTL 8\n.SH NAME\nboardctl \\- look at a recorder board and act on it\n");
  printf(".SH SYNOPSIS\n.B boardctl\n[OPTION...] COMMAND [ARGUMENT...]\n.SH COMMANDS\n");
  for (const Command &command : kCommands) {
    printf(".TP\n\\fB%s\\fR %s\n%s\n", command.name, command.arguments, command.help);
  }
  printf(".SH OPTIONS\n");
  for (const Option &option : kOptions) printf(".TP\n\\fB\\%s\\fR\n%s\n", option.name, option.help);
  printf(".SH NOTES\n%s\n.SH \"EXIT STATUS\"\n%s\n", kNotes, kExitStatus);
}

// The command that the words begin with, and how many of them are its name.
const Command *Find(std::span<const char *const> words, size_t *nameLength) {
  for (const Command &command : kCommands) {
    char name[32] = {};
    for (*nameLength = 1; *nameLength <= std::min<size_t>(words.size(), 2); ++*nameLength) {
      if (*nameLength == 1) {
        snprintf(name, sizeof name, "%s", words[0]);
      } else {
        snprintf(name, sizeof name, "%s %s", words[0], words[1]);
      }
      if (strcmp(name, command.name) == 0) return &command;
    }
  }
  return nullptr;
}

// Whether so many words fit "NAME [VALUE]" or "NAME BYTE...".
bool Fits(const char *arguments, size_t count) {
  size_t least = 0, most = 0;
  for (const char *at = arguments; *at != '\0'; ++most) {
    if (*at != '[') ++least;
    at += strcspn(at, " ");
    at += strspn(at, " ");
  }
  return count >= least && (count <= most || strstr(arguments, "...") != nullptr);
}

struct CommandLine {
  std::array<const char *, 300> words = {};
  size_t count = 0;
  bool json = false, force = false, verbose = false, help = false, manual = false;
};

// An option may stand anywhere before a "--".
bool Parse(int argc, char **argv, CommandLine *line) {
  const struct {
    const char *name;
    bool *flag;
  } flags[] = {{"--json", &line->json}, {"--force", &line->force}, {"--verbose", &line->verbose},
               {"--help", &line->help}, {"-h", &line->help},       {"--man", &line->manual}};
  bool optionsEnded = false;
  for (int i = 1; i < argc; ++i) {
    const char *word = argv[i];
    const auto *flag = std::find_if(std::begin(flags), std::end(flags), [&](const auto &candidate) {
      return strcmp(candidate.name, word) == 0;
    });
    if (!optionsEnded && strcmp(word, "--") == 0) {
      optionsEnded = true;
    } else if (!optionsEnded && flag != std::end(flags)) {
      *flag->flag = true;
    } else if (line->count == line->words.size()) {
      fprintf(stderr, "boardctl: too many words\n");
      return false;
    } else if (!optionsEnded && strncmp(word, "--", 2) == 0) {
      fprintf(stderr, "boardctl: '%s' is no option; boardctl --help names them\n", word);
      return false;
    } else {
      line->words[line->count++] = word;
    }
  }
  return true;
}

int RunCommand(const Command &command, const Arguments &arguments, const CommandLine &line) {
  current = &command;
  if (!Fits(command.arguments, arguments.size())) return UsageError("wrong number of arguments");
  output::Start(line.json, line.verbose);
  DvrReadBootParameters();  // where the boot variables lie depends on them
  int status = command.run(arguments);
  if (status == kDone && !output::Finish()) status = Failure("the output cannot be written");
  if (status != kDone) output::ShowMessages();
  return status;
}

}  // namespace

int UsageError(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  fprintf(stderr, "boardctl: ");
  vfprintf(stderr, format, arguments);
  va_end(arguments);
  fprintf(stderr, "\nusage: boardctl %s %s\n", current->name, current->arguments);
  return kUsage;
}

int Failure(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  fprintf(stderr, "boardctl: ");
  vfprintf(stderr, format, arguments);
  va_end(arguments);
  fprintf(stderr, "\n");
  return kFailed;
}

bool Number(const char *word, const char *name, uint32_t most, uint32_t *number) {
  char *end = nullptr;
  errno = 0;
  const bool hex = word[0] == '0' && (word[1] == 'x' || word[1] == 'X');
  const unsigned long long value = strtoull(word, &end, hex ? 16 : 10);
  const bool digits = word[0] >= '0' && word[0] <= '9' && *end == '\0' && (!hex || end > word + 2);
  if (digits && errno == 0 && value <= most) {
    *number = static_cast<uint32_t>(value);
    return true;
  }
  UsageError("%s is a number from 0 to %u, not '%s'", name, most, word);
  return false;
}

bool Bytes(const Arguments &arguments, size_t first, std::span<uint8_t> buffer, size_t *count) {
  *count = arguments.size() - first;
  if (*count > buffer.size()) {
    UsageError("at most %zu bytes", buffer.size());
    return false;
  }
  for (size_t i = 0; i < *count; ++i) {
    uint32_t byte = 0;
    if (!Number(arguments[first + i], "BYTE", 0xff, &byte)) return false;
    buffer[i] = static_cast<uint8_t>(byte);
  }
  return true;
}

void StartLibrary() {
  DvrSystemInformationStart();
}

int main(int argc, char **argv) {
  base::OpenStandardDescriptors();
  CommandLine line;
  if (!Parse(argc, argv, &line)) return kUsage;
  if (line.manual) {
    PrintManual();
    return kDone;
  }
  if (line.count == 0) {
    PrintHelp(line.help ? stdout : stderr);
    return line.help ? kDone : kUsage;
  }
  size_t nameLength = 0;
  const std::span<const char *const> words = std::span(line.words).first(line.count);
  const Command *command = Find(words, &nameLength);
  if (line.help && command == nullptr && line.count == 1) return PrintGroupHelp(line.words[0]);
  if (command == nullptr) return NoSuchCommand();
  if (line.help) return PrintCommandHelp(*command);
  return RunCommand(*command, {words.subspan(nameLength), line.force}, line);
}
