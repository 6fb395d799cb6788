#include "vboard/steps.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>

#include "vboard/actions.h"
#include "vboard/board.h"
#include "vboard/command/output.h"
#include "vboard/json.h"
#include "vboard/processes.h"

namespace vboard {
namespace {

using Json = nlohmann::ordered_json;

constexpr int kLookMilliseconds = 100;
constexpr size_t kLongestStep = size_t{1} << 20;
constexpr size_t kMostOutput = size_t{16} << 20;  // of a program, that an answer holds
constexpr double kLongestSeconds = 1e9;

// What a step could not do. The board goes on.
struct StepError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The board's time was over before it happened.
struct LimitReached : StepError {
  using StepError::StepError;
};

struct PatienceEnded : StepError {
  using StepError::StepError;
};

std::string AsLine(const Json &json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

// Takes a line's first word away.
std::string TakeWord(std::string *line) {
  const size_t end = std::min(line->find(' '), line->size());
  std::string word = line->substr(0, end);
  line->erase(0, std::min(end + 1, line->size()));
  return word;
}

int64_t MomentAfter(const std::string &word) {
  double seconds = 0;
  const char *const last = word.data() + word.size();
  const auto [end, error] = std::from_chars(word.data(), last, seconds);
  if (error != std::errc() || end != last || !(seconds >= 0) || seconds > kLongestSeconds) {
    throw StepError("'" + word + "' is no number of seconds");
  }
  return Lifetime() + static_cast<int64_t>(seconds * kSecond);
}

// Words with blanks between them, or a JSON list of texts.
std::vector<std::string> CommandOf(const std::string &text) {
  if (!text.starts_with('[')) return Words(text);
  const Json list = Json::parse(text, nullptr, false);
  std::vector<std::string> words;
  for (const Json &word : list) {
    if (!word.is_string()) return {};
    words.push_back(word.get<std::string>());
  }
  return words;
}

// Where a program writes, whose output nobody reads before it has ended.
class Output {
 public:
  Output() : fd_(memfd_create("output", MFD_CLOEXEC)) {
    if (fd_ < 0) throw StepError("no place for the program's output");
    fcntl(fd_, F_SETFL, O_APPEND);
  }
  ~Output() { close(fd_); }
  Output(const Output &) = delete;
  Output &operator=(const Output &) = delete;
  int fd() const { return fd_; }
  std::string Text() const {
    const auto size = static_cast<size_t>(std::max<off_t>(0, lseek(fd_, 0, SEEK_END)));
    if (size > kMostOutput) throw StepError("the program has printed more than 16 MiB");
    std::string text(size, '\0');
    const ssize_t length = pread(fd_, text.data(), text.size(), 0);
    text.resize(length > 0 ? static_cast<size_t>(length) : 0);
    return text;
  }

 private:
  int fd_;
};

// A program that a step started.
struct Guest {
  pid_t process = 0;
  Output output, messages;
};

class Player {
 public:
  Player(const Plan &plan, const StepOptions &options)
      : options_(options), machine_(plan, [this](const Line &line) { Note(line); }) {
    machine_.GoOnAlone();
    if (options.transcript.empty()) return;
    transcript_ = fopen(options.transcript.c_str(), "ae");
    CheckTranscript(transcript_ != nullptr);
  }
  ~Player() {
    machine_.Stop();
    if (transcript_ != nullptr) fclose(transcript_);
    transcript_ = nullptr;
  }
  Player(const Player &) = delete;
  Player &operator=(const Player &) = delete;

  Json Play(const std::string &step);
  void LookOutside() { machine_.LookOutside(); }
  // Switches the board off. Throws std::runtime_error when the transcript was not written whole.
  void End() {
    machine_.Stop();
    FlushTranscript();
  }

  void PowerOn(const std::string &words);
  void Wait(const std::string &text);
  void Expect(const std::string &words);
  void After(const std::string &seconds);
  void Type(const std::string &text);
  void Forget(const std::string &words);
  void Start(const std::string &words);
  void Finish(const std::string &words);
  void Execute(const std::string &words);
  void Signal(const std::string &words);
  void Act(const std::string &words);

 private:
  void Note(const Line &line);
  void FlushTranscript() {
    if (transcript_ != nullptr)
      CheckTranscript(fflush(transcript_) == 0 && ferror(transcript_) == 0);
  }
  void CheckTranscript(bool good) const {
    if (!good) throw std::runtime_error(options_.transcript + ": " + strerror(errno));
  }
  void CheckOn() const;
  template <typename Happened>
  void Until(Happened happened, int64_t moment, const std::string &otherwise);
  std::string StartBeside(const std::string &words);

  StepOptions options_;
  Machine machine_;
  Json answer_;
  FILE *transcript_ = nullptr;
  std::map<std::string, std::shared_ptr<Guest>>
      guests_;  // by their process numbers, until they are finished
};

struct Step {
  StepHelp help;
  void (Player::*play)(const std::string &words);
};

constexpr Step kSteps[] = {
    {{"power on", "switch the board on, which is off at first"}, &Player::PowerOn},
    {{"wait TEXT", "until a line contains the text that came after the last one found"},
     &Player::Wait},
    {{"expect SECONDS TEXT", "the same for so many board seconds at most"}, &Player::Expect},
    {{"after SECONDS", "let so many board seconds go by"}, &Player::After},
    {{"type TEXT", "type a line on the console"}, &Player::Type},
    {{"forget", "look at nothing any more that has come so far"}, &Player::Forget},
    {{"start PROGRAM ARGUMENT...", "start a program: the answer has its process number"},
     &Player::Start},
    {{"finish PROCESS-NUMBER",
      "until a program has ended: the answer has its output, its messages and its exit status"},
     &Player::Finish},
    {{"exec PROGRAM ARGUMENT...", "both; instead of the words there may be a JSON list of texts"},
     &Player::Execute},
    {{"signal NUMBER PROCESS-NUMBER", "send a process of the board a signal"}, &Player::Signal},
};

// The words of a step that are always the same.
std::string NameOf(const Step &step) {
  std::string name;
  for (const std::string &word : Words(step.help.step)) {
    if (isupper(static_cast<unsigned char>(word[0])) != 0) break;
    name += (name.empty() ? "" : " ") + word;
  }
  return name;
}

void Player::Note(const Line &line) {
  if (transcript_ == nullptr) return;
  const Json text = {{"time", line.time}, {"console", line.text}};
  fputs((line.event ? EventJson(line) + "\n" : AsLine(text)).c_str(), transcript_);
}

void Player::CheckOn() const {
  if (!machine_.On()) throw StepError("the board is off");
}

template <typename Happened>
void Player::Until(Happened happened, int64_t moment, const std::string &otherwise) {
  const bool wasOn = machine_.On();
  bool came = false;
  const auto ends = [&] { return (came = happened()) || machine_.On() != wasOn; };
  machine_.GoOnUntil(ends, options_.patience, moment);
  if (came) return;
  if (machine_.On() != wasOn) throw StepError(otherwise + ": the board was switched off");
  if (Lifetime() >= moment) throw LimitReached(otherwise);
  if (!machine_.Running()) throw StepError(otherwise + ": nothing runs any more");
  throw PatienceEnded(otherwise + ": the programs did not let the board's time go on");
}

void Player::PowerOn(const std::string &words) {
  if (!words.empty()) throw StepError("usage: power on");
  if (machine_.On()) throw StepError("the board is on");
  machine_.Start();
}

void Player::Wait(const std::string &text) {
  if (text.empty()) throw StepError("usage: wait TEXT");
  CheckOn();
  Until([&] { return machine_.Find(text); }, kNever, "'" + text + "' did not come");
  answer_["line"] = machine_.Lines().at(machine_.Waited() - 1).text;
}

void Player::Expect(const std::string &words) {
  std::string text = words;
  const std::string seconds = TakeWord(&text);
  const int64_t moment = MomentAfter(seconds);
  CheckOn();
  Until([&] { return machine_.Find(text); }, moment,
        "'" + text + "' did not come within " + seconds + " s");
  answer_["line"] = machine_.Lines().at(machine_.Waited() - 1).text;
}

void Player::After(const std::string &seconds) {
  const int64_t moment = MomentAfter(seconds);
  Until([&] { return Lifetime() >= moment; }, moment, "time did not go on");
}

void Player::Type(const std::string &text) {
  CheckOn();
  if (!machine_.Type(text + "\n")) throw StepError("nobody reads the console");
}

void Player::Forget(const std::string &words) {
  if (!words.empty()) throw StepError("usage: forget");
  machine_.Forget();
}

// The number of its process on the board.
std::string Player::StartBeside(const std::string &words) {
  CheckOn();
  std::vector<std::string> command = CommandOf(words);
  if (command.empty() || command[0].empty()) {
    throw StepError("usage: exec PROGRAM ARGUMENT..., or a JSON list of texts");
  }
  if (command[0].find('/') == std::string::npos) command[0].insert(0, options_.programs + "/");
  const auto guest = std::make_shared<Guest>();
  guest->process = machine_.StartBeside(command, guest->output.fd(), guest->messages.fd());
  answer_["process"] = NumberOnBoard(guest->process);
  std::string number = answer_["process"].dump();
  guests_[number] = guest;
  return number;
}

void Player::Start(const std::string &words) {
  StartBeside(words);
}

void Player::Finish(const std::string &number) {
  const auto guest = guests_.find(number);
  if (guest == guests_.end()) throw StepError("no step started process '" + number + "'");
  const auto status = [&] { return machine_.StatusOf(guest->second->process); };
  if (status() < 0)
    Until([&] { return status() >= 0; }, kNever, "process " + number + " did not end");
  answer_["status"] = status();
  answer_["output"] = guest->second->output.Text();
  answer_["messages"] = guest->second->messages.Text();
  guests_.erase(guest);
}

void Player::Execute(const std::string &words) {
  Finish(StartBeside(words));
}

void Player::Signal(const std::string &words) {
  const std::vector<std::string> numbers = Words(words);
  if (numbers.size() != 2) throw StepError("usage: signal NUMBER PROCESS-NUMBER");
  const uint32_t number = NumberOf(numbers[0], static_cast<uint32_t>(SIGRTMAX));
  const pid_t process = ProcessOfNumber(static_cast<int>(NumberOf(numbers[1], INT32_MAX)));
  if (process <= 0) throw StepError("no process " + numbers[1] + " runs on the board");
  if (kill(process, static_cast<int>(number)) != 0) throw StepError(strerror(errno));
}

void Player::Act(const std::string &words) {
  const bool power = words.starts_with("power ");
  if (power) CheckOn();
  Until([&] { return TryToAct(words); }, kNever, "nothing on the board took it");
  if (!power || State().power == Power::kOn) return;
  const uint32_t boots = State().boots;
  // Its programs have their time for it.
  machine_.GoOnUntil([&] { return !machine_.On() || State().boots != boots; }, options_.patience);
}

void PlayStep(Player &player, const std::string &step) {
  for (const Step &each : kSteps) {
    const std::string name = NameOf(each);
    if (step == name) return (player.*each.play)("");
    if (step.starts_with(name + " ")) return (player.*each.play)(step.substr(name.size() + 1));
  }
  player.Act(step);
}

Json Player::Play(const std::string &step) {
  answer_ = {{"ok", true}, {"time", 0}};
  try {
    PlayStep(*this, step);
  } catch (const PatienceEnded &error) {
    answer_.update({{"ok", false}, {"error", error.what()}, {"ended", true}});
  } catch (const LimitReached &error) {
    answer_.update({{"ok", false}, {"error", error.what()}, {"limit", true}});
  } catch (const std::runtime_error &error) {
    answer_.update({{"ok", false}, {"error", error.what()}});
  } catch (const std::invalid_argument &error) {
    answer_.update({{"ok", false}, {"error", error.what()}});
  }
  // What the step did is told, too.
  if (!answer_.contains("ended")) machine_.GoOnUntil([] { return true; }, options_.patience);
  answer_["time"] = BoardTime();
  FlushTranscript();
  return answer_;
}

void Say(const Json &answer) {
  fputs(AsLine(answer).c_str(), stdout);
  command::EndOutput();
}

// The next line; none at the input's end. A part of a line is no step.
std::optional<std::string> NextStep(Player &player, std::string *input) {
  for (;;) {
    if (const size_t end = input->find('\n'); end != std::string::npos) {
      std::string step = input->substr(0, end);
      input->erase(0, end + 1);
      return step;
    }
    if (input->size() > kLongestStep) throw std::runtime_error("a step is longer than 1 MiB");
    player.LookOutside();
    pollfd descriptor = {STDIN_FILENO, POLLIN, 0};
    if (poll(&descriptor, 1, kLookMilliseconds) <= 0) continue;
    char data[4096];
    const ssize_t length = read(STDIN_FILENO, data, sizeof data);
    if (length < 0) throw std::runtime_error(std::string("standard input: ") + strerror(errno));
    if (length == 0 && !input->empty()) throw std::runtime_error("the last step has no line feed");
    if (length == 0) return std::nullopt;
    input->append(data, static_cast<size_t>(length));
  }
}

}  // namespace

std::span<const StepHelp> StepsHelp() {
  static const std::vector<StepHelp> help = [] {
    std::vector<StepHelp> all;
    for (const Step &step : kSteps) all.push_back(step.help);
    return all;
  }();
  return help;
}

bool PlaySteps(const Plan &plan, const StepOptions &options) {
  Player player(plan, options);
  std::string input;
  Say({{"ok", true}, {"time", BoardTime()}, {"folder", Folder()}});
  while (const std::optional<std::string> step = NextStep(player, &input)) {
    const Json answer = player.Play(*step);
    Say(answer);
    if (answer.contains("ended")) return false;
  }
  player.End();
  return true;
}

}  // namespace vboard
