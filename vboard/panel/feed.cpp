#include "vboard/panel/feed.h"

#include <algorithm>
#include <utility>

namespace vboard::panel {
namespace {

constexpr size_t kMostLines = 20'000;
constexpr size_t kMostBytes = size_t{8} << 20;
// What a page gets at once, so that it can draw in between.
constexpr size_t kMostInMessage = 2'000;
// A page that is there asks more often.
constexpr std::chrono::seconds kLately{5};

std::string Message(const char *name, const std::string &data) {
  return std::string("event: ") + name + "\ndata: " + data + "\n\n";
}

}  // namespace

// A page that another command's feed had before is told apart by the number of its board.
Feed::Feed()
    : board_(static_cast<uint64_t>(std::chrono::system_clock::now().time_since_epoch().count())) {}

void Feed::Begin() {
  const std::lock_guard lock(mutex_);
  lines_.clear();
  kept_ = last_ = 0;
  ++board_;
  came_.notify_all();
}

void Feed::Add(std::vector<std::string> lines) {
  if (lines.empty()) return;
  const std::lock_guard lock(mutex_);
  for (std::string &line : lines) {
    kept_ += line.size();
    lines_.push_back(std::move(line));
    ++last_;
  }
  for (; lines_.size() > kMostLines || kept_ > kMostBytes; lines_.pop_front()) {
    kept_ -= lines_.front().size();
  }
  came_.notify_all();
}

void Feed::SetState(std::string state) {
  const std::lock_guard lock(mutex_);
  if (state == state_) return;
  state_ = std::move(state);
  ++states_;
  came_.notify_all();
}

bool Feed::IsRead() {
  const std::lock_guard lock(mutex_);
  return std::chrono::steady_clock::now() - asked_ < kLately;
}

bool Feed::HasNews(const Place &place) const {
  return closed_ || place.board != board_ || place.line != last_ || place.state != states_;
}

std::string Feed::Next(Place *place, std::chrono::milliseconds patience) {
  std::unique_lock lock(mutex_);
  asked_ = std::chrono::steady_clock::now();
  came_.wait_for(lock, patience, [&] { return HasNews(*place); });
  std::string text;
  if (closed_) return text;
  if (place->board != board_) {
    *place = {board_, 0, 0};
    text += Message("board", "null");
  }
  if (place->state != states_) text += Message("state", state_);
  place->state = states_;
  const uint64_t gone = last_ - lines_.size();
  place->line = std::min(place->line, last_);  // what a request says may be anything
  if (place->line < gone) {
    text += Message("missed", std::to_string(gone - place->line));
    place->line = gone;
  }
  const size_t count = std::min<size_t>(last_ - place->line, kMostInMessage);
  if (count == 0) return text;
  std::string list;
  for (size_t i = 0; i < count; ++i) list += (i > 0 ? "," : "") + lines_[place->line - gone + i];
  place->line += count;
  const std::string id = std::to_string(board_) + " " + std::to_string(place->line);
  return text + "id: " + id + "\n" + Message("lines", "[" + list + "]");
}

void Feed::Close() {
  const std::lock_guard lock(mutex_);
  closed_ = true;
  came_.notify_all();
}

}  // namespace vboard::panel
