// Test cases on the board's identity: boot parameters at will.
#pragma once

#include "libsys/version.h"
#include "tests/support/board_test.h"
#include "tests/support/identifiers.h"
#include "tests/support/table.h"

namespace test {

class IdentityTest : public BoardTest {
 protected:
  IdentityTest() { Keep({"/dev/hi_gpio"}); }

  void SetUp() override { UseBoard("summary = \"a board of any identity\"\n"); }

  static void ReadIdentity(uint64_t identifier, uint32_t oem) {
    WriteIdentity(identifier, oem);
    DvrReadBootParameters();
  }
  // What the function prints in a process of its own that has read these boot parameters.
  static std::string OnBoard(uint64_t identifier, uint32_t oem,
                             const std::function<void()> &function,
                             const Paths &kept = {"/dev/hi_gpio"}) {
    const auto run = [&] {
      ReadIdentity(identifier, oem);
      function();
      return 0;
    };
    return InChild(run, kept).printed;
  }
};

}  // namespace test
