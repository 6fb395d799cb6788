#include "campaign/history.h"

#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <nlohmann/json.hpp>
#include <tuple>

#include "campaign/boards.h"
#include "campaign/random.h"
#include "vboard/actions.h"
#include "vboard/board.h"
#include "vboard/faults.h"
#include "vboard/files.h"
#include "vboard/machine.h"
#include "vboard/make.h"
#include "vboard/processes.h"

namespace campaign {
namespace {

// A disturbed board may be so much later than an undisturbed one.
constexpr double kLateness = 10;
// What it is watched for at its end.
constexpr double kEnd = 4;
constexpr double kBoot = 10;
// Who only looks is looked after now and then, in real seconds.
constexpr double kSlice = 0.05;
// Who does not wait looks that often before time has come anywhere; a busy panel some hundred times
// a second.
constexpr uint64_t kMostLooks = 40'000;
constexpr double kMostLooksASecond = 2'000;
// To start takes no time of the board's: one that restarts again and again would do so for good.
constexpr uint32_t kMostBoots = 20;
constexpr double kLongestScenario = 86'400;

// Files that hold passwords.
constexpr const char *kSecrets[] = {"/opt/sav/Config/ppp/pap-secrets",
                                    "/opt/sav/Config/ppp/chap-secrets",
                                    "/opt/sav/Config/ppp/peers/wcdma"};

int64_t Nanoseconds(double seconds) {
  return static_cast<int64_t>(seconds * vboard::kSecond);
}

uint64_t Looks() {
  const vboard::Time &time = vboard::State().time;
  return time.looks + time.waitsBegun;
}

}  // namespace

std::string Outcome(const Lines &lines) {
  std::string outcome;
  for (const vboard::Line &line : lines) {
    const std::string &text = line.text;
    if (line.event && text.starts_with("power: on")) outcome.clear();
    if (!line.event || line.process != 1 || !outcome.empty()) continue;
    const bool is =
        text.starts_with("start: ") || text == "sleep: 100 s" || text.starts_with("exit: ");
    if (is) outcome = text;
  }
  return outcome;
}

// One power-on of the board, which takes the trial's steps at their moments. `offSince` is the
// lifetime of the board while it is off: on the PC's time, by which it would go on, no history may
// depend.
class Player {
 public:
  Player(const vboard::Plan &plan, std::vector<Step> steps, int64_t *offSince)
      : offSince_(*offSince),
        machine_(OnceItStands(plan, offSince_)),
        scenario_(plan.scenario),
        steps_(std::move(steps)) {
    TakeDue();
    machine_.Start();
    start_ = vboard::Lifetime();
  }

  ~Player() { offSince_ = vboard::Lifetime(); }
  Player(const Player &) = delete;
  Player &operator=(const Player &) = delete;

  // Plays the scenario as far as it goes by that second.
  void PlayScenario(double deadline) {
    for (const std::string &step : scenario_) {
      if (!PlayStep(step, deadline)) return;
    }
  }
  // Goes on until this has happened. False when that was not by this second, when the programs look
  // and look without a wait, or when the board has ended.
  bool GoOnUntil(const std::function<bool()> &happened, double deadline);
  void GoOnUntil(double second) {
    GoOnUntil([] { return false; }, second);
  }

  bool Spins() const;
  bool HasEnded() const;
  bool RestartsOnAndOn() const { return vboard::State().boots - boots_ > kMostBoots; }

  int64_t Since() const { return vboard::Lifetime() - start_; }
  double Second() const { return static_cast<double>(Since()) / vboard::kSecond; }
  const Lines &All() const { return machine_.Lines(); }

 private:
  static const vboard::Plan &OnceItStands(const vboard::Plan &plan, int64_t lifetime) {
    vboard::Stand(lifetime);
    return plan;
  }
  bool PlayStep(const std::string &step, double deadline);
  void TakeDue();

