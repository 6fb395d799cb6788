// Looks after a board for its panel, from a thread of its own: reads what came and the board's
// state into the feed. It reads files and shared memory alone, so that the board does not notice.
#pragma once

#include <stdint.h>

#include <atomic>
#include <shared_mutex>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "vboard/panel/feed.h"

namespace vboard::panel {

// A file that grows, or is begun anew.
class Tail {
 public:
  explicit Tail(std::string path) : path_(std::move(path)) {}
  ~Tail();
  Tail(const Tail &) = delete;
  Tail &operator=(const Tail &) = delete;
  // The whole lines that came since the last look, of much the first part.
  std::vector<std::string> Take();

 private:
  // False when there is more.
  bool Read(std::vector<std::string> *lines);
  bool IsAnother() const;

  std::string path_;
  std::string rest_;
  int fd_ = -1;
};

class Watch {
 public:
  // Of the open board. Follows: where another board is made in its folder, that one is looked at.
  Watch(Feed *feed, bool follows);
  ~Watch();
  Watch(const Watch &) = delete;
  Watch &operator=(const Watch &) = delete;

  // Does what the words of an action say. Throws std::exception.
  void Act(std::span<const std::string> words);
  // No action waits for the board any longer.
  void End() { ends_ = true; }

 private:
  void Run();
  void Look();
  void LookAtState();
  void Follow();

  Feed *feed_;
  bool follows_;
  std::string folder_;
  uint64_t board_;               // which file its state is
  std::shared_mutex openBoard_;  // held by who uses the board, and alone by who opens another
  bool open_ = true;
  Tail events_, console_;
  uint32_t boots_ = 0;  // of the last event
  std::atomic<bool> ends_ = false;
  std::thread thread_;
};

}  // namespace vboard::panel
