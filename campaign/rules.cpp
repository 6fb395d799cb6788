#include "campaign/rules.h"

#include <errno.h>
#include <string.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <map>
#include <set>
#include <string_view>

#include "campaign/exceptions.h"
#include "vboard/actions.h"

namespace campaign {
namespace {

using vboard::Line;

bool Contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

// The steps as they were taken, a random trial's too.
bool Plans(const History &history, const std::function<bool(const Step &)> &what) {
  return std::any_of(history.steps.begin(), history.steps.end(), what);
}

bool PlansSignal(const Step &step) {
  const auto *fault = std::get_if<Fault>(&step.what);
  return fault != nullptr && fault->outcome.starts_with("SIG");
}

bool PlansFailure(const Step &step) {
  const auto *fault = std::get_if<Fault>(&step.what);
  return fault != nullptr && fault->outcome != "CUT" && !PlansSignal(step);
}

// The launcher ends with the first two, an application that cannot work with the third; boardctl,
// which a step may run, with 2 as well.
bool IsUsualStatus(const Line &line, const History &history) {
  static constexpr const char *kStatuses[] = {"exit: status 0", "exit: status 255",
                                              "exit: status 1"};
  const auto is = [&](const char *status) { return line.text == status; };
  if (std::any_of(std::begin(kStatuses), std::end(kStatuses), is)) return true;
  const bool tool = Plans(history, [](const Step &step) {
    const auto *act = std::get_if<Act>(&step.what);
    return act != nullptr && act->starts_with("run ");
  });
  return tool && line.text == "exit: status 2";
}

std::string Alive(const Trial &, const Survey &, const History &history) {
  static constexpr const char *kReports[] = {"Sanitizer", "runtime error:", "Assertion `",
                                             "terminate called", "stack smashing"};
  const bool killed = Plans(history, PlansSignal);
  for (const Lines *lines : {&history.lines, &history.after}) {
    for (const Line &line : *lines) {
      const auto in = [&](const char *report) { return Contains(line.text, report); };
      const bool bad = line.event
                           ? (line.text.starts_with("killed: ") && !killed) ||
                                 (line.text.starts_with("exit: ") && !IsUsualStatus(line, history))
                           : std::any_of(std::begin(kReports), std::end(kReports), in);
      if (bad) return line.text;
    }
  }
  return "";
}

std::string Progress(const Trial &trial, const Survey &, const History &history) {
  constexpr double kMostLooks = 20'000;
  const bool maySpin = MaySpin(trial.board, history.steps);
  if (history.spins) return maySpin ? "" : "calls without end";
  if (history.looks > kMostLooks && !maySpin) {
    return std::to_string(static_cast<long>(history.looks)) + " calls a second";
  }
  for (const Line &line : history.lines) {
    if (line.event && Contains(line.text, "computes on and on")) return line.text;
  }
  const bool stopped = Plans(history, [](const Step &step) {
    const auto *act = std::get_if<Act>(&step.what);
    return act != nullptr && act->starts_with("power ");
  });
  const bool killed = Plans(history, PlansSignal);
  // A configuration that cannot be mounted is repaired once more with each boot.
  const bool repairs =
      std::any_of(history.lines.begin(), history.lines.end(),
                  [](const Line &line) { return line.event && line.text == "command: reboot"; });
  if (!stopped && !killed && !repairs && Outcome(history.lines).empty()) {
    return "the launcher neither started anything nor ended nor idles";
  }
  return "";
}

// An event of a call that failed says so at its end.
bool HasFailed(const std::string &event) {
  static const std::set<std::string> reasons = [] {
    std::set<std::string> all;
    for (int error = 1; error <= EHWPOISON; ++error) all.insert(strerror(error));
    return all;
  }();
  const size_t colon = event.rfind(": ");
  return colon != std::string::npos && reasons.contains(event.substr(colon + 2));
}

// What the programs on the board did, without what is only the disturbance itself.
std::set<std::string> Deeds(const Lines &lines) {
  static constexpr const char *kNone[] = {"fault: ", "missing: "};
  std::set<std::string> deeds;
  for (const Line &line : lines) {
    const auto is = [&](const char *start) { return line.text.starts_with(start); };
    const bool byProgram = line.event && line.process != 0;
    if (!byProgram || HasFailed(line.text)) continue;
    if (std::none_of(std::begin(kNone), std::end(kNone), is)) deeds.insert(line.text);
  }
  return deeds;
}

// Whether the console or the service log has a line that the undisturbed board's has not, or more
// often.
bool TellsMore(const History &history, const History &usual) {
  std::map<std::string, int> counts;
  const auto count = [&](const History &one, int by) {
    bool below = false;
    for (const Line &line : one.lines) {
      if (!line.event) below = (counts[line.text] += by) < 0 || below;
    }
    for (const std::string &line : one.captured) below = (counts[line] += by) < 0 || below;
    return below;
  };
  count(usual, 1);
  return count(history, -1);
}

// The faults whose call came.
std::vector<Step> Struck(const History &history) {
  const auto struck = [&](const Step &step) {
    const auto *fault = std::get_if<Fault>(&step.what);
    if (fault == nullptr) return false;
    const std::string start = "fault: " + fault->call + " " + fault->path;
    return std::any_of(history.lines.begin(), history.lines.end(), [&](const Line &line) {
      return line.event && line.text.starts_with(start);
    });
  };
  std::vector<Step> steps;
  std::copy_if(history.steps.begin(), history.steps.end(), std::back_inserter(steps), struck);
  return steps;
}

std::string Told(const Trial &trial, const Survey &survey, const History &history) {
  const bool disturbed =
      std::any_of(history.lines.begin(), history.lines.end(),
                  [](const Line &line) { return line.event && line.text.starts_with("fault: "); });
  // What a person does is no failure, and a power cut nobody can tell of.
  const bool alone = !Plans(history, [](const Step &step) { return !PlansFailure(step); });
  if (!disturbed || !alone || MaySpin(trial.board, history.steps) ||
      TellsMore(history, survey.history))
    return "";
  const auto deeds = Deeds(history.lines), usual = Deeds(survey.history.lines);
  if (deeds == usual || IsException(trial.board, Struck(history))) return "";
  for (const std::string &deed : usual) {
    if (!deeds.contains(deed)) return "nothing tells why this is missing: " + deed;
  }
  for (const std::string &deed : deeds) {
    if (!usual.contains(deed)) return "nothing tells why this is new: " + deed;
  }
  return "";
}

// Every save that the console announced ("(null)" is a variable that goes), or that a step runs the
// tool for, which is silent about it.
std::vector<std::pair<std::string, std::string>> Saves(const History &history) {
  constexpr std::string_view kSave = "LIBDVR : Will save ";
  std::vector<std::pair<std::string, std::string>> saves;
  for (const Lines *lines : {&history.lines, &history.after}) {
    for (const Line &line : *lines) {
      const size_t equals = line.text.find(" = ");
      if (line.event || !line.text.starts_with(kSave) || equals == std::string::npos) continue;
      saves.emplace_back(line.text.substr(kSave.size(), equals - kSave.size()),
                         line.text.substr(equals + 3));
    }
  }
  for (const Step &step : history.steps) {
    const auto *act = std::get_if<Act>(&step.what);
    constexpr std::string_view kSet = "run boardctl env set ";
    if (act == nullptr || !act->starts_with(kSet)) continue;
    const std::vector<std::string> words = vboard::Words(act->substr(kSet.size()));
    if (words.size() == 2) saves.emplace_back(words[0], words[1]);
  }
  return saves;
}

// Without its order, for every save moves its variable to the end.
using List = std::set<std::string>;

List ListOf(const std::vector<std::string> &entries) {
  return {entries.begin(), entries.end()};
}

// What the list of variables becomes by saves each of which may have come to pass or not.
std::set<List> WholeLists(const Survey &survey, const History &history) {
  std::set<List> lists = {ListOf(survey.variables.list), {}};
  for (const auto &save : Saves(history)) {
    const std::string start = save.first + "=";
    for (List list : std::set(lists)) {
      std::erase_if(list, [&](const std::string &entry) { return entry.starts_with(start); });
      if (save.second != "(null)") list.insert(start + save.second);
      lists.insert(list);
    }
  }
  return lists;
}

// The launcher may repair the configuration, the tool and the library save the boot variables.
std::string FlashKept(const Trial &, const Survey &survey, const History &history) {
  if (!history.variables.read) return "";
  for (const unsigned unit : history.changed) {
    const std::string &name = survey.names[unit];
    if (name != "config" && name != "env" && name != "boot") return name + " has changed";
  }
  if (!WholeLists(survey, history).contains(ListOf(history.variables.list))) {
    std::string text = "the boot variables are";
    for (const std::string &entry : history.variables.list) text += " " + entry;
    return text;
  }
  return history.variables.nextSaveWorks ? "" : "the next save does not work";
}

// A configuration whose repair has begun has lost its folder, without which the launcher does not
// supervise, on purpose: only the application makes the folder.
bool LacksFolder(const History &history) {
  const auto says = [](const Lines &lines, std::string_view text) {
    return std::any_of(lines.begin(), lines.end(), [&](const Line &line) {
      return !line.event && line.text.starts_with(text);
    });
  };
  return says(history.lines, "ConfigMtd_p->StartAddress = ") && says(history.after, "Write failed");
}

std::string Recovers(const Trial &, const Survey &survey, const History &history) {
  const std::string usual = Outcome(survey.history.after);
  const std::string outcome = Outcome(history.after);
  if (outcome == usual) return "";
  const auto &list = history.variables.list;
  const bool says = std::any_of(list.begin(), list.end(), [](const std::string &entry) {
    return entry.starts_with("xapp=");
  });
  if (outcome == "sleep: 100 s" && history.variables.read && !says) return "";
  if (outcome == "exit: status 255" && LacksFolder(history)) return "";
  return "the next boot comes to '" + outcome + "' instead of '" + usual + "'";
}

std::string Clean(const Trial &, const Survey &, const History &history) {
  for (const Line &line : history.lines) {
    if (line.event && line.text.starts_with("inherited: ")) return line.text;
  }
  if (history.zombies > 0) return std::to_string(history.zombies) + " zombies";
  return history.open.empty() ? "" : "others may read " + history.open[0];
}

}  // namespace

const std::vector<Rule> &Rules() {
  static const std::vector<Rule> rules = {
      {"alive", "launcher and application end only in the ways that are laid down for them", Alive},
      {"progress", "the launcher starts the application, ends or idles, and nothing spins",
       Progress},
      {kTold, "a failure that changed what the board did left a line on the console", Told},
      {"flash", "the boot variables read as one of their whole lists, the rest is as it was",
       FlashKept},
      {"recovers", "the next boot comes to what an undisturbed one comes to", Recovers},
      {"clean", "no descriptor, zombie or readable secret is left", Clean},
  };
  return rules;
}

std::vector<Broken> Judge(const Trial &trial, const Survey &survey, const History &history) {
  std::vector<Broken> all;
  for (const Rule &rule : Rules()) {
    const std::string why = rule.broken(trial, survey, history);
    if (!why.empty()) all.push_back({rule.name, why});
  }
  return all;
}

}  // namespace campaign
