// What has to hold for every trial.
#pragma once

#include <string>
#include <vector>

#include "campaign/history.h"

namespace campaign {

struct Rule {
  const char *name;
  const char *sentence;
  // What breaks it; empty when it holds.
  std::string (*broken)(const Trial &trial, const Survey &survey, const History &history);
};

const std::vector<Rule> &Rules();
constexpr char kTold[] = "told";

struct Broken {
  std::string rule;
  std::string why;
};

std::vector<Broken> Judge(const Trial &trial, const Survey &survey, const History &history);

}  // namespace campaign
