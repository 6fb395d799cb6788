// How far a campaign is: a bar, the rate and the time left, where a person sees it.
#pragma once

#include <stddef.h>

#include <chrono>

namespace campaign {

class Progress {
 public:
  explicit Progress(size_t all) : all_(all) {}

  void Add(bool broken);
  // Makes room for a line about something else.
  void Clear() const;
  // Prints what came of it.
  void End() const;

  size_t Broken() const { return broken_; }

 private:
  using Clock = std::chrono::steady_clock;

  double Seconds() const;
  double Rate() const;
  void Show() const;

  size_t all_, done_ = 0, broken_ = 0;
  Clock::time_point start_ = Clock::now(), shown_;
};

}  // namespace campaign
