#include "vboard/value_change_dump.h"

#include <ctype.h>

#include <algorithm>

namespace vboard {
namespace {

// What stands for a signal in the changes: printable characters, the more the later it is declared.
std::string Code(size_t signal) {
  constexpr char kFirst = '!';
  constexpr size_t kCount = 94;
  std::string code;
  do {
    code += static_cast<char>(kFirst + static_cast<char>(signal % kCount));
    signal /= kCount;
  } while (signal > 0);
  return code;
}

std::string Identifier(std::string name) {
  std::replace_if(
      name.begin(), name.end(), [](unsigned char c) { return isalnum(c) == 0; }, '_');
  return name;
}

std::string Binary(uint64_t number, unsigned width) {
  std::string digits;
  while (width-- > 0) digits += (number >> width & 1) != 0 ? '1' : '0';
  return digits;
}

}  // namespace

size_t ValueChangeDump::Signal(const std::string &scope, const std::string &name, unsigned width) {
  const auto [place, isNew] = places_.try_emplace({scope, name}, signals_.size());
  if (isNew) signals_.push_back({Identifier(scope), Identifier(name), width});
  return place->second;
}

void ValueChangeDump::Rename(size_t signal, const std::string &name) {
  signals_[signal].name = Identifier(name);
}

void ValueChangeDump::Set(int64_t time, size_t signal, uint64_t number) {
  Set(time, signal, Binary(number, signals_[signal].width));
}

void ValueChangeDump::Set(int64_t time, size_t signal, const std::string &value) {
  changes_.push_back({time, signal, value});
  end_ = std::max(end_, time);
}

std::string ValueChangeDump::Declarations() const {
  std::vector<size_t> order(signals_.size());
  for (size_t i = 0; i < order.size(); ++i) order[i] = i;
  std::sort(order.begin(), order.end(), [&](size_t a, size_t b) {
    return std::pair(signals_[a].scope, signals_[a].name) <
           std::pair(signals_[b].scope, signals_[b].name);
  });
  std::string text, scope;
  for (const size_t i : order) {
    if (signals_[i].scope != scope) {
      if (!scope.empty()) text += "$upscope $end\n";
      scope = signals_[i].scope;
      text += "$scope module " + scope + " $end\n";
    }
    text += "$var wire " + std::to_string(signals_[i].width) + " " + Code(i) + " " +
            signals_[i].name + " $end\n";
  }
  return scope.empty() ? text : text + "$upscope $end\n";
}

std::string ValueChangeDump::Line(size_t signal, const std::string &value) const {
  return signals_[signal].width == 1 ? value + Code(signal) + "\n"
                                     : "b" + value + " " + Code(signal) + "\n";
}

std::string ValueChangeDump::Text() const {
  std::string text = "$timescale 1 us $end\n$scope module board $end\n" + Declarations() +
                     "$upscope $end\n$enddefinitions $end\n#0\n$dumpvars\n";
  std::vector<std::string> values(signals_.size(), "x");
  for (size_t i = 0; i < values.size(); ++i) text += Line(i, values[i]);
  text += "$end\n";

  std::vector<Change> changes = changes_;
  std::stable_sort(changes.begin(), changes.end(),
                   [](const Change &a, const Change &b) { return a.time < b.time; });
  int64_t time = 0;
  for (const Change &change : changes) {
    if (values[change.signal] == change.value) continue;
    if (change.time != time) text += "#" + std::to_string(time = change.time) + "\n";
    values[change.signal] = change.value;
    text += Line(change.signal, change.value);
  }
  return time < end_ ? text + "#" + std::to_string(end_) + "\n" : text;
}

}  // namespace vboard
