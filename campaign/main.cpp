// The command campaign: plays boards that are disturbed, and says which of their rules broke.
#include <signal.h>
#include <stdio.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <fstream>
#include <memory>
#include <optional>
#include <thread>

#include "campaign/history.h"
#include "campaign/play.h"
#include "campaign/progress.h"
#include "campaign/report.h"
#include "campaign/results.h"
#include "campaign/rules.h"
#include "campaign/tasks.h"
#include "campaign/workers.h"
#include "vboard/guard.h"
#include "vboard/make.h"

namespace {

using campaign::Result;
using campaign::Task;

// A trial that takes so many real seconds hangs what plays it.
constexpr double kLongestTrial = 60;

enum Status { kHolds = 0, kBroken = 1, kCannot = 2 };

struct Options {
  campaign::Choice choice;
  std::string shard = "0/1";
  unsigned jobs = std::max(1U, std::thread::hardware_concurrency());
  std::string trials;
  std::string results;
  std::string trial;
  std::vector<std::string> files;
  std::string page;
} options;

volatile sig_atomic_t stopped = 0;

// However this process ends, no program of its boards outlives it.
void StartUnderGuard() {
  fflush(nullptr);
  vboard::GoUnderGuard();
  vboard::ReleaseSignals();
}

void Print(const Result &result) {
  for (const campaign::Broken &one : result.broken) {
    printf("%s: %s: %s\n", result.trial.c_str(), one.rule.c_str(), one.why.c_str());
  }
  if (!result.shortened.empty()) printf("  %s\n", result.shortened.c_str());
  fflush(stdout);
}

// One folder for the boards of each worker, side by side.
class Folders {
 public:
  explicit Folders(unsigned number) {
    for (unsigned i = 0; i < number; ++i) {
      folders_.push_back(std::make_unique<vboard::TemporaryFolder>());
    }
  }
  std::string operator[](unsigned worker) const { return folders_[worker]->path(); }

