// A test case on a board of its own. The process of the test is a program on that board: the
// library's calls reach the board, and nothing of the board is in the library.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <span>
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

// What this process has open besides standard input, output and error, by descriptor; files of the
// board by their paths there.
std::map<int, std::string> OpenFiles();

// Paths of the board; one that stands twice counts twice.
using Paths = std::vector<std::string>;

// What an initialised flash keeps open.
inline const Paths kFlash = {"/dev/mtd0", "/dev/mtd1", "/dev/mtd2", "/dev/mtd3",
                             "/dev/mtd4", "/dev/mtd5", "/dev/mtd6", "/dev/mtd7",
                             "/dev/mtd8", "/dev/mtd9", "/dev/mtd10"};

// Runs the function in a process of its own, with the library's state as it is here; the
// function's result is the exit status. The board stays the same. A function that returns has to
// leave open what was open before it and, besides, nothing but what the library keeps: at most
// these files of the board, none of them inherited by a program. It gives every block back.
Child InChild(const std::function<int()> &function, const Paths &kept = {});

// Two digits a byte.
std::string Hex(std::span<const uint8_t> bytes);

// How many descriptors of a file this process has.
size_t Descriptors(const std::string &path);

// Bytes that wait for the reader of a device.
int Waiting(const std::string &device);

class BoardTest : public testing::Test {
 protected:
  ~BoardTest() override;

  // Makes a board from the text of a description and attaches this process to it. Throws
  // DescriptionError.
  void UseBoard(const std::string &description);

  // What happened on the board since the last call, without times and process numbers.
  std::vector<std::string> Events();

  // The times of the events since the power came that begin with this text, in seconds.
  static std::vector<double> Times(const std::string &event);

  const std::string &Folder() const { return folder_.path(); }

  // The test's own process is looked at like a child's: it may have these files open at its end.
  void Keep(Paths kept) { kept_ = std::move(kept); }

 private:
  static void ExpectOutputInOrder();
  void StartKeeper();
  void EndKeeper();

  const std::map<int, std::string> before_ = OpenFiles();
  Paths kept_;
  pid_t keeper_ = 0;
  vboard::TemporaryFolder folder_;
  size_t seen_ = 0;
};

// Gives the board this identity, for whoever reads its boot parameters next.
void WriteIdentity(uint64_t identifier, uint32_t oem);

// The description of a board with this identifier and OEM code and a flash of 64 KiB sectors:
// "boot" (4 sectors, with the variables xuart=0 and xapp=1 in its last one), "config" (4 sectors,
// jffs2) and "data" (2 sectors, erased). More keys may follow; a section that they open has to
// be another one.
std::string SmallBoard(uint64_t identifier, uint32_t oem, const std::string &more = "");

}  // namespace test
