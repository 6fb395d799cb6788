#include "vboard/actions.h"

#include <algorithm>
#include <charconv>
#include <sstream>
#include <stdexcept>

#include "vboard/board_time.h"
#include "vboard/device.h"
#include "vboard/real.h"

namespace vboard {
namespace {

constexpr int64_t kPatience = 10 * kSecond;
constexpr timespec kPause = {0, 2'000'000};

}  // namespace

std::vector<std::string> Words(const std::string &line) {
  std::istringstream stream(line);
  std::vector<std::string> words;
  for (std::string word; stream >> word;) words.push_back(word);
  return words;
}

const Action &FindAction(std::span<const std::string> words, std::span<const std::string> *rest) {
  for (const Device *device : Devices()) {
    for (const Action &action : device->actions) {
      const std::vector<std::string> name = Words(action.name);
      if (words.size() < name.size() || !std::equal(name.begin(), name.end(), words.begin())) {
        continue;
      }
      *rest = words.subspan(name.size());
      if (rest->size() == Words(action.arguments).size()) return action;
      throw std::invalid_argument("usage: " + std::string(action.name) + " " + action.arguments);
    }
  }
  throw std::invalid_argument("no device of the board can do this");
}

void Perform(const Action &action, std::span<const std::string> arguments,
             const std::atomic<bool> *ends) {
  for (const int64_t end = real::Now() + kPatience;; real::sleep(kPause)) {
    try {
      action.run(arguments);
      return Poke();
    } catch (const NotYet &) {
      if (real::Now() >= end || (ends != nullptr && *ends)) throw;
    }
  }
}

void Act(const std::string &line) {
  const std::vector<std::string> words = Words(line);
  std::span<const std::string> rest;
  const Action &action = FindAction(words, &rest);
  Perform(action, rest);
}

bool TryToAct(const std::string &line) {
  const std::vector<std::string> words = Words(line);
  std::span<const std::string> rest;
  const Action &action = FindAction(words, &rest);
  try {
    action.run(rest);
    return true;
  } catch (const NotYet &) {
    return false;
  }
}

uint32_t NumberOf(const std::string &word, uint32_t most) {
  const bool hex = word.starts_with("0x");
  const char *first = word.data() + (hex ? 2 : 0), *end = word.data() + word.size();
  uint32_t number = 0;
  const auto [rest, error] = std::from_chars(first, end, number, hex ? 16 : 10);
  if (error == std::errc() && rest == end && number <= most) return number;
  throw std::invalid_argument("'" + word + "' is no number from 0 to " + std::to_string(most));
}

}  // namespace vboard
