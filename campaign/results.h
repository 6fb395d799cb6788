// The results of trials: a file of JSON lines, the first of which says what the others are.
#pragma once

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "campaign/rules.h"

namespace campaign {

struct Result {
  std::string kind;
  std::string trial;
  double seconds = 0;  // that it took
  std::vector<Broken> broken;
  std::string
      shortened;  // the fewest steps that break a rule, too; "" where nobody looked for them
};

// The rule that what plays the trials breaks, and no board.
inline constexpr char kMachinery[] = "machinery";

std::string LineOf(const Result &result);
// Throws std::runtime_error.
Result ReadResult(const std::string &line);

// Visits the results of a file, one after the other; one that is not there has none. A last line
// that was not written to its end is left out. Throws std::runtime_error, with file and line, for
// another version or what is no result.
void ReadResults(const std::string &path, const std::function<void(const Result &)> &visit);

// Adds results to a file, which is made when it is not there; a last line that was not written to
// its end goes. Throws std::runtime_error.
class ResultFile {
 public:
  explicit ResultFile(const std::string &path);
  ~ResultFile();
  ResultFile(const ResultFile &) = delete;
  ResultFile &operator=(const ResultFile &) = delete;

  void Add(const Result &result);
  bool Has(const std::string &trial) const { return known_.contains(trial); }

 private:
  void DropUnfinishedLine();

  std::string path_;
  FILE *file_ = nullptr;
  std::set<std::string> known_;
};

}  // namespace campaign
