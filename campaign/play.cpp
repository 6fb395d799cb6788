#include "campaign/play.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "campaign/exceptions.h"

namespace campaign {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kLongestShortening{20};

double Since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// Whether the trial breaks the first of the rules that another one broke.
bool BreaksToo(Site &site, const Trial &trial, const Broken &broken) {
  const auto all = JudgePlayed(site, trial, site.Play(trial));
  return std::any_of(all.begin(), all.end(),
                     [&](const Broken &one) { return one.rule == broken.rule; });
}

Trial Drawn(const Trial &trial, const History &history) {
  Trial drawn = trial;
  drawn.seed.reset();
  drawn.steps = history.steps;
  return drawn;
}

std::string ShortenedText(Site &site, const Trial &trial, const History &history,
                          const Broken &broken) {
  const auto start = Clock::now();
  return TextOf(Shorten(
      Drawn(trial, history), [&](const Trial &shorter) { return BreaksToo(site, shorter, broken); },
      [&] { return Clock::now() - start < kLongestShortening; }));
}

}  // namespace

Trial Shorten(Trial trial, const std::function<bool(const Trial &)> &breaks,
              const std::function<bool()> &goesOn) {
  bool shorter = true;
  while (std::exchange(shorter, false)) {
    for (size_t i = trial.steps.size(); i-- > 0 && trial.steps.size() > 1;) {
      Trial without = trial;
      without.steps.erase(without.steps.begin() + static_cast<ptrdiff_t>(i));
      if (!goesOn()) return trial;
      if (!breaks(without)) continue;
      trial = std::move(without);
      shorter = true;
    }
  }
  return trial;
}

std::vector<Broken> JudgePlayed(Site &site, const Trial &trial, const History &history) {
  std::vector<Broken> all = Judge(trial, site.SurveyOf(trial.board), history);
  const auto told =
      std::find_if(all.begin(), all.end(), [](const Broken &one) { return one.rule == kTold; });
  if (told == all.end()) return all;
  Trial others = Drawn(trial, history);
  std::erase_if(others.steps, [&](const Step &step) { return IsException(trial.board, {step}); });
  const bool anySilent = others.steps.size() < history.steps.size();
  if (anySilent && !BreaksToo(site, others, *told)) all.erase(told);
  return all;
}

Result PlayTask(Site &site, const Task &task) {
  const auto start = Clock::now();
  Result result = {task.kind, task.trial, 0, {}, ""};
  try {
    const Trial trial = ReadTrial(task.trial);
    const History history = site.Play(trial);
    result.broken = JudgePlayed(site, trial, history);
    result.seconds = Since(start);
    if (trial.seed && !result.broken.empty()) {
      result.shortened = ShortenedText(site, trial, history, result.broken[0]);
    }
  } catch (const std::exception &error) {
    result.seconds = Since(start);
    result.broken.push_back({kMachinery, error.what()});
  }
  return result;
}

}  // namespace campaign