 private:
  std::vector<std::unique_ptr<vboard::TemporaryFolder>> folders_;
};

// What of the tasks the file does not have yet.
std::vector<Task> Left(std::vector<Task> tasks, const std::optional<campaign::ResultFile> &file) {
  if (file) std::erase_if(tasks, [&](const Task &task) { return file->Has(task.trial); });
  return tasks;
}

// What goes to a worker, and comes back with its answer. No kind has a blank.
std::string TextOf(const Task &task) {
  return task.kind + ' ' + task.trial;
}

Task ReadTask(const std::string &text) {
  const size_t blank = text.find(' ');
  return {text.substr(0, blank), text.substr(blank + 1)};
}

Status Play(const std::vector<Task> &tasks, campaign::Workers &workers,
            std::optional<campaign::ResultFile> &file) {
  signal(SIGINT, [](int) { stopped = 1; });
  signal(SIGTERM, [](int) { stopped = 1; });
  campaign::Progress progress(tasks.size());
  size_t taken = 0;
  const auto next = [&] {
    return stopped != 0 || taken == tasks.size() ? "" : TextOf(tasks[taken++]);
  };
  workers.Do(next, kLongestTrial, [&](const std::string &text, const std::string &answer) {
    const auto [kind, trial] = ReadTask(text);
    const Result result =
        answer.empty()
            ? Result{kind, trial, kLongestTrial, {{campaign::kMachinery, "no answer"}}, ""}
            : campaign::ReadResult(answer);
    if (!result.broken.empty()) {
      progress.Clear();
      Print(result);
    }
    if (file) file->Add(result);
    progress.Add(!result.broken.empty());
  });
  progress.End();
  return progress.Broken() == 0 && stopped == 0 ? kHolds : kBroken;
}

// The workers come before what is as long as the campaign, its trials and its results: each program
// that one starts is first a copy of the worker, and takes the longer the more the worker holds.
Status Run() {
  campaign::Choice &choice = options.choice;
  choice.shard = campaign::ReadShard(options.shard);
  if (!options.trials.empty()) choice.listed = campaign::ReadTrials(options.trials);
  // A file that is none is told before anything is played.
  if (!options.results.empty()) campaign::ReadResults(options.results, [](const Result &) {});
  StartUnderGuard();
  const Folders folders(options.jobs);
  campaign::Site site(folders[0]);
  campaign::SurveyBoards(choice, site);
  campaign::Workers workers(options.jobs, [&](unsigned worker, const std::string &task) {
    site.MoveTo(folders[worker]);
    return campaign::LineOf(campaign::PlayTask(site, ReadTask(task)));
  });
  const std::vector<Task> tasks = campaign::TasksOf(choice, site);
  std::optional<campaign::ResultFile> file;
  if (!options.results.empty()) file.emplace(options.results);
  return Play(Left(tasks, file), workers, file);
}

// What the trial itself does is marked.
void Show(const campaign::Lines &lines) {
  for (const vboard::Line &line : lines) {
    if (line.event) {
      const bool planned = line.text.starts_with("fault: ") || line.text == "power cut";
      printf("%s%12.6f  [%d] %s\n", planned ? ">>" : "  ", line.time, line.process,
             line.text.c_str());
    } else {
      printf("  %-14s|  %s\n", "", line.text.c_str());
    }
  }
}

Status Replay() {
  const campaign::Trial trial = campaign::ReadTrial(options.trial);
  StartUnderGuard();
  const Folders folders(1);
  campaign::Site site(folders[0]);
  const campaign::History history = site.Play(trial);
  campaign::Trial taken = trial;
  taken.seed.reset();
  taken.steps = history.steps;
  printf("%s\n\n", campaign::TextOf(taken).c_str());
  Show(history.lines);
  puts("\nThe boot behind it, without disturbance:\n");
  Show(history.after);
  const auto broken = campaign::JudgePlayed(site, trial, history);
  puts(broken.empty() ? "\nEvery rule holds." : "");
  for (const campaign::Broken &one : broken) {
    printf("broken: %s: %s\n", one.rule.c_str(), one.why.c_str());
  }
  return broken.empty() ? kHolds : kBroken;
}

Status Report() {
  const std::vector<Result> results = campaign::MergeResults(options.files);
  fputs(campaign::MarkdownReport(results).c_str(), stdout);
  if (options.page.empty()) return kHolds;
  std::ofstream page(options.page, std::ios::binary);
  page << campaign::HtmlReport(results) << std::flush;
  if (!page) throw std::runtime_error(options.page + ": cannot be written");
  return kHolds;
}

void ListRules() {
  for (const campaign::Rule &rule : campaign::Rules()) {
    printf("%-10s %s\n", rule.name, rule.sentence);
  }
}

void AddCommands(CLI::App &app, Status &status) {
  campaign::Choice &choice = options.choice;
  CLI::App *run = app.add_subcommand("run", "play trials");
  run->add_option("--kind", choice.kinds, "calls, power, memory or random; default all");
  run->add_option("--board", choice.boards, "default all");
  run->add_option("--random", choice.extent.random, "random trials of each board")
      ->capture_default_str();
  run->add_flag("--every", choice.extent.every, "all of the calls that boards repeat, not some");
  run->add_option("--trials", options.trials, "play those that a file lists, one in each line");
  run->add_option("--shard", options.shard, "I/N: each Nth trial from the Ith on, from 0");
  run->add_option("--jobs", options.jobs, "trials at a time")->check(CLI::Range(1, 1024));
  run->add_option("--results", options.results, "file of results; what it has is not played again");
  run->callback([&] { status = Run(); });
  CLI::App *replay = app.add_subcommand("replay", "show a trial's transcript and what broke");
  replay->add_option("TRIAL", options.trial, "such as supervised/read:/dev/mtd1#3=EIO+")
      ->required();
  replay->callback([&] { status = Replay(); });
  CLI::App *report = app.add_subcommand("report", "make one table of results");
  report->add_option("FILE", options.files)->required();
  report->add_option("--html", options.page, "write a page, too");
  report->callback([&] { status = Report(); });
  app.add_subcommand("rules", "list what every trial is judged by")->callback(ListRules);
}

}  // namespace

// Ends with 0 when every rule held, 1 when one broke or the campaign was stopped, 2 when it cannot
// do what it was asked for.
int main(int count, char **words) {
  CLI::App app("Trials of the virtual boards: what is disturbed, and which rules hold");
  app.require_subcommand(1);
  app.set_version_flag("--version", "campaign " VERSION);
  Status status = kHolds;
  AddCommands(app, status);
  try {
    app.parse(count, words);
    if (fflush(stdout) != 0) throw std::runtime_error("standard output cannot be written");
  } catch (const CLI::ParseError &error) {
    return app.exit(error) == 0 ? kHolds : kCannot;
  } catch (const std::exception &error) {
    fprintf(stderr, "campaign: %s\n", error.what());
    return kCannot;
  }
  return status;
}
