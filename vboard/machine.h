// A board under power: starts its command, reads its console and its events, restarts it when
// a program asks for it or the power goes, and plays its scenario.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "vboard/keeper.h"
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
  // Runs on the open board, whose time it keeps: board seconds a second, 0: as fast as its programs
  // let it. Every line is shown as it comes.
  explicit Machine(Plan plan, Transcript::Show show = {}, uint32_t speed = 0);
  ~Machine();
  Machine(const Machine &) = delete;
  Machine &operator=(const Machine &) = delete;

  // Switches the board on. Throws std::runtime_error when the command is not on the board.
  void Start();
  // Goes on until a line that came after the last one waited for contains the text. False
  // when the real seconds are over before that, the board's lifetime has come to the moment, or
  // nothing runs any more.
  bool WaitFor(const std::string &text, double seconds, int64_t moment = kNever);
  // The same until the action can have its effect.
  bool Act(const std::string &action, double seconds, int64_t moment = kNever);
  // Goes on until this has happened, which is asked only when every program waits. False as above.
  bool GoOnUntil(const std::function<bool()> &happened, double seconds, int64_t moment = kNever);
  // Goes on for so many board seconds. False when nothing runs any more before that.
  bool Run(double seconds);
  // Goes on until nothing runs any more.
  void RunOn();
  // Goes on for good, also while nothing runs or the board is off, until somebody switches it on.
  [[noreturn]] void Attend();
  // Starts a program of the PC on the board, beside what runs there: on the board's console, or
  // with nothing to read and these descriptors to write to. Its number on the PC.
  pid_t StartBeside(const std::vector<std::string> &command, int output = -1, int messages = -1);
  // Exit status of a program that was started beside, once it has ended; -1 before.
  int StatusOf(pid_t beside) const { return beside_.at(beside); }
  // Plays the plan's scenario. Throws std::runtime_error with the step that failed; each may take
  // so many real seconds.
  void Play(double secondsPerStep);
  // Pulls the plug.
  void Stop();
  // Has whatever goes on here end with Interrupted. For signal handlers.
  static void RequestStop(int signal);
  // Types on the console. False when it takes no more, because nobody reads.
  bool Type(std::string_view text);
  // Follows what came from outside meanwhile, such as a stop. For who lets nothing go on. True when
  // programs have started or ended since.
  bool LookOutside();
  // Has time go on to a moment that is waited for even when nothing runs any more.
  void GoOnAlone() { goesOnAlone_ = true; }

  // Whether the board is switched on; its programs may have ended.
  bool On() const { return command_ >= 0; }
  bool Running() const { return running_; }
  // Exit status of the command that the board's init ran, once it has ended; -1 before.
  int ExitStatus() const { return exitStatus_; }
  // What came; of very much the last part.
  const std::vector<Line> &Lines() const { return transcript_.Lines(); }
  // Looks for a line as WaitFor does, among those that have come.
  bool Find(const std::string &text) { return transcript_.Find(text); }
  void Forget() { transcript_.Forget(); }
  // How many of the lines came up to the last one waited for.
  size_t Waited() const { return transcript_.Found(); }

 private:
  void StartCommand();
  bool ComeToRest(std::chrono::steady_clock::time_point end);
  void GoOn(int64_t moment, std::chrono::steady_clock::time_point end);
  bool ReadConsole();
  void Reap();
  bool FollowPower();

  Plan plan_;
  Transcript transcript_;
  Keeper keeper_;
  int console_ = -1;
  int terminal_ = -1;
  unsigned changes_ = 0;
  int64_t shutDown_ = kNever;  // the lifetime at which the programs have had their time for it
  pid_t command_ = -1;
  std::map<pid_t, int> beside_;  // and their exit status, -1 while they run
  bool running_ = false;
  bool goesOnAlone_ = false;
  int exitStatus_ = -1;
};

}  // namespace vboard