  int64_t &offSince_;
  vboard::Machine machine_;
  std::vector<std::string> scenario_;
  std::vector<Step> steps_;
  size_t taken_ = 0;
  uint64_t looks_ = Looks();
  const uint32_t boots_ = vboard::State().boots;
  int64_t start_ = -1;  // the lifetime at power-on; below 0: not yet
};

bool Player::PlayStep(const std::string &step, double deadline) {
  const std::string argument = step.substr(step.find(' ') + 1);
  if (step.starts_with("wait ")) {
    return GoOnUntil([&] { return machine_.Find(argument); }, deadline);
  }
  if (step.starts_with("after ")) {
    GoOnUntil(Second() + std::stod(argument));
    return true;
  }
  return GoOnUntil([&] { return vboard::TryToAct(step); }, deadline);
}

// What has no moment is there before the power comes.
void Player::TakeDue() {
  const int64_t now = start_ < 0 ? 0 : Since();
  for (; taken_ < steps_.size() && Nanoseconds(steps_[taken_].moment) <= now; ++taken_) {
    const auto *act = std::get_if<Act>(&steps_[taken_].what);
    if (act != nullptr && act->starts_with("run ")) {
      std::vector<std::string> words = vboard::Words(*act);
      words.erase(words.begin());
      words[0] = FindProgram(words[0]);
      machine_.StartBeside(words);
    } else {
      Take(steps_[taken_]);
    }
  }
}

// Switched off for good, or left by the last program.
bool Player::HasEnded() const {
  const vboard::Power power = vboard::State().power;
  return !machine_.Running() && (power == vboard::Power::kOn || power == vboard::Power::kOff);
}

// A program that only looks, and never waits, would take hours to come to the next second.
bool Player::Spins() const {
  const auto most = kMostLooks + static_cast<uint64_t>(Second() * kMostLooksASecond);
  return Looks() - looks_ > most;
}

bool Player::GoOnUntil(const std::function<bool()> &happened, double deadline) {
  for (;;) {
    const bool stepIsNext = taken_ < steps_.size() && steps_[taken_].moment < deadline;
    const double moment = stepIsNext ? steps_[taken_].moment : deadline;
    bool came = false, restarts = false;
    const auto ends = [&] {
      came = happened();
      restarts = RestartsOnAndOn();
      return came || restarts;
    };
    machine_.GoOnUntil(ends, kSlice, start_ + Nanoseconds(moment));
    if (came) return true;
    if (restarts || Spins() || HasEnded()) return false;
    if (Since() < Nanoseconds(moment)) continue;
    if (!stepIsNext) return false;
    TakeDue();
  }
}

namespace {

std::vector<unsigned> ChangedPartitions(const std::string &made, const Pristine &copy) {
  std::vector<unsigned> changed;
  for (unsigned unit = 0;; ++unit) {
    const std::string path = "/root/dev/mtd" + std::to_string(unit);
    if (!std::filesystem::exists(made + path)) return changed;
    if (!copy.HasChanged(path)) continue;
    if (vboard::ReadFile(made + path) != vboard::ReadFile(vboard::Folder() + path)) {
      changed.push_back(unit);
    }
  }
}

std::vector<std::string> OpenSecrets() {
  std::vector<std::string> open;
  for (const char *name : kSecrets) {
    struct stat status;
    const std::string path = vboard::RootPath(name);
    if (stat(path.c_str(), &status) == 0 && (status.st_mode & 077) != 0) open.emplace_back(name);
  }
  return open;
}

std::vector<std::string> ServiceLog() {
  std::vector<std::string> lines;
  std::ifstream file(vboard::PathOnBoard("/share/printf.txt"));
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

// Of what is left of the programs, whose own parents have not taken leave of them.
unsigned Zombies() {
  std::vector<pid_t> processes = vboard::Children(getpid());
  const size_t own = processes.size();
  unsigned zombies = 0;
  for (size_t i = 0; i < processes.size(); ++i) {
    const std::vector<pid_t> more = vboard::Children(processes[i]);
    processes.insert(processes.end(), more.begin(), more.end());
    if (i >= own && vboard::HasEnded(processes[i])) ++zombies;
  }
  return zombies;
}

std::vector<Call> ReadCalls() {
  std::map<std::tuple<int, std::string, std::string>, unsigned> counts;
  std::ifstream file(vboard::Folder() + "/calls");
  int process = 0;
  std::string name, path;
  while (file >> process >> name && std::getline(file, path)) {
    ++counts[{process, name, path.substr(std::min<size_t>(1, path.size()))}];
  }
  std::vector<Call> calls;
  for (const auto &[key, count] : counts) {
    calls.push_back({std::get<0>(key), std::get<1>(key), std::get<2>(key), count});
  }
  return calls;
}

std::vector<FlashOperation> ReadOperations(const Lines &lines) {
  std::vector<FlashOperation> operations;
  for (const vboard::Line &line : lines) {
    FlashOperation operation;
    if (!line.event) continue;
    if (sscanf(line.text.c_str(), "flash: %*s mtd%u 0x%x +0x%x", &operation.partition,
               &operation.offset, &operation.length) == 3) {
      operations.push_back(operation);
    }
  }
  return operations;
}

// The board starts again and is left alone until it has come to something.
Lines BootAgain(vboard::Plan plan, int64_t *offSince) {
  vboard::DropFaults();
  vboard::PlanPowerCut(0, vboard::Moment::kNone, 0);
  plan.scenario.clear();
  Player player(plan, {}, offSince);
  for (double second = 0; second < kBoot && Outcome(player.All()).empty(); second += kBoot / 100) {
    player.GoOnUntil(second);
  }
  return player.All();
}

}  // namespace

// What is looked at when the board rests for the last time.
void Site::LookAround(const std::string &board, const Player &player, History &history) const {
  history.wroteFlash = vboard::State().flashOperations > 0;
  if (history.wroteFlash)
    history.changed = ChangedPartitions(made_ + "/" + board, copies_.at(board));
  history.open = OpenSecrets();
  history.captured = ServiceLog();
  if (!player.RestartsOnAndOn()) history.zombies = Zombies();  // or it is just ending its programs
}

History Site::Watch(const std::string &board, Player &player, double end) const {
  History history;
  player.PlayScenario(end + kLateness);
  const double last = std::max(player.Second(), end);
  player.GoOnUntil(last + kEnd / 2);
  const uint64_t looks = Looks();
  player.GoOnUntil(last + kEnd);
  history.looks = static_cast<double>(Looks() - looks) / (kEnd / 2);
  history.spins = player.Spins();
  history.seconds = player.Second();
  LookAround(board, player, history);
  return history;
}

const Survey &Site::SurveyOf(const std::string &board) {
  const auto known = surveys_.find(board);
  if (known != surveys_.end()) return known->second;
  Survey &survey = surveys_[board];
  const vboard::Plan plan = Make(board);
  const auto description = nlohmann::json::parse(plan.json);
  for (const auto &partition : description["flash"]["partition"]) {
    survey.names.push_back(partition["name"]);
  }
  vboard::State().notesCalls = true;
  {
    Player player(plan, {}, &offSince_);
    player.PlayScenario(kLongestScenario);
    survey.seconds = player.Second();
    survey.history = Watch(board, player, survey.seconds);
    survey.history.lines = player.All();
  }
  survey.calls = ReadCalls();
  survey.operations = ReadOperations(survey.history.lines);
  vboard::State().notesCalls = false;
  survey.history.after = BootAgain(plan, &offSince_);
  Make(board);
  survey.variables = ReadVariables(false);
  return survey;
}

History Site::Play(const Trial &trial) {
  const Survey &survey = SurveyOf(trial.board);
  const std::vector<Step> steps = trial.seed ? DrawSteps(survey, *trial.seed) : trial.steps;
  const vboard::Plan plan = Make(trial.board);
  History history;
  {
    Player player(plan, steps, &offSince_);
    history = Watch(trial.board, player, survey.seconds);
    history.lines = player.All();
  }
  history.steps = steps;
  history.after = BootAgain(plan, &offSince_);
  if (history.wroteFlash) history.variables = ReadVariables(true);
  return history;
}

void Site::MoveTo(const std::string &folder) {
  if (folder == folder_) return;
  copies_.clear();
  folder_ = folder;
}

vboard::Plan Site::Make(const std::string &board) {
  const std::string made = made_ + "/" + board, copy = folder_ + "/" + board;
  vboard::Detach();
  if (!plans_.contains(board)) {
    plans_[board] = vboard::MakeBoard(FindBoard(board), made, PROGRAMS_FOLDER);
    vboard::Detach();
  }
  const auto known = copies_.find(board);
  if (known == copies_.end()) {
    copies_.emplace(board, Pristine(made, copy));
  } else {
    known->second.Restore();
  }
  vboard::Open(copy);
  offSince_ = 0;
  return plans_[board];
}

}  // namespace campaign
