#include "campaign/progress.h"

#include <stdio.h>
#include <unistd.h>

#include <algorithm>
#include <string>

namespace campaign {
namespace {

constexpr std::chrono::milliseconds kBetween{200};

bool IsSeen() {
  return isatty(STDERR_FILENO) != 0;
}

}  // namespace

void Progress::Add(bool broken) {
  ++done_;
  if (broken) ++broken_;
  const auto now = Clock::now();
  if (!IsSeen() || (now - shown_ < kBetween && done_ < all_)) return;
  shown_ = now;
  Show();
}

void Progress::Clear() const {
  if (IsSeen()) fputs("\r\033[K", stderr);
}

void Progress::End() const {
  Clear();
  printf("%zu of %zu trials in %.1f s, %.1f a second; %zu with a broken rule\n", done_, all_,
         Seconds(), Rate(), broken_);
}

double Progress::Seconds() const {
  return std::chrono::duration<double>(Clock::now() - start_).count();
}

double Progress::Rate() const {
  return static_cast<double>(done_) / std::max(Seconds(), 0.001);
}

void Progress::Show() const {
  constexpr size_t kWidth = 40;
  const std::string bar(kWidth * done_ / std::max<size_t>(1, all_), '#');
  fprintf(stderr, "\r[%-40s] %zu of %zu, %.1f a second, %.0f s left, %zu broken \033[K",
          bar.c_str(), done_, all_, Rate(), static_cast<double>(all_ - done_) / Rate(), broken_);
}

}  // namespace campaign
