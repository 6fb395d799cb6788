// One table of what campaigns came to.
#pragma once

#include <string>
#include <vector>

#include "campaign/results.h"

namespace campaign {

// The results of several files, each trial once, in the order of their texts: shards of a campaign
// become what the whole of it is. Throws std::runtime_error.
std::vector<Result> MergeResults(const std::vector<std::string> &files);

std::string MarkdownReport(const std::vector<Result> &results);
// A page that needs nothing else.
std::string HtmlReport(const std::vector<Result> &results);

}  // namespace campaign
