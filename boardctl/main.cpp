// boardctl: one command over the library, for bringing up boards and for service.
#include <errno.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <array>

#include "Base/standard_descriptors.h"
#include "boardctl/command.h"
#include "boardctl/help.h"
#include "boardctl/messages.h"
#include "boardctl/output.h"
#include "libsys/system.h"
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
    Command{"flash erase", "PARTITION",
            "erase a partition; one that the board needs or uses only with --force",
            FlashErasePartition},
    Command{"hwid", "[COMMAND]", "ask for one of the board's capabilities, or for all", Hwid},
    Command{"product", "", "show which board this is", Product},
    Command{"serial get", "", "show the serial number", SerialGet},
    Command{"serial set", "NUMBER", "store the serial number, at most 32 characters", SerialSet},
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
            "start the watchdog, feed it every second, stop it; so does any signal, as Ctrl-C",
            WatchdogFeed},
    Command{"watchdog reboot", "", "reboot the board through the watchdog", WatchdogReboot},
    Command{"status", "", "show load, memory, temperature, time and link", ShowStatus},
};

const Command *current = nullptr;
bool finished = false;

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

// An option may stand anywhere before a "--". False after a message; what else the line holds is
// known even then.
bool Parse(int argc, char **argv, CommandLine *line) {
  const struct {
    const char *name;
    bool *flag;
  } flags[] = {{"--json", &line->json}, {"--force", &line->force}, {"--verbose", &line->verbose},
               {"--help", &line->help}, {"-h", &line->help},       {"--man", &line->manual}};
  bool optionsEnded = false, good = true;
  for (int i = 1; i < argc; ++i) {
    const char *word = argv[i];
    const auto *flag = std::find_if(std::begin(flags), std::end(flags), [&](const auto &candidate) {
      return strcmp(candidate.name, word) == 0;
    });
    if (!optionsEnded && strcmp(word, "--") == 0) {
      optionsEnded = true;
    } else if (!optionsEnded && flag != std::end(flags)) {
      *flag->flag = true;
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
  current = &command;
  if (!Fits(command.arguments, arguments.size())) return UsageError("wrong number of arguments");
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

int Run(const CommandLine &line) {
  if (line.manual) {
    PrintManual(output::Stream());
    return kDone;
  }
  size_t nameLength = 0;
  const std::span<const char *const> words = std::span(line.words).first(line.count);
  const Command *command = Find(words, &nameLength);
  if (line.help) return Help(command, words);
  if (words.empty()) return NoCommand();
  if (command == nullptr) return NoSuchCommand(words[0]);
  return RunCommand(*command, {words.subspan(nameLength), line.force, line.json});
}

// Shows what is left to show, and gives the status of it all.
int Finish(int status) {
  finished = true;
  if (!output::Finish(status != kDone) && status == kDone) {
    messages::Forget();
    status = Failure("the output cannot be written");
  }
  messages::Finish(status != kDone);
  return status;
}

// The library ends a process that gets no socket.
void FinishAfterExit() {
  if (!finished) _exit(Finish(Failure("the library ended the command")));
}

void Complain(const char *format, va_list arguments) {
  char text[512];
  va_list again;
  va_copy(again, arguments);
  vsnprintf(text, sizeof text, format, again);
  va_end(again);
  output::SetError(text);
  fprintf(stderr, "boardctl: ");
  vfprintf(stderr, format, arguments);
  putc('\n', stderr);
}

}  // namespace

std::span<const Command> Commands() {
  return kCommands;
}

int UsageError(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  Complain(format, arguments);
  va_end(arguments);
  fprintf(stderr, "usage: boardctl %s %s\n", current->name, current->arguments);
  return kUsage;
}

int Failure(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  Complain(format, arguments);
  va_end(arguments);
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
  messages::Forget();
}

bool OpenBus() {
  if (I2cOpen() != 0) return false;
  messages::Forget();
  return true;
}

int main(int argc, char **argv) {
  const unsigned closed = libsys::base::OpenStandardDescriptors();
  signal(SIGPIPE, [](int) {});  // a reader that goes away is an output that cannot be written
  CommandLine line;
  const bool good = Parse(argc, argv, &line);
  output::Start(line.json && !line.help && !line.manual, (closed & 1U << STDOUT_FILENO) == 0);
  messages::Start(line.verbose);
  atexit(FinishAfterExit);
  return Finish(good ? Run(line) : kUsage);
}
