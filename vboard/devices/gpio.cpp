// The GPIO controller behind /dev/hi_gpio: 8 groups of 8 lines. The log shows a line, by its name
// if it has one, when its direction or its driven level changes.
#include <errno.h>
#include <stdint.h>
#include <stdio.h>

#include <atomic>
#include <stdexcept>
#include <utility>

#include "vboard/board.h"
#include "vboard/description.h"
#include "vboard/device.h"
#include "vboard/files.h"
#include "vboard/values.h"

namespace vboard {
extern const Device kGpio;
namespace {

constexpr unsigned kGroups = 8;
constexpr unsigned kBits = 8;

enum Request : unsigned long { kSetDirection = 1, kReadLevel = 3, kWriteLevel = 4 };

struct Record {
  uint32_t group, bit, value;
};

struct GpioState {
  std::atomic<uint8_t> input[kGroups][kBits];      // what the board's wiring drives
  std::atomic<uint8_t> output[kGroups][kBits];     // what the program drives
  std::atomic<uint8_t> direction[kGroups][kBits];  // 1: output
  char name[kGroups][kBits][16];                   // what is wired to the line, after a blank
};

GpioState &Gpio() {
  return StateOf<GpioState>(kGpio);
}

bool IsLine(int64_t group, int64_t bit) {
  return group >= 0 && group < kGroups && bit >= 0 && bit < kBits;
}

constexpr Column kInputColumns[] = {
    {"group", 0, kGroups - 1}, {"bit", 0, kBits - 1}, {"level", 0, 1}};
constexpr Key kKeys[] = {
    {"inputs", key::Rows(kInputColumns), "the levels of input lines at power-on; the others are 0"},
    {"names", key::Pairs(), "what is wired to lines such as \"1,3\", for the event log"},
};

void Make(Section &section) {
  for (const auto &row : section.Rows("inputs")) {
    Gpio().input[row[0]][row[1]] = static_cast<uint8_t>(row[2]);
  }
  for (const auto &[line, name] : section.Pairs("names")) {
    unsigned group = kGroups, bit = kBits;
    sscanf(line.c_str(), "%u,%u", &group, &bit);
    if (!IsLine(group, bit)) section.Fail("names", "has to hold lines such as \"1,3\"");
    Store(Gpio().name[group][bit], " " + name);
  }
  WriteFile(RootPath("/dev/hi_gpio"), "");
}

void Reset() {
  for (unsigned group = 0; group < kGroups; ++group) {
    for (unsigned bit = 0; bit < kBits; ++bit) {
      Gpio().output[group][bit] = 0;
      Gpio().direction[group][bit] = 0;
    }
  }
}

int Unit(std::string_view path) {
  return path == "/dev/hi_gpio" ? 0 : -1;
}

// What a device on the line gives, or else the board's wiring.
uint32_t InputLevel(unsigned group, unsigned bit) {
  for (const Device *device : Devices()) {
    const int level = device->lines ? device->lines->level(group, bit) : -1;
    if (level >= 0) return static_cast<uint32_t>(level);
  }
  return Gpio().input[group][bit];
}

// Tells the devices on the line; true when one of them wants no log of it.
bool IsQuiet(unsigned group, unsigned bit) {
  const int level = Gpio().direction[group][bit] != 0 ? int{Gpio().output[group][bit]} : -1;
  bool quiet = false;
  for (const Device *device : Devices()) {
    if (device->lines && device->lines->driven(group, bit, level)) quiet = true;
  }
  return quiet;
}

int Ioctl(int, int, unsigned long request, void *argument) {
  Record &record = *static_cast<Record *>(argument);
  if (!IsLine(record.group, record.bit)) {
    errno = EINVAL;
    return -1;
  }
  std::atomic<uint8_t> &direction = Gpio().direction[record.group][record.bit];
  std::atomic<uint8_t> &output = Gpio().output[record.group][record.bit];
  const char *name = Gpio().name[record.group][record.bit];
  const uint8_t value = record.value != 0;
  switch (request) {
    case kSetDirection:
      if (direction.exchange(value) != value && !IsQuiet(record.group, record.bit)) {
        Event("gpio: %u,%u%s %s", record.group, record.bit, name, value != 0 ? "output" : "input");
      }
      return 0;
    case kReadLevel:
      record.value = direction != 0 ? output.load() : InputLevel(record.group, record.bit);
      return 0;
    case kWriteLevel:
      if (output.exchange(value) != value && !IsQuiet(record.group, record.bit)) {
        Event("gpio: %u,%u%s = %u", record.group, record.bit, name, value);
      }
      return 0;
    default:
      errno = ENOTTY;
      return -1;
  }
}

void Set(std::span<const std::string> words) {
  const uint32_t group = NumberOf(words[0], kGroups - 1), bit = NumberOf(words[1], kBits - 1);
  const uint32_t level = NumberOf(words[2], 1);
  Gpio().input[group][bit] = static_cast<uint8_t>(level);
  Event("gpio: %u,%u driven %s from outside", group, bit, level != 0 ? "high" : "low");
}

// Of a line that has a name, what it shows is listed with all that the board shows.
void Show(Values &values, unsigned group, unsigned bit) {
  const bool output = Gpio().direction[group][bit] != 0;
  const int64_t driven = Gpio().output[group][bit];
  const std::string name = Gpio().name[group][bit];
  values.List("gpio", [&] {
    values.Object("", [&] {
      values.Number("group", group);
      values.Number("bit", bit);
      if (!name.empty()) values.Text("name", name.substr(1));
      values.Flag("output", output);
      values.Number("level", output ? driven : InputLevel(group, bit));
    });
  });
  if (name.empty()) return;
  values.List("indicators", [&] {
    values.Object("", [&] {
      values.Text("name", name.substr(1));
      values.Number("level", output ? driven : 0);
    });
  });
}

void ShowAll(Values &values) {
  for (unsigned group = 0; group < kGroups; ++group) {
    for (unsigned bit = 0; bit < kBits; ++bit) Show(values, group, bit);
  }
}

constexpr const char *kPaths[] = {"/dev/hi_gpio"};
constexpr Action kActions[] = {
    {"gpio set", "GROUP BIT LEVEL", "drive an input line from outside", Set},
};

}  // namespace

const Device kGpio = {
    .name = "gpio",
    .about = "the GPIO controller: 8 groups of 8 lines",
    .keys = kKeys,
    .stateSize = sizeof(GpioState),
    .paths = kPaths,
    .make = Make,
    .powerOn = Reset,
    .files = FileCalls{.unit = Unit, .ioctl = Ioctl},
    .values = ShowAll,
    .help = "the GPIO lines",
    .actions = kActions,
};

}  // namespace vboard
