#include "vboard/panel/watch.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <mutex>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

#include "vboard/actions.h"
#include "vboard/board.h"
#include "vboard/console_log.h"
#include "vboard/json.h"
#include "vboard/transcript.h"

namespace vboard::panel {
namespace {

using Json = nlohmann::ordered_json;

constexpr auto kPause = std::chrono::milliseconds(25);
// A long log is taken in parts, for a line is far longer in the feed than in its file.
constexpr size_t kMostAtOnce = size_t{1} << 20;
// A state is looked at so many pauses after the one before.
constexpr int kStatePauses = 8;

std::string Text(const Json &json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

uint64_t FileNumber(const std::string &path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

// The log counts its time from each boot.
std::string EventText(const std::string &line, uint32_t *boots) {
  const Line event = EventLine(line);
  sscanf(event.text.c_str(), "power: on, boot %u", boots);
  return R"({"kind":"event","boots":)" + std::to_string(*boots) + "," + EventJson(event).substr(1);
}

std::string ConsoleText(const std::string &line) {
  unsigned boots = 0;
  double time = 0;
  int length = 0;
  sscanf(line.c_str(), "%u %lf%n", &boots, &time, &length);
  const size_t begin = std::min(line.size(), static_cast<size_t>(length) + 1);
  return Text(
      {{"kind", "console"}, {"boots", boots}, {"time", time}, {"text", line.substr(begin)}});
}

}  // namespace

Tail::~Tail() {
  if (fd_ >= 0) close(fd_);
}

bool Tail::IsAnother() const {
  struct stat now = {}, ours = {};
  if (stat(path_.c_str(), &now) != 0) return false;
  if (fd_ < 0 || fstat(fd_, &ours) != 0) return true;
  return now.st_ino != ours.st_ino || ours.st_size < lseek(fd_, 0, SEEK_CUR);
}

bool Tail::Read(std::vector<std::string> *lines) {
  char data[65536];
  ssize_t length = 0;
  for (size_t taken = 0; fd_ >= 0 && (length = read(fd_, data, sizeof data)) > 0;) {
    rest_.append(data, static_cast<size_t>(length));
    size_t begin = 0;
    for (size_t end; (end = rest_.find('\n', begin)) != std::string::npos; begin = end + 1) {
      lines->push_back(rest_.substr(begin, end - begin));
    }
    rest_.erase(0, begin);
    taken += static_cast<size_t>(length);
    if (taken >= kMostAtOnce) return false;
  }
  return true;
}

std::vector<std::string> Tail::Take() {
  std::vector<std::string> lines;
  if (!Read(&lines) || !IsAnother()) return lines;
  if (fd_ >= 0) close(fd_);
  fd_ = open(path_.c_str(), O_RDONLY | O_CLOEXEC);
  rest_.clear();
  Read(&lines);
  return lines;
}

Watch::Watch(Feed *feed, bool follows)
    : feed_(feed),
      follows_(follows),
      folder_(Folder()),
      board_(FileNumber(folder_ + "/state")),
      events_(EventsPath()),
      console_(ConsolePath()),
      thread_([this] { Run(); }) {}

Watch::~Watch() {
  ends_ = true;
  thread_.join();
}

void Watch::Run() {
  for (int pauses = 0; !ends_; ++pauses) {
    if (follows_) Follow();
    Look();
    if (open_ && feed_->IsRead() && pauses % kStatePauses == 0) LookAtState();
    std::this_thread::sleep_for(kPause);
  }
}

// The console first, and told last: so what a line came of is told before it.
void Watch::Look() {
  std::vector<std::string> console = console_.Take(), lines = events_.Take();
  for (std::string &line : lines) line = EventText(line, &boots_);
  for (const std::string &line : console) lines.push_back(ConsoleText(line));
  feed_->Add(std::move(lines));
}

void Watch::LookAtState() {
  try {
    feed_->SetState(StateJson());
  } catch (const std::exception &) {
    // The board's files are just going, or being made anew.
  }
}

void Watch::Follow() {
  const uint64_t board = FileNumber(folder_ + "/state");
  if (open_ && board == board_) return;
  const std::unique_lock lock(openBoard_);
  try {
    open_ = false;
    Open(folder_);
    open_ = true;
    board_ = board;
    boots_ = 0;
    feed_->Begin();
  } catch (const std::runtime_error &) {
    // It is not there yet, or just being made.
  }
}

void Watch::Act(std::span<const std::string> words) {
  const std::shared_lock lock(openBoard_);
  if (!open_) throw std::runtime_error("no board is in " + folder_);
  std::span<const std::string> rest;
  const Action &action = FindAction(words, &rest);
  if (action.prints) throw std::invalid_argument("it prints, which is for a terminal");
  Perform(action, rest, &ends_);
}

}  // namespace vboard::panel
