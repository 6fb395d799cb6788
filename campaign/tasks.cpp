#include "campaign/tasks.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <fstream>
#include <set>
#include <stdexcept>
#include <utility>

#include "campaign/boards.h"

namespace campaign {
namespace {

constexpr char kListed[] = "listed";  // the kind of trials that a file lists

std::vector<std::string> BoardsOf(const Choice &choice) {
  for (const std::string &board : choice.boards) FindBoard(board);
  if (!choice.listed) return choice.boards.empty() ? Boards() : choice.boards;
  std::set<std::string> boards;
  for (const Task &task : *choice.listed) boards.insert(ReadTrial(task.trial).board);
  return {boards.begin(), boards.end()};
}

std::vector<Kind> KindsOf(const Choice &choice) {
  std::vector<Kind> kinds;
  for (const std::string &name : choice.kinds) {
    const auto found = std::find_if(Kinds().begin(), Kinds().end(),
                                    [&](const Kind &kind) { return kind.name == name; });
    if (found == Kinds().end()) throw std::invalid_argument("'" + name + "' is no kind of trials");
    kinds.push_back(*found);
  }
  return kinds.empty() ? Kinds() : kinds;
}

std::vector<Task> AllTasks(const Choice &choice, Site &site) {
  const std::vector<std::string> boards = BoardsOf(choice);
  const std::vector<Kind> kinds = KindsOf(choice);
  std::vector<Task> tasks;
  for (const std::string &board : boards) {
    const Survey &survey = site.SurveyOf(board);
    for (const Kind &kind : kinds) {
      for (std::string &trial : kind.trials(board, survey, choice.extent)) {
        tasks.push_back({kind.name, std::move(trial)});
      }
    }
  }
  return tasks;
}

}  // namespace

Shard ReadShard(const std::string &text) {
  Shard shard;
  char end = 0;
  if (sscanf(text.c_str(), "%u/%u%c", &shard.index, &shard.count, &end) != 2 ||
      shard.index >= shard.count) {
    throw std::invalid_argument("'" + text + "' is no shard: I/N with I from 0 to N - 1");
  }
  return shard;
}

std::vector<Task> ReadTrials(const std::string &path) {
  std::vector<Task> tasks;
  std::ifstream file(path);
  if (!file) throw std::invalid_argument(path + ": " + strerror(errno));
  std::string line;
  for (int number = 1; std::getline(file, line); ++number) {
    if (line.empty() || line[0] == '#') continue;
    try {
      ReadTrial(line);
    } catch (const std::invalid_argument &error) {
      throw std::invalid_argument(path + ":" + std::to_string(number) + ": " + error.what());
    }
    tasks.push_back({kListed, line});
  }
  return tasks;
}

void SurveyBoards(const Choice &choice, Site &site) {
  KindsOf(choice);
  for (const std::string &board : BoardsOf(choice)) site.SurveyOf(board);
}

std::vector<Task> TasksOf(const Choice &choice, Site &site) {
  const std::vector<Task> all = choice.listed ? *choice.listed : AllTasks(choice, site);
  std::vector<Task> tasks;
  for (size_t i = choice.shard.index; i < all.size(); i += choice.shard.count) {
    tasks.push_back(all[i]);
  }
  return tasks;
}

}  // namespace campaign
