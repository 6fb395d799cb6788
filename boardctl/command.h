// Every command gets its words, checks them and reports its failures with what is declared here.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <span>

#include "libsys/clock.h"

namespace boardctl {

// A command returns one of these, and the process exits with it.
enum Status { kDone = 0, kFailed = 1, kUsage = 2 };

struct Arguments {
  std::span<const char *const> words;  // those behind the command's name
  bool force = false;
  bool json = false;

  size_t size() const { return words.size(); }
  const char *operator[](size_t index) const { return words[index]; }
  // Returns the word at the index, or `otherwise` when there are fewer words.
  const char *Or(size_t index, const char *otherwise) const {
    return index < words.size() ? words[index] : otherwise;
  }
};

struct Command {
  const char *name;       // one or two words
  const char *arguments;  // "NAME [VALUE]"; a last "BYTE..." stands for one byte or more
  const char *help;
  int (*run)(const Arguments &arguments);
};

// This command's usage is what UsageError prints from now on.
void SetUsage(const Command &command);

// Each of the two prints a message, which in JSON is also the result, and returns the status for
// the command to return: UsageError kUsage, Failure kFailed.
[[gnu::format(printf, 1, 2)]] int UsageError(const char *format, ...);
[[gnu::format(printf, 1, 2)]] int Failure(const char *format, ...);

// A number is whole, decimal or hexadecimal with 0x, and not above `most`. Returns false for any
// other word, after a UsageError that calls the argument by its name.
bool Number(const char *word, const char *name, uint32_t most, uint32_t *number);

// Converts all words from the one at `first` on into bytes. Returns false, after a UsageError, when
// a word is no byte or the buffer cannot hold them all.
bool Bytes(const Arguments &arguments, size_t first, std::span<uint8_t> buffer, size_t *count);

// Starts the library as an application does, so that all its modules know which board this is. The
// system clock is then set from the clock chip.
void StartLibrary();

// Opens the bus of the clock chip and the temperature sensor. The library then sets the system
// clock, too. Returns false when the bus does not open.
bool OpenBus();

// These serve more than one command; the comments name the file.
bool ReadTemperature(int32_t *celsius);   // clock.cpp; false: the sensor does not answer
void ShowTime(const SystemTime &time);    // clock.cpp
const char *LinkState(const char *name);  // network.cpp

// These are the commands, each group in the file that the comment names.
int Temperature(const Arguments &arguments);  // clock.cpp
int ClockGet(const Arguments &arguments);
int ClockSet(const Arguments &arguments);
int Disks(const Arguments &arguments);   // disks.cpp
int EnvGet(const Arguments &arguments);  // env.cpp
int EnvSet(const Arguments &arguments);
int EnvDelete(const Arguments &arguments);
int EnvList(const Arguments &arguments);
int FlashList(const Arguments &arguments);  // flash.cpp
int FlashDump(const Arguments &arguments);
int FlashErasePartition(const Arguments &arguments);
int Hwid(const Arguments &arguments);  // identity.cpp
int Product(const Arguments &arguments);
int SerialGet(const Arguments &arguments);
int SerialSet(const Arguments &arguments);
int ShowStatus(const Arguments &arguments);
int NetShow(const Arguments &arguments);  // network.cpp
int NetSet(const Arguments &arguments);
int Key(const Arguments &arguments);  // panel.cpp
int Led(const Arguments &arguments);
int Beep(const Arguments &arguments);
int Fan(const Arguments &arguments);
int GpioGet(const Arguments &arguments);  // registers.cpp
int GpioSet(const Arguments &arguments);
int MemRead(const Arguments &arguments);
int MemWrite(const Arguments &arguments);
int NvramShow(const Arguments &arguments);
int NvramStore(const Arguments &arguments);
int UartListen(const Arguments &arguments);  // uart.cpp
int UartSend(const Arguments &arguments);
int WatchdogFeed(const Arguments &arguments);  // watchdog.cpp
int WatchdogReboot(const Arguments &arguments);

}  // namespace boardctl
