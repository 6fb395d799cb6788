// A test case on a board of its own. The process of the test is a program on that board: the
// library's calls reach the board, and nothing of the board is in the library.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "vboard/actions.h"
#include "vboard/board.h"
#include "vboard/description.h"
#include "vboard/faults.h"
#include "vboard/files.h"
#include "vboard/make.h"
#include "vboard/mounts.h"

namespace test {

// Runs the function and returns what it printed on standard output.
std::string Printed(const std::function<void()> &function);

// What a child process did: what it printed, and how it ended.
struct Child {
  std::string printed;
  int exitStatus = -1;  // -1: killed by a signal
  int signal = 0;
};

// Runs the function in a process of its own, with the library's state as it is here; the
// function's result is the exit status. The board stays the same.
Child InChild(const std::function<int()> &function);

class BoardTest : public testing::Test {
 protected:
  ~BoardTest() override;

  // Makes a board from the text of a description and attaches this process to it. Throws
  // DescriptionError.
  void UseBoard(const std::string &description);

  // What happened on the board since the last call, without times and process numbers.
  std::vector<std::string> Events();

  const std::string &Folder() const { return folder_.path(); }

 private:
  vboard::TemporaryFolder folder_;
  size_t seen_ = 0;
};

// The description of a board with this identifier and OEM code and a flash of 64 KiB sectors:
// "boot" (4 sectors, with the variables xuart=0 and xapp=1 in its last one), "config" (4 sectors,
// jffs2) and "data" (2 sectors, erased). More keys may follow; a section that they open has to
// be another one.
std::string SmallBoard(uint64_t identifier, uint32_t oem, const std::string &more = "");

}  // namespace test
