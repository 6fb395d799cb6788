#include "boardctl/command_table.h"

#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <array>

namespace boardctl {
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

}  // namespace

std::span<const Command> Commands() {
  return kCommands;
}

const Command *FindCommand(std::span<const char *const> words, size_t *nameLength) {
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

// A word in brackets may be missing; dots let the last one come again.
bool Takes(const Command &command, size_t count) {
  size_t least = 0, most = 0;
  for (const char *at = command.arguments; *at != '\0'; ++most) {
    if (*at != '[') ++least;
    at += strcspn(at, " ");
    at += strspn(at, " ");
  }
  return count >= least && (count <= most || strstr(command.arguments, "...") != nullptr);
}

}  // namespace boardctl
