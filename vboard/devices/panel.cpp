// The key matrix on GPIO lines: a pressed key connects its scan line with its sense line. A
// sense line is pulled up; it reads 0 while a scan line that is driven 0 is connected to it.
#include <algorithm>
#include <atomic>
#include <iterator>
#include <stdexcept>
#include <string>

#include "vboard/board.h"
#include "vboard/description.h"
#include "vboard/device.h"
#include "vboard/values.h"

namespace vboard {
extern const Device kPanel;
namespace {

constexpr size_t kLines = 5;
constexpr size_t kKeyCount = kLines * kLines;

struct Line {
  uint8_t group, bit;
};

struct PanelState {
  bool fitted;
  Line scan[kLines];
  Line sense[kLines];
  std::atomic<bool> low[kLines];  // the scan line is driven 0
  std::atomic<bool> pressed[kKeyCount];
};

PanelState &Panel() {
  return StateOf<PanelState>(kPanel);
}

constexpr Column kLineColumns[] = {{"group", 0, 7}, {"bit", 0, 7}};
constexpr Value kLineList = key::Rows(kLineColumns).Exactly(kLines).Optional("no key matrix");
constexpr Key kKeys[] = {
    {"scan", kLineList, "the GPIO lines that the program drives one after the other"},
    {"sense", kLineList, "the GPIO lines on which it sees the keys of the line that it drives"},
};

void ReadLines(Section &section, const char *key, Line (&lines)[kLines]) {
  if (!section.Has(key)) section.Fail(key, "is missing");
  const auto rows = section.Rows(key);
  std::transform(rows.begin(), rows.end(), lines, [](const auto &row) {
    return Line{static_cast<uint8_t>(row[0]), static_cast<uint8_t>(row[1])};
  });
}

void Make(Section &section) {
  Panel().fitted = section.Has("scan") || section.Has("sense");
  if (!Panel().fitted) return;
  ReadLines(section, "scan", Panel().scan);
  ReadLines(section, "sense", Panel().sense);
}

void Reset() {
  for (auto &low : Panel().low) low = false;
}

// The place of a GPIO line in the list, or kLines.
size_t Find(const Line (&lines)[kLines], unsigned group, unsigned bit) {
  if (!Panel().fitted) return kLines;
  const Line *found = std::find_if(std::begin(lines), std::end(lines), [&](const Line &line) {
    return line.group == group && line.bit == bit;
  });
  return static_cast<size_t>(found - lines);
}

int SenseLevel(unsigned group, unsigned bit) {
  const size_t sense = Find(Panel().sense, group, bit);
  if (sense == kLines) return -1;
  for (size_t scan = 0; scan < kLines; ++scan) {
    if (Panel().low[scan] && Panel().pressed[scan * kLines + sense]) return 0;
  }
  return 1;
}

bool Driven(unsigned group, unsigned bit, int level) {
  const size_t scan = Find(Panel().scan, group, bit);
  if (scan < kLines) Panel().low[scan] = level == 0;
  return scan < kLines || Find(Panel().sense, group, bit) < kLines;
}

void Change(const std::string &word, bool pressed) {
  if (!Panel().fitted) throw std::invalid_argument("this board has no key matrix");
  const uint32_t key = NumberOf(word, kKeyCount - 1);
  Event("panel: key %u %s", key, pressed ? "pressed" : "released");
  Panel().pressed[key] = pressed;
}

void Press(std::span<const std::string> words) {
  Change(words[0], true);
}

void Release(std::span<const std::string> words) {
  Change(words[0], false);
}

void ShowLines(Values &values, const char *name, const Line (&lines)[kLines]) {
  values.List(name, [&] {
    for (const Line &line : lines) {
      values.Object("", [&] {
        values.Number("group", line.group);
        values.Number("bit", line.bit);
      });
    }
  });
}

void Show(Values &values) {
  values.Object("keys", [&] {
    values.Number("count", Panel().fitted ? kKeyCount : 0);
    if (!Panel().fitted) return;
    ShowLines(values, "scan", Panel().scan);
    ShowLines(values, "sense", Panel().sense);
    values.List("held", [&] {
      for (size_t key = 0; key < kKeyCount; ++key) {
        if (Panel().pressed[key]) values.Number("", static_cast<int64_t>(key));
      }
    });
  });
}

constexpr Action kActions[] = {
    {"key press", "N", "press a key of the matrix: scan line times 5 plus sense line", Press},
    {"key release", "N", "release a key of the matrix", Release},
};

}  // namespace

const Device kPanel = {
    .name = "panel",
    .about = "the key matrix",
    .keys = kKeys,
    .stateSize = sizeof(PanelState),
    .make = Make,
    .powerOn = Reset,
    .lines = GpioLines{.level = SenseLevel, .driven = Driven},
    .values = Show,
    .help = "the keys of the matrix",
    .actions = kActions,
};

}  // namespace vboard
