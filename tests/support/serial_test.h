// Test cases on serial ports: what a program does on boards of several products.
#pragma once

#include "tests/support/identity_test.h"

namespace test {

class SerialTest : public IdentityTest {
 protected:
  // What the function prints in a process of its own on the open board, made this product.
  static std::string OnBoard(uint64_t identifier, uint32_t oem,
                             const std::function<void()> &function) {
    const auto run = [&] {
      ReadIdentity(identifier, oem);
      function();
      return 0;
    };
    return InChild(run).printed;
  }

  // The events since the last call that concern the ports and the console.
  std::vector<std::string> Wires() {
    std::vector<std::string> events = Events();
    std::erase_if(events, [](const std::string &event) {
      return !event.starts_with("uart") && !event.starts_with("console") &&
             !event.starts_with("fault");
    });
    return events;
  }
};

}  // namespace test
