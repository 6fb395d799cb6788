// Test cases on the board's identity: identifiers by their fields, boot parameters at will.
#pragma once

#include <inttypes.h>
#include <stdio.h>

#include <sstream>

#include "libsys/version.h"
#include "tests/support/board_test.h"

namespace test {

inline std::vector<std::string> Words(const std::string &text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}

// Identifier of the first generation. The fields, of which the last may be left out: code,
// channels, audio, alarm inputs, DSPs, count, bit 40, video chip, alarm outputs.
inline uint64_t First(const std::string &fields) {
  const int places[] = {60, 0, 5, 10, 50, 54, 40, 23, 15};
  uint64_t identifier = 0;
  for (const int *place = places; const std::string &field : Words(fields)) {
    identifier |= std::stoull(field) << *place++;
  }
  return identifier;
}

// Identifier of the second generation.
inline uint64_t Second(uint64_t product, uint64_t channels, uint64_t subType = 0,
                       uint64_t bit40 = 0, uint64_t generation = 1) {
  const uint64_t code = channels < 16 ? channels : channels / 8 + 7;
  return generation << 62 | product << 56 | code << 51 | subType << 48 | bit40 << 40;
}

class IdentityTest : public BoardTest {
 protected:
  void SetUp() override { UseBoard("summary = \"a board of any identity\"\n"); }

  static void ReadIdentity(uint64_t identifier, uint32_t oem) {
    char text[64];
    snprintf(text, sizeof text, "product=%016" PRIX64 "\noem %" PRIx32 "\n", identifier, oem);
    vboard::WriteFile(vboard::RootPath("/proc/vss/bootpara"), text);
    DvrReadBootParameters();
  }
  // What the function prints in a process of its own that has read these boot parameters.
  static std::string OnBoard(uint64_t identifier, uint32_t oem, void (*function)()) {
    const auto run = [&] {
      ReadIdentity(identifier, oem);
      function();
      return 0;
    };
    return InChild(run).printed;
  }
  // The same for rows "fields: oem=printed ...", ended by ';': a first-generation identifier and
  // OEM codes in hexadecimal.
  static void ExpectOnBoards(const std::string &rows, void (*function)()) {
    std::istringstream stream(rows);
    for (std::string fields, words; getline(getline(stream, fields, ':'), words, ';');) {
      for (const std::string &word : Words(words)) {
        const auto oem = static_cast<uint32_t>(std::stoul(word, nullptr, 16));
        EXPECT_EQ(word.substr(word.find('=') + 1), OnBoard(First(fields), oem, function))
            << fields << " OEM " << word;
      }
    }
  }
};

}  // namespace test
