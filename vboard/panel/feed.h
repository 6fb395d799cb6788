// What the pages of a board's panel are told: the lines that came, one after the other, and the
// board's latest state. All pages read from one bounded store; one that falls behind it is told how
// many lines it missed.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

namespace vboard::panel {

// Where a page is.
struct Place {
  uint64_t board = 0;  // which one it shows
  uint64_t line = 0;   // the last one that it got
  uint64_t state = 0;  // the number of the state that it got
};

class Feed {
 public:
  Feed();
  // Lines and state as JSON.
  void Add(std::vector<std::string> lines);
  void SetState(std::string state);
  // Another board: the pages forget the one before.
  void Begin();
  // What a page at this place gets next, as server-sent events; waits so long for something to
  // come. Empty when nothing came. Takes the page on.
  std::string Next(Place *place, std::chrono::milliseconds patience);
  // Whether a page has asked lately.
  bool IsRead();
  // Has all who wait return.
  void Close();

 private:
  bool HasNews(const Place &place) const;

  std::mutex mutex_;
  std::condition_variable came_;
  std::deque<std::string> lines_;
  uint64_t last_ = 0;  // the number of the last line, counted from 1
  size_t kept_ = 0;    // bytes
  std::string state_;
  uint64_t states_ = 0;
  std::chrono::steady_clock::time_point asked_;
  uint64_t board_;
  bool closed_ = false;
};

}  // namespace vboard::panel
