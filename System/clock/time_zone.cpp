#include "System/clock/time_zone.h"

#include <time.h>

#include <algorithm>
#include <array>
#include <limits>
#include <span>

namespace {

constexpr int64_t kSecondsPerDay = 86'400;
constexpr int64_t kEnd =
    std::min<int64_t>(4'102'444'800, std::numeric_limits<time_t>::max());  // 2100

// Two days before the clock chip's first year: its first month may be a 0, and so may the day.
constexpr int64_t kChipBegin = 943'833'600;  // 1999-11-29

struct Offset {
  int32_t seconds = 0;  // east of Greenwich
  bool daylightSaving = false;
  bool operator==(const Offset &) const = default;
};

// mktime has none.
constexpr Offset kNone = {std::numeric_limits<int32_t>::min(), false};

struct Change {
  int64_t time = 0;  // seconds since 1970
  Offset offset;     // from then on
};

// The offsets of a century and more. What does not fit is left out: the last offset that fits
// then counts for good.
template <size_t kMost>
class Offsets {
 public:
  void Begin(Offset offset) {
    first_ = offset;
    count_ = 0;
  }
  void Add(int64_t time, Offset offset) {
    if (offset != Last() && count_ < kMost) changes_[count_++] = {time, offset};
  }
  Offset Last() const { return count_ == 0 ? first_ : changes_[count_ - 1].offset; }
  Offset Before(size_t change) const { return change == 0 ? first_ : changes_[change - 1].offset; }
  Offset At(int64_t time) const {
    const auto later = [](int64_t moment, const Change &change) { return moment < change.time; };
    const auto next = std::upper_bound(Changes().begin(), Changes().end(), time, later);
    return next == Changes().begin() ? first_ : (next - 1)->offset;
  }
  std::span<const Change> Changes() const { return std::span(changes_).first(count_); }

 private:
  Offset first_;
  std::array<Change, kMost> changes_;
  size_t count_ = 0;
};

struct {
  Offsets<400> local;    // by time; Asia/Hebron has most, 303
  Offsets<64> standard;  // by local time, for mktime
} zone;

Offset LocalOffset(int64_t time) {
  const auto when = static_cast<time_t>(time);
  tm local = {};
  localtime_r(&when, &local);
  return {static_cast<int32_t>(local.tm_gmtoff), local.tm_isdst > 0};
}

Offset StandardOffset(int64_t local) {
  const auto when = static_cast<time_t>(local);
  tm fields = {};
  gmtime_r(&when, &fields);
  const time_t time = mktime(&fields);
  return time == -1 ? kNone : Offset{static_cast<int32_t>(local - time), false};
}

// The first time after `before` with another offset; `after` has one.
int64_t FindChange(Offset (*offsetAt)(int64_t), int64_t before, int64_t after) {
  const Offset old = offsetAt(before);
  while (after - before > 1) {
    const int64_t middle = before + (after - before) / 2;
    (offsetAt(middle) == old ? before : after) = middle;
  }
  return after;
}

// Looks at the hour of the day first that the change before the last one had: a zone's clocks
// keep to one in spring and to one in autumn.
int64_t FindLocalChange(int64_t before, int64_t after) {
  const std::span<const Change> changes = zone.local.Changes();
  const int64_t likely = changes.size() < 2 ? 0 : changes[changes.size() - 2].time;
  const Offset old = zone.local.Last();
  for (int64_t time = before + (likely - before % kSecondsPerDay + kSecondsPerDay) % kSecondsPerDay;
       time < after; time += kSecondsPerDay) {
    (LocalOffset(time) == old ? before : after) = time;
  }
  if (LocalOffset(after - 1) == old) return after;
  return FindChange(LocalOffset, before, after);
}

void CaptureLocal() {
  // No zone keeps an offset for less than 6.9 days.
  constexpr int64_t kStep = 6 * kSecondsPerDay;
  zone.local.Begin(LocalOffset(0));
  for (int64_t time = 0; time < kEnd; time += kStep) {
    const int64_t next = std::min(time + kStep, kEnd);
    const Offset offset = LocalOffset(next);
    if (offset == zone.local.Last()) continue;
    zone.local.Add(FindLocalChange(time, next), offset);
  }
}

// Local times that a change skips or repeats, from first to before end.
struct Edge {
  int64_t first, end;
};

Edge EdgeOf(size_t index) {
  const Change &change = zone.local.Changes()[index];
  const int32_t old = zone.local.Before(index).seconds;
  return {change.time + std::min(old, change.offset.seconds),
          change.time + std::max(old, change.offset.seconds)};
}

// Asks mktime at local times that rise.
class Questions {
 public:
  explicit Questions(int64_t from) : known_(from) {}
  void Ask(int64_t local) {
    if (local <= known_) return;
    const Offset offset = StandardOffset(local);
    if (offset != zone.standard.Last()) {
      zone.standard.Add(FindChange(StandardOffset, known_, local), offset);
    }
    known_ = local;
  }
  // Asks about the local times up to a change and behind it.
  void AskAround(const Edge &edge) {
    // The search of glibc's mktime for a standard time goes in these steps and may miss a short
    // one: its answers repeat in the same steps.
    constexpr int64_t kSearchStep = 601'200;
    const int64_t last = edge.first - 1;
    for (int64_t back = (last - known_) / kSearchStep; back >= 0; --back) {
      Ask(last - back * kSearchStep - 3'600);
      Ask(last - back * kSearchStep);
    }
    // In between there may be no answer, or one of two; it is the same for all these times.
    if (edge.first < edge.end) {
      zone.standard.Add(edge.first, StandardOffset(edge.first + (edge.end - edge.first) / 2));
    }
    zone.standard.Add(edge.end, StandardOffset(edge.end));
    known_ = edge.end;
  }

 private:
  int64_t known_;
};

// Within daylight saving mktime goes by the standard time around it: only where that becomes
// another there is something to ask.
void CaptureStandard() {
  zone.standard.Begin(StandardOffset(kChipBegin));
  const std::span<const Change> changes = zone.local.Changes();
  int64_t known = kChipBegin;  // up to here standard time has not changed
  size_t next = 0;             // the first change behind it
  for (size_t i = 0; i < changes.size(); ++i) {
    const bool early = changes[i].time < kChipBegin;
    if (changes[i].offset.daylightSaving && !early) continue;
    if (!early && changes[i].offset != zone.standard.Last()) {
      Questions questions(known);
      while (next <= i) questions.AskAround(EdgeOf(next++));
    }
    next = i + 1;
    known = std::max(kChipBegin, EdgeOf(i).end);
  }
}

}  // namespace

namespace libsys::time_zone {

void Capture() {
  tzset();
  CaptureLocal();
  CaptureStandard();
}

int32_t OffsetAt(int64_t time) {
  return zone.local.At(time).seconds;
}

int64_t TimeOf(int64_t local) {
  const Offset offset = zone.standard.At(local);
  return offset == kNone ? -1 : local - offset.seconds;
}

}  // namespace libsys::time_zone
