// What a board told, in its order: what came on its console, and the events of its log. A process
// that logs an event puts a mark on the console, so that the event comes between the texts that the
// process printed before and after it. The mark begins with characters drawn by lot for each
// machine; whatever else a program prints is text.
#pragma once

#include <stddef.h>

#include <fstream>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace vboard {

// A mark: this character, 16 drawn ones, and the log's length in 16 hexadecimal digits.
constexpr char kMarkStart = '\x1e';
constexpr size_t kMarkLength = 33;

// A line as it came: what a program printed, or an event.
struct Line {
  bool event = false;
  std::string text;  // without time, process and line feed
  double time = 0;   // seconds of board time; of what a program printed, when it was read
  int process = 0;   // events: the number of the process, 0 for the board itself
  bool cut = false;  // events: the log may lack the text's end
};

// A line of the event log.
Line EventLine(std::string text);

class Transcript {
 public:
  using Show = std::function<void(const Line &)>;

  // Begins at the log's end, and draws the marks of the open board. Every line is shown as it
  // comes.
  explicit Transcript(Show show);

  void TakeConsole(std::string_view bytes);
  // Takes the events that no mark has brought.
  void TakeEvents();
  // Ends the line that is not yet complete.
  void EndLine();

  // Looks on from the line that was found last. True, and that is the line found last, when one
  // contains the text.
  bool Find(std::string_view text);
  // What has come so far is not looked at any more.
  void Forget() { found_ = lines_.size(); }

  // The last 16 MiB of it; a longer line than 4096 characters comes in pieces.
  const std::vector<Line> &Lines() const { return lines_; }
  // How many of them came up to the one found last.
  size_t Found() const { return found_; }

 private:
  void TakeMark(char c);
  void Print(std::string_view text);
  void TakeEvents(size_t end);
  void Keep(Line line);

  Show show_;
  std::string markStart_;
  std::string mark_;  // what came of a mark
  std::string text_;
  std::ifstream log_;
  size_t logTaken_;
  std::vector<Line> lines_;
  size_t kept_ = 0;  // bytes
  size_t found_ = 0;
};

}  // namespace vboard
