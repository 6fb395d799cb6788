// Test cases on serial ports: what a program does on boards of several products.
#pragma once

#include "tests/support/identity_test.h"

namespace test {

class SerialTest : public IdentityTest {
 protected:
  SerialTest() { Keep(kKept); }

  // Ports may stay open, the lines' driver, and the flash with the boot variables.
  static inline const Paths kKept = {"/dev/hi_gpio", "/dev/ttyAMA0", "/dev/ttyAMA1",
                                     "/dev/ttyAMA2", "/dev/ttyAMA3", "/dev/consoledev",
                                     "/dev/mtd0",    "/dev/mtd1",    "/dev/mtd2"};
  static std::string OnBoard(uint64_t identifier, uint32_t oem,
                             const std::function<void()> &function) {
    return IdentityTest::OnBoard(identifier, oem, function, kKept);
  }

  // The events since the last call that concern the ports and the console.
  std::vector<std::string> Wires() {
    std::vector<std::string> events = Events();
    std::erase_if(events, [](const std::string &event) {
      return !event.starts_with("uart") && !event.starts_with("console") &&
             !event.starts_with("terminal") && !event.starts_with("fault");
    });
    return events;
  }
};

}  // namespace test
