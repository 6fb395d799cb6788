#include "vboard/transcript.h"

#include <ctype.h>
#include <stdio.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <random>
#include <utility>

#include "vboard/board.h"

namespace vboard {
namespace {

constexpr size_t kLongestLine = 4096;
constexpr size_t kMostKept = size_t{16} << 20;

std::string DrawMark() {
  std::random_device random;
  char mark[sizeof Shared::mark];
  snprintf(mark, sizeof mark, "%08x%08x", random(), random());
  return mark;
}

size_t Size(const Line &line) {
  return sizeof line + line.text.size();
}

}  // namespace

Line EventLine(std::string text) {
  Line line;
  line.event = true;
  line.cut = text.size() >= kLongestEvent;
  line.text = std::move(text);
  int length = 0;
  if (sscanf(line.text.c_str(), "%lf [%d] %n", &line.time, &line.process, &length) == 2) {
    line.text.erase(0, static_cast<size_t>(length));
  }
  return line;
}

Transcript::Transcript(Show show)
    : show_(std::move(show)),
      markStart_(kMarkStart + DrawMark()),
      log_(EventsPath(), std::ios::binary),
      logTaken_(static_cast<size_t>(std::filesystem::file_size(EventsPath()))) {
  Store(State().mark, markStart_.substr(1));
}

void Transcript::TakeConsole(std::string_view bytes) {
  while (!bytes.empty()) {
    const size_t text = mark_.empty() ? std::min(bytes.find(kMarkStart), bytes.size()) : 0;
    Print(bytes.substr(0, text));
    bytes.remove_prefix(text);
    if (bytes.empty()) return;
    TakeMark(bytes[0]);
    bytes.remove_prefix(1);
  }
}

void Transcript::TakeMark(char c) {
  const bool begins = mark_.size() < markStart_.size();
  if (begins ? c != markStart_[mark_.size()] : isxdigit(static_cast<unsigned char>(c)) == 0) {
    // No mark: none can begin in the middle of what came of it. A full terminal took the first part
    // of one whose drawn characters are all there, and no program printed that.
    const std::string came = std::exchange(mark_, "");
    if (begins) Print(came);
    if (c != kMarkStart) return Print({&c, 1});
  }
  mark_ += c;
  if (mark_.size() < kMarkLength) return;
  const auto end = static_cast<size_t>(strtoull(mark_.c_str() + markStart_.size(), nullptr, 16));
  mark_.clear();
  TakeEvents(end);
}

void Transcript::Print(std::string_view text) {
  while (!text.empty()) {
    const std::string_view part = text.substr(0, kLongestLine - text_.size());
    const size_t length = std::min(part.find('\n'), part.size());
    text_ += part.substr(0, length);
    text.remove_prefix(length);
    const bool ended = text.starts_with('\n');
    if (ended) text.remove_prefix(1);
    if (!ended && text_.size() < kLongestLine) continue;
    Line line;
    line.text = std::exchange(text_, "");
    line.time = BoardTime();
    Keep(std::move(line));
  }
}

void Transcript::EndLine() {
  if (!text_.empty()) Print("\n");
}

void Transcript::TakeEvents() {
  TakeEvents(std::numeric_limits<size_t>::max());
}

void Transcript::TakeEvents(size_t end) {
  if (end <= logTaken_) return;
  EndLine();
  log_.clear();
  log_.seekg(static_cast<std::streamoff>(logTaken_));
  for (std::string line; logTaken_ < end && std::getline(log_, line) && !log_.eof();) {
    logTaken_ += line.size() + 1;
    Keep(EventLine(std::move(line)));
  }
}

void Transcript::Keep(Line line) {
  if (show_) show_(line);
  kept_ += Size(line);
  lines_.push_back(std::move(line));
  if (kept_ <= kMostKept) return;
  size_t gone = 0;
  for (; kept_ > kMostKept / 2; ++gone) kept_ -= Size(lines_[gone]);
  lines_.erase(lines_.begin(), lines_.begin() + static_cast<ptrdiff_t>(gone));
  found_ -= std::min(found_, gone);
}

bool Transcript::Find(std::string_view text) {
  while (found_ < lines_.size()) {
    if (lines_[found_++].text.find(text) != std::string::npos) return true;
  }
  return false;
}

}  // namespace vboard
