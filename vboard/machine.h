// A board under power: starts its command, reads its console and its events, restarts it when
// a program asks for it or the power goes, and plays its scenario.
#pragma once

#include <sys/types.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "vboard/make.h"
#include "vboard/transcript.h"

namespace vboard {

// What ends a machine from outside.
struct Interrupted {
  int signal;
};

// Becomes a program of the PC on the open board; the command's first word is the program's name.
[[noreturn]] void ExecuteOnBoard(const std::string &program,
                                 const std::vector<std::string> &command);

// The programs on the board are this process's descendants, and so it has no others while its
// board is under power: switching off ends them all.
class Machine {
 public:
  // Runs on the open board. Every line is shown as it comes.
  explicit Machine(Plan plan, Transcript::Show show = {});
  ~Machine();
  Machine(const Machine &) = delete;
  Machine &operator=(const Machine &) = delete;

  // Switches the board on. Throws std::runtime_error when the command is not on the board.
  void Start();
  // Goes on until a line that came after the last one waited for contains the text. False
  // when the real seconds are over before that, or nothing runs any more.
  bool WaitFor(const std::string &text, double seconds);
  // Goes on for so many real seconds, or until nothing runs any more.
  void Run(double seconds);
  // Plays the plan's scenario. Throws std::runtime_error with the step that failed.
  void Play(double secondsPerStep);
  // Pulls the plug.
  void Stop();
  // Has whatever goes on here end with Interrupted. For signal handlers.
  static void RequestStop(int signal);

  bool Running() const { return running_; }
  // Exit status of the command that the board's init ran, once it has ended; -1 before.
  int ExitStatus() const { return exitStatus_; }
  // What came; of very much the last part.
  const std::vector<Line> &Lines() const { return transcript_.Lines(); }
  // How many of the lines came up to the last one waited for.
  size_t Waited() const { return transcript_.Found(); }

 private:
  void StartCommand();
  void Step();
  void ReadConsole(int milliseconds);
  void Reap();
  void FollowPower();
  bool Quiet();

  Plan plan_;
  Transcript transcript_;
  int console_ = -1;
  int terminal_ = -1;
  pid_t command_ = -1;
  bool running_ = false;
  int exitStatus_ = -1;
};

}  // namespace vboard
