// The bus behind /dev/gpioi2c with the clock chip (0xd0) and the temperature sensor (0x90). The
// chip has the date in registers 0 to 6 and memory in the rest; a battery keeps both while the
// power is off. Signal handlers read it: no call takes memory from the heap.
#include <errno.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <stdexcept>

#include "vboard/board.h"
#include "vboard/description.h"
#include "vboard/device.h"
#include "vboard/faults.h"
#include "vboard/files.h"
#include "vboard/values.h"

namespace vboard {
extern const Device kClock;
namespace {

constexpr uint8_t kChip = 0xd0;
constexpr uint8_t kSensor = 0x90;
constexpr size_t kFirstMemory = 8;

enum Request : unsigned long { kReadByte = 1, kWriteByte = 2 };

// Registers of the date, as the chip counts them.
enum Register : uint8_t { kSeconds, kMinutes, kHours, kWeekday, kDay, kMonth, kYear, kDateEnd };

struct ClockState {
  uint8_t registers[256];
  int64_t countedTo;  // the board's lifetime at which the date was as the registers have it
  uint8_t temperature;
  bool batteryFlat;
};

ClockState &Clock() {
  return StateOf<ClockState>(kClock);
}

// Tens and units, or -1 for digits that are none.
int FromBcd(uint8_t value) {
  return value >> 4 > 9 || (value & 0xf) > 9 ? -1 : (value >> 4) * 10 + (value & 0xf);
}

uint8_t ToBcd(int64_t value) {
  return static_cast<uint8_t>(value / 10 % 10 << 4 | value % 10);
}

// Highest value of each register, with the lowest.
constexpr struct {
  int lowest, highest;
} kRanges[kDateEnd] = {{0, 59}, {0, 59}, {0, 23}, {1, 7}, {1, 31}, {1, 12}, {0, 99}};

bool IsDate(const uint8_t *registers) {
  for (size_t i = 0; i < kDateEnd; ++i) {
    const int value = FromBcd(registers[i]);
    if (value < kRanges[i].lowest || value > kRanges[i].highest) return false;
  }
  return true;
}

std::chrono::sys_days DayOf(const uint8_t *registers) {
  const std::chrono::year_month_day date(
      std::chrono::year(2000 + FromBcd(registers[kYear])),
      std::chrono::month(static_cast<unsigned>(FromBcd(registers[kMonth]))),
      std::chrono::day(static_cast<unsigned>(FromBcd(registers[kDay]))));
  return date;  // a day behind the month's last one counts on into the next month
}

int64_t SecondOfDay(const uint8_t *registers) {
  return FromBcd(registers[kHours]) * 3600 + FromBcd(registers[kMinutes]) * 60 +
         FromBcd(registers[kSeconds]);
}

// Sets the date so many seconds on.
void Advance(uint8_t *registers, int64_t seconds) {
  const int64_t time = SecondOfDay(registers) + seconds;
  const int64_t days = time / 86'400;
  const std::chrono::year_month_day date(DayOf(registers) + std::chrono::days(days));
  registers[kSeconds] = ToBcd(time % 60);
  registers[kMinutes] = ToBcd(time / 60 % 60);
  registers[kHours] = ToBcd(time / 3600 % 24);
  registers[kWeekday] = static_cast<uint8_t>((registers[kWeekday] - 1 + days) % 7 + 1);
  registers[kDay] = ToBcd(unsigned{date.day()});
  registers[kMonth] = ToBcd(unsigned{date.month()});
  registers[kYear] = ToBcd(int{date.year()} - 2000);
}

// Brings the date up to now. A chip that holds no date does not count.
void CountOn() {
  const int64_t seconds = (Lifetime() - Clock().countedTo) / kSecond;
  if (seconds <= 0) return;
  Clock().countedTo += seconds * kSecond;
  if (IsDate(Clock().registers)) Advance(Clock().registers, seconds);
}

void SetDate(const std::string &text) {
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0, length = 0;
  sscanf(text.c_str(), "%4d-%2d-%2d %2d:%2d:%2d%n", &year, &month, &day, &hour, &minute, &second,
         &length);
  uint8_t *registers = Clock().registers;
  const int values[kDateEnd] = {second, minute, hour, 1, day, month, year - 2000};
  for (size_t i = 0; i < kDateEnd; ++i) {
    if (values[i] < kRanges[i].lowest || values[i] > kRanges[i].highest) length = 0;
    registers[i] = ToBcd(values[i]);
  }
  if (length == 0 || static_cast<size_t>(length) != text.size()) {
    throw std::invalid_argument("the time is a text such as \"2026-11-16 06:48:14\"");
  }
  const std::chrono::weekday weekday(DayOf(registers));
  registers[kWeekday] = static_cast<uint8_t>(weekday.c_encoding() + 1);
  Clock().countedTo = Lifetime();
}

constexpr Column kMemoryColumns[] = {{"address", 0, 247}, {"byte", 0, 0xff}};
constexpr Key kKeys[] = {
    {"fitted", key::Flag(true), "the board has the bus to chip and sensor, /dev/gpioi2c"},
    {"time", key::Text().Default("2026-01-01 00:00:00"), "the chip's date and time"},
    {"nvram", key::Rows(kMemoryColumns), "what the chip's memory holds besides zeros"},
    {"battery_flat", key::Flag(false), "at power-on the chip knows neither date nor memory"},
    {"temperature", key::Number(0, 0xff).Default(42),
     "what the sensor measures: degrees as a signed byte"},
    {"minutes_west", key::Number(-840, 720).Default(0), "the kernel's time zone"},
};

void Make(Section &section) {
  try {
    SetDate(section.Text("time"));
  } catch (const std::invalid_argument &error) {
    section.Fail("time", error.what());
  }
  for (const auto &row : section.Rows("nvram")) {
    Clock().registers[kFirstMemory + static_cast<size_t>(row[0])] = static_cast<uint8_t>(row[1]);
  }
  Clock().temperature = section.Number<uint8_t>("temperature");
  Clock().batteryFlat = section.Flag("battery_flat");
  State().time.minutesWest = section.Number<int32_t>("minutes_west");
  if (section.Flag("fitted")) WriteFile(RootPath("/dev/gpioi2c"), "");
}

// Nothing has kept the chip alive.
void Reset() {
  if (Clock().batteryFlat) memset(Clock().registers, 0xff, sizeof Clock().registers);
}

int Unit(std::string_view path) {
  return path == "/dev/gpioi2c" ? 0 : -1;
}

// 0 or an errno value.
int ReadByte(uint8_t device, uint8_t index, uint8_t *byte) {
  if (device == kSensor && index == 0) {
    *byte = Clock().temperature;
    return 0;
  }
  if (device != kChip) return ENXIO;
  const Lock lock;
  CountOn();
  *byte = Clock().registers[index];
  return 0;
}

int WriteByte(uint8_t device, uint8_t index, uint8_t byte) {
  if (device != kChip) return ENXIO;
  {
    const Lock lock;
    CountOn();
    Clock().registers[index] = byte;
    if (index == kSeconds) Clock().countedTo = Lifetime();  // a second begins
  }
  Event(index < kFirstMemory ? "clock: register %d = 0x%02x" : "clock: nvram %d = 0x%02x",
        index < kFirstMemory ? index : static_cast<int>(index - kFirstMemory), byte);
  return 0;
}

int Ioctl(int, int, unsigned long request, void *argument) {
  uint32_t &word = *static_cast<uint32_t *>(argument);
  const auto device = static_cast<uint8_t>(word >> 24), index = static_cast<uint8_t>(word >> 16);
  auto byte = static_cast<uint8_t>(word);
  int error = ENOTTY;
  if (request == kReadByte) error = ReadByte(device, index, &byte);
  if (request == kWriteByte) error = WriteByte(device, index, byte);
  if (error != 0) {
    errno = error;
    return -1;
  }
  word = (word & 0xffff0000) | byte;
  return 0;
}

void SetTime(std::span<const std::string> words) {
  {
    const Lock lock;
    SetDate(words[0] + " " + words[1]);
  }
  Event("clock: set to %s %s from outside", words[0].c_str(), words[1].c_str());
}

void SetBattery(std::span<const std::string> words) {
  if (words[0] != "flat" && words[0] != "new") throw std::invalid_argument("'flat' or 'new'");
  Clock().batteryFlat = words[0] == "flat";
  Event("clock: battery %s", words[0].c_str());
}

void SetTemperature(std::span<const std::string> words) {
  const uint32_t degrees = NumberOf(words[0], 0xff);
  Clock().temperature = static_cast<uint8_t>(degrees);
  Event("temperature: %u", degrees);
}

void Show(Values &values) {
  uint8_t registers[kDateEnd];
  {
    const Lock lock;
    CountOn();
    std::copy_n(Clock().registers, kDateEnd, registers);
  }
  char date[32] = "";
  if (IsDate(registers)) {
    snprintf(date, sizeof date, "20%02x-%02x-%02x %02x:%02x:%02x", registers[kYear],
             registers[kMonth], registers[kDay], registers[kHours], registers[kMinutes],
             registers[kSeconds]);
  }
  values.Object("clock", [&] {
    values.Text("date", date);
    values.Text("battery", Clock().batteryFlat ? "flat" : "new");
    values.Number("system", SystemClock() / kSecond);
    values.Number("minutes_west", State().time.minutesWest);
  });
  values.Object("temperature", [&] { values.Number("degrees", Clock().temperature); });
}

constexpr const char *kPaths[] = {"/dev/gpioi2c"};
constexpr Action kActions[] = {
    {"clock set", "DATE TIME", "set the clock chip, as in 2026-11-16 06:48:14", SetTime},
    {"clock battery", "STATE",
     "'flat': from the next power-on the clock chip knows neither date nor settings; 'new'",
     SetBattery},
    {"temperature set", "DEGREES", "what the temperature sensor measures", SetTemperature},
};

}  // namespace

const Device kClock = {
    .name = "clock",
    .about = "clock chip and temperature sensor",
    .keys = kKeys,
    .stateSize = sizeof(ClockState),
    .paths = kPaths,
    .make = Make,
    .powerOn = Reset,
    .files = FileCalls{.unit = Unit, .ioctl = Ioctl},
    .values = Show,
    .help = "clock chip and temperature sensor: date, battery, what is measured",
    .actions = kActions,
};

}  // namespace vboard
