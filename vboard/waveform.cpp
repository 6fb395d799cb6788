// In board time. Boots follow each other with a gap between them, for the log does not tell how
// long the power was off. Bytes that come or go at once, for the model of a serial line takes no
// time, are shown one after the other, each for a microsecond and with one of rest behind it.
#include "vboard/waveform.h"

#include <math.h>
#include <stdlib.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <set>
#include <vector>

#include "vboard/event_forms.h"
#include "vboard/event_log.h"
#include "vboard/value_change_dump.h"

namespace vboard {
namespace {

constexpr int64_t kGap = 1000;         // microseconds between two boots
constexpr double kLargestStep = 0.01;  // seconds that two processes' events may be out of order
constexpr const char *kNobody = "z";
constexpr const char *kUnknown = "x";

class Recorder {
 public:
  void Take(const Line &event);
  std::string Text() const { return dump_.Text(); }

 private:
  // What drives a GPIO line. The program's level counts while it has made the line an output.
  struct GpioLine {
    bool output = false;
    int64_t level = 0;
    int64_t outside = -1;  // -1: not known
  };

  void ComeTo(const Line &event, bool switchedOn);
  void SwitchOn();
  void SwitchOff();
  void Set(size_t signal, int64_t number);
  void Pulses(size_t signal, const std::vector<uint8_t> &bytes);
  void TakePower(const Line &event, const Meaning &meaning);
  void TakeGpio(const Line &event, const Meaning &meaning);
  void TakeKey(const Line &event, const Meaning &meaning);
  void TakeCode(const Line &event, const Meaning &meaning);
  void TakeBytes(const Line &event, const Meaning &meaning);
  void NoteLife(const Line &event, const Meaning &meaning);

