#include "campaign/random.h"

#include <stdio.h>

#include <algorithm>
#include <iterator>
#include <random>
#include <span>

#include "campaign/kinds.h"

namespace campaign {
namespace {

class Random {
 public:
  explicit Random(uint64_t seed) : numbers_(seed) {}
  unsigned Below(size_t limit) { return static_cast<unsigned>(numbers_() % limit); }
  template <typename Items>
  const auto &OneOf(const Items &items) {
    return *std::next(std::begin(items), Below(std::size(items)));
  }

 private:
  std::mt19937_64 numbers_;  // whose numbers are the same everywhere
};

// What a person does, with a letter behind % for what is drawn.
constexpr const char *kActs[] = {
    "key press %k",         "key release %k",        "ir send %c %b",
    "ir send %c %b",        "frontboard send %h",    "mcu send %h",
    "uart send %b %h",      "uart unplug %b",        "uart plug %b",
    "stick plug %s",        "stick pull %s",         "gpio set %g %g %b",
    "clock set %d",         "clock battery %e",      "temperature set %t",
    "network link eth0 %l", "network wireless %w",   "power cut",
    "power cycle",          "run boardctl env list", "run boardctl env set drawn %c",
};
constexpr const char *kDays[] = {"1999-12-31 23:59:59", "2000-01-01 00:00:00",
                                 "2024-02-29 12:00:00", "2026-03-29 01:59:59",
                                 "2038-01-19 03:14:07", "2099-12-31 23:59:58"};
constexpr const char *kMoments[] = {"before", "after", "inside", "half", "all-but-one", "torn"};
constexpr const char *kSticks[] = {"sda", "sdb", "sdc", "stick", "service"};
// The service keys, and bytes that begin frames or break them off.
constexpr const char *kBytes[] = {"ff1afe01", "ff010c01", "ff1afe00", "ff", "5a",  "ff5a",
                                  "ffff5a",   "00",       "ff5a0801", "fe", "0d0a"};

std::string Drawn(Random &random, char letter) {
  switch (letter) {
    case 'b':
      return std::to_string(random.Below(2));
    case 'c':
      return std::to_string(random.Below(256));
    case 'd':
      return random.OneOf(kDays);
    case 'e':
      return random.Below(2) == 0 ? "new" : "flat";
    case 'g':
      return std::to_string(random.Below(8));
    case 'h':
      return random.OneOf(kBytes);
    case 'k':
      return std::to_string(random.Below(25));
    case 'l':
      return random.Below(2) == 0 ? "up" : "down";
    case 's':
      return random.OneOf(kSticks);
    case 't':
      return std::to_string(static_cast<int>(random.Below(256)) - 128);
    default:
      return random.Below(2) == 0 ? "connected" : "disconnected";
  }
}

Act DrawAct(Random &random) {
  Act act;
  for (const char *place = random.OneOf(kActs); *place != '\0'; ++place) {
    if (*place == '%') {
      act += Drawn(random, *++place);
    } else {
      act += *place;
    }
  }
  return act;
}

Fault DrawFault(Random &random, const Survey &survey) {
  const Call &call = random.OneOf(survey.calls);
  const unsigned nth = 1 + random.Below(std::max(1U, call.count));
  const std::vector<std::string> outcomes = OutcomesOf(call.name);
  Fault fault = {
      call.name, random.Below(2) == 0 ? 0 : call.process, call.path, nth, random.OneOf(outcomes),
      false};
  fault.always = random.Below(3) == 0 && LastsOn(fault.outcome);
  return fault;
}

Cut DrawCut(Random &random, const Survey &survey) {
  const size_t operations = std::max<size_t>(4, survey.operations.size());
  return {1 + random.Below(operations), random.OneOf(kMoments), 1 + random.Below(1000)};
}

Step DrawStep(Random &random, const Survey &survey) {
  Step step;
  // Half of them are there from the start, the others come to the millisecond.
  if (random.Below(2) != 0) {
    step.moment = 0.001 * random.Below(static_cast<size_t>(1000 * (survey.seconds + 3)));
  }
  const unsigned kind = random.Below(10);
  if (kind < 4) {
    step.what = DrawAct(random);
  } else if (kind < 9) {
    step.what = DrawFault(random, survey);
  } else {
    step.what = DrawCut(random, survey);
  }
  return step;
}

}  // namespace

std::vector<Step> DrawSteps(const Survey &survey, uint64_t seed) {
  Random random(seed);
  std::vector<Step> steps(1 + random.Below(8));
  for (Step &step : steps) step = DrawStep(random, survey);
  std::stable_sort(steps.begin(), steps.end(),
                   [](const Step &one, const Step &two) { return one.moment < two.moment; });
  return steps;
}

}  // namespace campaign
