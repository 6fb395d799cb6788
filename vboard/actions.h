// What a person or a scenario can do to a board: "gpio set 1 5 0".
#pragma once

#include <stdint.h>

#include <atomic>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace vboard {

// The board's programs have to go on before the action can have its effect.
struct NotYet : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct Action {
  const char *name;       // "gpio set"
  const char *arguments;  // "GROUP BIT LEVEL"
  const char *help;
  // Throws std::invalid_argument on unusable words, and NotYet before anything was done.
  void (*run)(std::span<const std::string> words);
  bool prints = false;  // its answer, on the terminal
};

// A word of an action as a number, decimal or hexadecimal with 0x. Throws std::invalid_argument.
uint32_t NumberOf(const std::string &word, uint32_t most = UINT32_MAX);

// The words of a line, without the blanks between them.
std::vector<std::string> Words(const std::string &line);

// The action that the words name, and in `rest` the words behind its name. Throws
// std::invalid_argument.
const Action &FindAction(std::span<const std::string> words, std::span<const std::string> *rest);

// Does to the open board what an action says, once it can have its effect: a few seconds are waited
// for that, or until it ends otherwise. Throws as the action does.
void Perform(const Action &action, std::span<const std::string> arguments,
             const std::atomic<bool> *ends = nullptr);
// The same by the action's words.
void Act(const std::string &line);
// False when it cannot have its effect yet. For who has the board's programs go on.
bool TryToAct(const std::string &line);

}  // namespace vboard
