#include "campaign/trial.h"

#include <stdio.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <regex>
#include <span>
#include <stdexcept>

#include "campaign/boards.h"
#include "vboard/actions.h"
#include "vboard/board.h"
#include "vboard/faults.h"

namespace campaign {
namespace {

constexpr char kBetween[] = " ; ";
constexpr double kLongest = 86'400;

unsigned Number(const std::string &word) {
  return vboard::NumberOf(word);
}

std::vector<std::string> Split(const std::string &text) {
  std::vector<std::string> parts;
  size_t at = 0;
  for (size_t end; (end = text.find(kBetween, at)) != std::string::npos;) {
    parts.push_back(text.substr(at, end - at));
    at = end + sizeof kBetween - 1;
  }
  if (at < text.size()) parts.push_back(text.substr(at));
  return parts;
}

Act ReadAct(const std::string &text) {
  const std::vector<std::string> words = vboard::Words(text);
  std::span<const std::string> rest;
  if (words.empty()) throw std::invalid_argument("an empty step");
  if (words[0] == "run") {
    if (words.size() == 1) throw std::invalid_argument("usage: run PROGRAM [ARGUMENT]...");
    FindProgram(words[1]);
  } else {
    vboard::FindAction(words, &rest);
  }
  return text;
}

Step ReadStep(const std::string &text) {
  static const std::regex kMoment(R"((\d+(?:\.\d+)?)s (.*))");
  static const std::regex kFault(R"(([a-z_]+)(?:@(\d+))?:(.*)#(\d+)=([A-Z0-9]+)(\+?))");
  static const std::regex kCut(R"(cut#(\d+)=([a-z-]+)(?::(\d+))?)");
  Step step;
  std::smatch match;
  std::string what = text;
  if (std::regex_match(text, match, kMoment)) {
    step.moment = std::stod(match[1]);
    if (step.moment > kLongest) throw std::invalid_argument("too late");
    what = match[2];
  }
  if (std::regex_match(what, match, kFault)) {
    Fault fault;
    fault.call = match[1];
    if (match[2].matched) fault.process = static_cast<int>(Number(match[2]));
    fault.path = match[3];
    fault.nth = Number(match[4]);
    fault.outcome = match[5];
    fault.always = match[6].length() > 0;
    vboard::CheckFault(fault.call, fault.path, vboard::FaultNumber(fault.outcome));
    step.what = fault;
  } else if (std::regex_match(what, match, kCut)) {
    const Cut cut = {Number(match[1]), match[2], match[3].matched ? Number(match[3]) : 0};
    vboard::MomentOf(cut.moment);
    step.what = cut;
  } else {
    step.what = ReadAct(what);
  }
  return step;
}

std::string TextOf(const Fault &fault) {
  return fault.call + (fault.process != 0 ? "@" + std::to_string(fault.process) : "") + ":" +
         fault.path + "#" + std::to_string(fault.nth) + "=" + fault.outcome +
         (fault.always ? "+" : "");
}

std::string TextOf(const Cut &cut) {
  return "cut#" + std::to_string(cut.operation) + "=" + cut.moment +
         (cut.number != 0 ? ":" + std::to_string(cut.number) : "");
}

std::string TextOf(const Act &act) {
  return act;
}

std::string TextOf(const Step &step) {
  char moment[40] = "";
  if (step.moment > 0) {
    char *end = std::to_chars(moment, moment + sizeof moment - 3, step.moment).ptr;
    *end++ = 's';
    *end++ = ' ';
    *end = '\0';
  }
  return moment + std::visit([](const auto &what) { return TextOf(what); }, step.what);
}

}  // namespace

Trial ReadTrial(const std::string &text) {
  static const std::regex kRandom(R"(random:(\d+))");
  Trial trial;
  const size_t slash = text.find('/');
  trial.board = text.substr(0, slash);
  if (slash == std::string::npos) throw std::invalid_argument("'" + text + "': no BOARD/STEPS");
  FindBoard(trial.board);
  const std::string steps = text.substr(slash + 1);
  std::smatch match;
  if (std::regex_match(steps, match, kRandom)) {
    trial.seed = std::stoull(match[1]);
    return trial;
  }
  for (const std::string &part : Split(steps)) {
    try {
      trial.steps.push_back(ReadStep(part));
    } catch (const std::invalid_argument &error) {
      throw std::invalid_argument("'" + part + "': " + error.what());
    }
  }
  std::stable_sort(trial.steps.begin(), trial.steps.end(),
                   [](const Step &one, const Step &two) { return one.moment < two.moment; });
  return trial;
}

std::string TextOf(const Trial &trial) {
  std::string text = trial.board + "/";
  if (trial.seed) return text + "random:" + std::to_string(*trial.seed);
  for (const Step &step : trial.steps) {
    if (&step != trial.steps.data()) text += kBetween;
    text += TextOf(step);
  }
  return text;
}

namespace {

void Do(const Fault &fault) {
  vboard::PlanFault(fault.call, fault.path, vboard::FaultNumber(fault.outcome), fault.nth,
                    fault.always, fault.process);
}

void Do(const Cut &cut) {
  vboard::PlanPowerCut(cut.operation, vboard::MomentOf(cut.moment), cut.number);
}

// What cannot have its effect at its moment, or not on this board, has none.
void Do(const Act &act) {
  try {
    if (vboard::TryToAct(act)) return;
  } catch (const std::exception &) {
    // The event below tells.
  }
  vboard::Event("trial: %s: has no effect", act.c_str());
}

}  // namespace

void Take(const Step &step) {
  std::visit([](const auto &what) { Do(what); }, step.what);
}

}  // namespace campaign
