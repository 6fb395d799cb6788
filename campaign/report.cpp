#include "campaign/report.h"

#include <stdio.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <stdexcept>

namespace campaign {
namespace {

constexpr size_t kSlowestShown = 10;

struct Count {
  size_t trials = 0, broken = 0;
  double seconds = 0;

  void Add(const Result &result) {
    ++trials;
    if (!result.broken.empty()) ++broken;
    seconds += result.seconds;
  }
};

struct Summary {
  std::set<std::string> boards, kinds;
  std::map<std::pair<std::string, std::string>, Count> cells;  // by board and kind
  std::map<std::string, size_t> rules;                         // how often each broke
  Count all;
  std::vector<const Result *> slowest, failed;
};

std::string BoardOf(const Result &result) {
  return result.trial.substr(0, result.trial.find('/'));
}

Summary Summarise(const std::vector<Result> &results) {
  Summary summary;
  for (const Result &result : results) {
    summary.boards.insert(BoardOf(result));
    summary.kinds.insert(result.kind);
    summary.cells[{BoardOf(result), result.kind}].Add(result);
    summary.all.Add(result);
    for (const Broken &one : result.broken) ++summary.rules[one.rule];
    if (!result.broken.empty()) summary.failed.push_back(&result);
    summary.slowest.push_back(&result);
  }
  std::stable_sort(
      summary.slowest.begin(), summary.slowest.end(),
      [](const Result *one, const Result *two) { return one->seconds > two->seconds; });
  summary.slowest.resize(std::min(kSlowestShown, summary.slowest.size()));
  return summary;
}

template <typename... Values>
std::string Format(const char *format, Values... values) {
  char text[200];
  const int length = snprintf(text, sizeof text, format, values...);
  return {text, std::min(static_cast<size_t>(length), sizeof text - 1)};
}

std::string Headline(const Count &count) {
  return Format("%zu trials, %zu with a broken rule, %.1f s of one processor, %.1f ms a trial",
                count.trials, count.broken, count.seconds,
                1000 * count.seconds / static_cast<double>(std::max<size_t>(1, count.trials)));
}

// Words for the shell.
std::string Quoted(const std::string &text) {
  std::string quoted = "'";
  for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

std::string Replay(const std::string &trial) {
  return "campaign replay " + Quoted(trial);
}

std::string Text(const Count &count) {
  if (count.broken == 0) return std::to_string(count.trials);
  return Format("%zu (%zu broken)", count.trials, count.broken);
}

// What both forms of the report are made of.
class Page {
 public:
  virtual ~Page() = default;
  virtual void Paragraph(const std::string &text) = 0;
  virtual void Heading(const std::string &text) = 0;
  virtual void Code(const std::string &text) = 0;
  struct Cell {
    std::string text;
    bool bad = false;
  };
  virtual void Row(const std::vector<Cell> &cells, bool head) = 0;
  virtual void EndTable() = 0;
};

void WriteMatrix(const Summary &summary, Page &page) {
  std::vector<Page::Cell> head = {{"board"}};
  for (const std::string &kind : summary.kinds) head.push_back({kind});
  page.Row(head, true);
  for (const std::string &board : summary.boards) {
    std::vector<Page::Cell> row = {{board}};
    for (const std::string &kind : summary.kinds) {
      const auto cell = summary.cells.find({board, kind});
      if (cell == summary.cells.end()) {
        row.push_back({"-"});
      } else {
        row.push_back({Text(cell->second), cell->second.broken > 0});
      }
    }
    page.Row(row, false);
  }
  page.EndTable();
}

void WriteFailures(const Summary &summary, Page &page) {
  if (summary.failed.empty()) return;
  page.Heading("Broken rules");
  for (const auto &[rule, count] : summary.rules) {
    page.Paragraph(rule + ": " + std::to_string(count));
  }
  for (const Result *result : summary.failed) {
    for (const Broken &one : result->broken) page.Paragraph(one.rule + ": " + one.why);
    page.Code(Replay(result->trial));
    if (!result->shortened.empty()) page.Code(Replay(result->shortened));
  }
}

void Write(const std::vector<Result> &results, Page &page) {
  const Summary summary = Summarise(results);
  page.Paragraph(Headline(summary.all));
  WriteMatrix(summary, page);
  page.Heading("Slowest");
  page.Row({{"seconds"}, {"trial"}}, true);
  for (const Result *result : summary.slowest) {
    page.Row({{Format("%.3f", result->seconds)}, {result->trial}}, false);
  }
  page.EndTable();
  WriteFailures(summary, page);
}

class Markdown : public Page {
 public:
  void Paragraph(const std::string &text) override { text_ += Escaped(text) + "\n\n"; }
  void Heading(const std::string &text) override { text_ += "## " + text + "\n\n"; }
  void Code(const std::string &text) override { text_ += "    " + text + "\n\n"; }
  void Row(const std::vector<Cell> &cells, bool head) override {
    for (const Cell &cell : cells) text_ += "| " + Escaped(cell.text) + " ";
    text_ += "|\n";
    if (!head) return;
    for (size_t i = 0; i < cells.size(); ++i) text_ += i == 0 ? "|---" : "|---:";
    text_ += "|\n";
  }
  void EndTable() override { text_ += "\n"; }
  const std::string &text() const { return text_; }

 private:
  static std::string Escaped(const std::string &text) {
    std::string escaped;
    for (const char c : text) {
      if (c == '|' || c == '\\' || c == '<' || c == '*' || c == '_' || c == '`') escaped += '\\';
      escaped += static_cast<unsigned char>(c) < ' ' ? ' ' : c;
    }
    return escaped;
  }

  std::string text_ = "# Campaign\n\n";
};

constexpr char kPage[] = R"(<!DOCTYPE html>
<html lang="en">
<meta charset="utf-8">
<meta name="viewport" content="width=device-width">
<title>Campaign</title>
<style>
:root { color-scheme: light dark; font: 1em/1.4 system-ui, sans-serif; }
body { max-width: 70em; margin: auto; padding: 1em; }
table { border-collapse: collapse; margin: 1em 0; }
th, td { border: 1px solid #8888; padding: .2em .6em; text-align: right; }
th:first-child, td:first-child { text-align: left; }
.bad { background: #c00; color: #fff; font-weight: bold; }
pre { white-space: pre-wrap; padding: .5em; border-left: 4px solid #c00; }
</style>
<h1>Campaign</h1>
)";

class Html : public Page {
 public:
  void Paragraph(const std::string &text) override { Add("p", text); }
  void Heading(const std::string &text) override { Add("h2", text); }
  void Code(const std::string &text) override { Add("pre", text); }
  void Row(const std::vector<Cell> &cells, bool head) override {
    if (head) text_ += "<table>\n";
    text_ += "<tr>";
    for (const Cell &cell : cells) {
      text_ += std::string(head       ? "<th>"
                           : cell.bad ? "<td class=\"bad\">"
                                      : "<td>") +
               Escaped(cell.text);
    }
    text_ += "\n";
  }
  void EndTable() override { text_ += "</table>\n"; }
  std::string text() const { return text_ + "</html>\n"; }

 private:
  static std::string Escaped(const std::string &text) {
    std::string escaped;
    for (const char c : text) {
      escaped += c == '&'   ? std::string("&amp;")
                 : c == '<' ? std::string("&lt;")
                            : std::string(1, c);
    }
    return escaped;
  }
  void Add(const std::string &tag, const std::string &text) {
    text_ += "<" + tag + ">" + Escaped(text) + "</" + tag + ">\n";
  }

  std::string text_ = kPage;
};

}  // namespace

std::vector<Result> MergeResults(const std::vector<std::string> &files) {
  std::map<std::string, Result> merged;
  for (const std::string &file : files) {
    if (!std::filesystem::exists(file)) throw std::runtime_error(file + ": is not there");
    ReadResults(file, [&](const Result &result) {
      const auto known = merged.find(result.trial);
      // A rule that broke once is not forgotten for a file in which it held.
      if (known == merged.end() || known->second.broken.empty()) merged[result.trial] = result;
    });
  }
  std::vector<Result> results;
  results.reserve(merged.size());
  for (auto &[trial, result] : merged) results.push_back(std::move(result));
  return results;
}

std::string MarkdownReport(const std::vector<Result> &results) {
  Markdown page;
  Write(results, page);
  return page.text();
}

std::string HtmlReport(const std::vector<Result> &results) {
  Html page;
  Write(results, page);
  return page.text();
}

}  // namespace campaign
