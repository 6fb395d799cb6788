// Test cases on boards with a front panel: one of boards/panel-*.toml, started up.
#pragma once

#include <pthread.h>
#include <stdio.h>
#include <string.h>

#include <array>
#include <span>
#include <sstream>

#include "libsys/frontboard.h"
#include "libsys/version.h"
#include "tests/support/board_test.h"

namespace test {

using Event = std::array<uint8_t, 4>;

// Waits for the next key event.
inline std::string ReadKey(Event event = {}) {
  return FrontboardRead(event.data(), 4) == 4 ? Hex(event) : "failed";
}

// A thread on one of the library's bodies.
class Thread {
 public:
  explicit Thread(void *(*body)(void *)) { pthread_create(&id_, nullptr, body, nullptr); }
  Thread(const Thread &) = delete;
  Thread &operator=(const Thread &) = delete;
  // Waits for its end; returns its exit value.
  std::string Join() {
    void *text = nullptr;
    pthread_join(id_, &text);
    return static_cast<const char *>(text);
  }
  pthread_t Id() const { return id_; }

 private:
  pthread_t id_ = {};
};

// What a child process found out, and what it printed on the way.
struct Finding {
  std::string result, printed;
};

class PanelTest : public BoardTest {
 protected:
  PanelTest() { Keep(kKept); }

  static inline const Paths kKept = {"/dev/hi_gpio", "/dev/gpioi2c", "/dev/ttyAMA1", "/dev/ttyAMA2",
                                     "/dev/consoledev"};

  // Runs the function in a process of its own on the open board, after the start-up that a
  // recorder application makes.
  static Finding Find(const std::function<std::string()> &function) {
    return FindAfter(DvrSystemInformationStart, function);
  }

  // The same on a board of another identity, with nothing but the identity read.
  static Finding FindOn(uint64_t identifier, uint32_t oem,
                        const std::function<std::string()> &function) {
    WriteIdentity(identifier, oem);
    return FindAfter(DvrReadBootParameters, function);
  }

  template <typename Start>
  static Finding FindAfter(Start start, const std::function<std::string()> &function) {
    constexpr const char *kMark = "<<<>>>";
    const auto run = [&] {
      start();
      fputs(kMark, stdout);
      const std::string result = function();
      printf("%s%s", kMark, result.c_str());
      return 0;
    };
    const Child child = InChild(run, kKept);
    const size_t first = child.printed.find(kMark);
    const size_t second = child.printed.rfind(kMark);
    if (child.exitStatus != 0 || first == second) return {"no result", child.printed};
    const size_t length = strlen(kMark);
    return {child.printed.substr(second + length),
            child.printed.substr(first + length, second - first - length)};
  }

  // The board boards/panel-NAME.toml. Time is fast, so that no wait is long, and there is no clock
  // chip, whose minutes would print among the panel's messages.
  void UsePanel(const std::string &name, const std::string &more = "") {
    UseBoard("base = \"" SOURCE_FOLDER "/boards/panel-" + name + ".toml\"\n" + more +
             "\n[clock]\nfitted = false\n");
  }

  // The lines of a file of expectations, without its comments.
  static std::vector<std::string> Lines(const std::string &file) {
    std::istringstream stream(vboard::ReadFile(SOURCE_FOLDER "/tests/data/" + file));
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
      if (!line.starts_with('#')) lines.push_back(line);
    }
    return lines;
  }

  // The same by headings: the words of the indented lines below each.
  static std::vector<std::pair<std::string, std::vector<std::string>>> Tables(
      const std::string &file) {
    std::vector<std::pair<std::string, std::vector<std::string>>> tables;
    for (const std::string &line : Lines(file)) {
      if (!line.starts_with(' ')) {
        tables.push_back({line, {}});
        continue;
      }
      std::istringstream words(line);
      for (std::string word; words >> word;) tables.back().second.push_back(word);
    }
    return tables;
  }
};

}  // namespace test