  ValueChangeDump dump_;
  bool on_ = false;
  double last_ = 0;   // seconds, of the last event
  int64_t boot_ = 0;  // when the board was switched on
  int64_t now_ = 0;
  std::map<std::pair<int64_t, int64_t>, GpioLine> lines_;
  std::map<size_t, int64_t> free_;  // from when on a signal can show another byte
  std::set<size_t> powered_;        // signals that nobody knows without power
  std::set<int> ended_;             // processes of this boot
};

void Recorder::Take(const Line &event) {
  static constexpr struct {
    const char *device;
    void (Recorder::*take)(const Line &, const Meaning &);
  } kDevices[] = {
      {"power", &Recorder::TakePower}, {"watchdog", &Recorder::TakePower},
      {"gpio", &Recorder::TakeGpio},   {"keys", &Recorder::TakeKey},
      {"ir", &Recorder::TakeCode},     {"uart", &Recorder::TakeBytes},
  };
  const Meaning meaning = MeaningOf(event);
  const std::string device = meaning.device;
  ComeTo(event, device == "power" && meaning.event == std::string("on"));
  if (event.process > 0) NoteLife(event, meaning);
  for (const auto &[known, take] : kDevices) {
    if (device == known) (this->*take)(event, meaning);
  }
}

// A board without a machine is switched on without an event, and its time begins anew.
void Recorder::ComeTo(const Line &event, bool switchedOn) {
  const bool anew = event.time < last_ - kLargestStep;
  last_ = event.time;
  if (switchedOn || anew) {
    SwitchOff();
    if (dump_.End() > 0) boot_ = dump_.End() + kGap;
  }
  const int64_t moment = boot_ + llround(event.time * 1e6);
  now_ = switchedOn || anew ? moment : std::max(now_, moment);
  if (switchedOn || anew || (!on_ && event.process > 0 && dump_.End() == 0)) SwitchOn();
}

void Recorder::SwitchOn() {
  on_ = true;
  Set(dump_.Signal("power", "on"), 1);
}

void Recorder::SwitchOff() {
  if (!on_) return;
  on_ = false;
  Set(dump_.Signal("power", "on"), 0);
  for (const size_t signal : powered_) dump_.Set(now_, signal, kUnknown);
  for (auto &[place, line] : lines_) line = {.outside = line.outside};
  ended_.clear();
}

void Recorder::Set(size_t signal, int64_t number) {
  dump_.Set(now_, signal, static_cast<uint64_t>(number));
}

void Recorder::Pulses(size_t signal, const std::vector<uint8_t> &bytes) {
  int64_t time = std::max(now_, free_[signal]);
  for (const uint8_t byte : bytes) {
    dump_.Set(time, signal, uint64_t{byte});
    dump_.Set(time + 1, signal, kNobody);
    time += 2;
  }
  free_[signal] = time;
}

void Recorder::TakePower(const Line &, const Meaning &meaning) {
  const std::string event = meaning.event;
  if (event == "on") Set(dump_.Signal("power", "boot", 32), meaning.Get<int64_t>("boot", 0));
  if (event == "cut" || event == "not fed") SwitchOff();
}

void Recorder::TakeGpio(const Line &, const Meaning &meaning) {
  const auto group = meaning.Get<int64_t>("group", 0), bit = meaning.Get<int64_t>("bit", 0);
  const std::string name = "gpio_" + std::to_string(group) + "_" + std::to_string(bit);
  const size_t signal = dump_.Signal("gpio", name);
  const std::string wired = meaning.Get<std::string>("name", "");
  if (!wired.empty()) dump_.Rename(signal, name + "_" + wired);
  powered_.insert(signal);
  GpioLine &line = lines_[{group, bit}];
  const bool outside = meaning.event == std::string("driven");
  line.output = meaning.Get("output", line.output);
  int64_t &level = outside ? line.outside : line.level;
  level = meaning.Get("level", level);
  const int64_t shown = line.output ? line.level : line.outside;
  if (shown < 0) return dump_.Set(now_, signal, kNobody);
  Set(signal, shown);
}

void Recorder::TakeKey(const Line &, const Meaning &meaning) {
  const std::string key = std::to_string(meaning.Get<int64_t>("key", 0));
  Set(dump_.Signal("keys", "key_" + key), meaning.Get("pressed", false) ? 1 : 0);
}

void Recorder::TakeCode(const Line &, const Meaning &meaning) {
  Pulses(dump_.Signal("ir", "code", 8), {static_cast<uint8_t>(meaning.Get<int64_t>("code", 0))});
}

void Recorder::TakeBytes(const Line &, const Meaning &meaning) {
  const std::string scope = "uart" + std::to_string(meaning.Get<int64_t>("port", 0));
  const std::string text = meaning.Get<std::string>("bytes", "");
  if (text.empty()) return;
  std::vector<uint8_t> bytes;
  for (size_t at = 0; at + 1 < text.size(); at += 2) {
    bytes.push_back(static_cast<uint8_t>(strtoul(text.substr(at, 2).c_str(), nullptr, 16)));
  }
  Pulses(dump_.Signal(scope, meaning.event, 8), bytes);
  const std::string indicator = meaning.Get<std::string>("name", "");
  if (indicator.empty()) return;
  const size_t signal = dump_.Signal(scope, indicator, indicator.starts_with("LED") ? 8 : 1);
  powered_.insert(signal);
  Set(signal, meaning.Get<int64_t>("level", 0));
}

// A process lives from its first event on until it exits, or the power goes.
void Recorder::NoteLife(const Line &event, const Meaning &meaning) {
  const size_t signal = dump_.Signal("processes", "process_" + std::to_string(event.process));
  powered_.insert(signal);
  if (meaning.event == std::string("exit")) ended_.insert(event.process);
  Set(signal, ended_.count(event.process) == 0 ? 1 : 0);
}

}  // namespace

std::string Waveform() {
  Recorder recorder;
  EventLog log;
  log.Take([&](const std::string &line) { recorder.Take(EventLine(line)); });
  return recorder.Text();
}

}  // namespace vboard
