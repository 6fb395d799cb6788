// What the commands of boardctl share: the table that drives parsing, help and manual page, and the
// checks of their words.
#pragma once

#include <stdint.h>

#include <span>

enum Status { kDone = 0, kFailed = 1, kUsage = 2 };

struct Arguments {
  std::span<const char *const> words;  // behind the command's name
  bool force = false;
  bool json = false;

  size_t size() const { return words.size(); }
  const char *operator[](size_t index) const { return words[index]; }
  // Without such a word the default.
  const char *Or(size_t index, const char *otherwise) const {
    return index < words.size() ? words[index] : otherwise;
  }
};

struct Command {
  const char *name;       // one or two words
  const char *arguments;  // "NAME [VALUE]"; "..." behind the last one: more of them
  const char *help;
  int (*run)(const Arguments &arguments);
};

std::span<const Command> Commands();

// Each gives kUsage after a message, for the caller to return; in JSON it is the result.
[[gnu::format(printf, 1, 2)]] int UsageError(const char *format, ...);
// And kFailed.
[[gnu::format(printf, 1, 2)]] int Failure(const char *format, ...);

// A whole number, decimal or with 0x hexadecimal, of at most `most`. False, after a message that
// names the argument, for anything else.
bool Number(const char *word, const char *name, uint32_t most, uint32_t *number);

// All words from the first on as bytes; more than fit the buffer are refused the same way.
bool Bytes(const Arguments &arguments, size_t first, std::span<uint8_t> buffer, size_t *count);

// What the board is: the words that other modules go by are set from then on. This also sets the
// system clock from the clock chip.
void StartLibrary();

// The bus of the clock chip and the sensor, which also sets the system clock.
bool OpenBus();

// False when the sensor does not answer; the bus has to be open.
bool ReadTemperature(int32_t *celsius);  // clock.cpp

// The commands, in the files that the comments name.
int Temperature(const Arguments &arguments);  // clock.cpp
int ClockGet(const Arguments &arguments);
int ClockSet(const Arguments &arguments);
int EnvGet(const Arguments &arguments);  // flash.cpp
int EnvSet(const Arguments &arguments);
int EnvDelete(const Arguments &arguments);
int EnvList(const Arguments &arguments);
int FlashList(const Arguments &arguments);
int FlashDump(const Arguments &arguments);
int FlashErasePartition(const Arguments &arguments);
int Hwid(const Arguments &arguments);  // identity.cpp
int Product(const Arguments &arguments);
int SerialGet(const Arguments &arguments);
int SerialSet(const Arguments &arguments);
int ShowStatus(const Arguments &arguments);
int GpioGet(const Arguments &arguments);  // registers.cpp
int GpioSet(const Arguments &arguments);
int MemRead(const Arguments &arguments);
int MemWrite(const Arguments &arguments);
int NvramShow(const Arguments &arguments);
int NvramStore(const Arguments &arguments);
int UartListen(const Arguments &arguments);  // panel.cpp
int UartSend(const Arguments &arguments);
int Key(const Arguments &arguments);
int Led(const Arguments &arguments);
int Beep(const Arguments &arguments);
int Fan(const Arguments &arguments);
int NetShow(const Arguments &arguments);  // network.cpp
int NetSet(const Arguments &arguments);
int Disks(const Arguments &arguments);  // services.cpp
int WatchdogFeed(const Arguments &arguments);
int WatchdogReboot(const Arguments &arguments);
