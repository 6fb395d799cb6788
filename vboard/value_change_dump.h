// A value change dump, the file that waveform viewers show: signals and when each of
// them changes.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace vboard {

class ValueChangeDump {
 public:
  // The signal of this name in this scope, of so many bits. Known from its first use on, its value
  // x until it is set.
  size_t Signal(const std::string &scope, const std::string &name, unsigned width = 1);
  // An addition to a signal's name, which may come late.
  void Rename(size_t signal, const std::string &name);

  // Sets a signal at a moment in microseconds: to a number, or to "x" (unknown) or "z" (driven by
  // nobody). In any order; of changes at the same moment the one that came first is first.
  void Set(int64_t time, size_t signal, uint64_t number);
  void Set(int64_t time, size_t signal, const std::string &value);
  // The time of the last change so far.
  int64_t End() const { return end_; }

  std::string Text() const;

 private:
  struct Declared {
    std::string scope, name;
    unsigned width;
  };
  struct Change {
    int64_t time;
    size_t signal;
    std::string value;
  };
  std::string Declarations() const;
  std::string Line(size_t signal, const std::string &value) const;

  std::vector<Declared> signals_;
  std::map<std::pair<std::string, std::string>, size_t> places_;
  std::vector<Change> changes_;
  int64_t end_ = 0;
};

}  // namespace vboard
