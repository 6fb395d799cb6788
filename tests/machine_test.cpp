// A board under power: the programs that it starts, and the command that starts it. No product code
// takes part.
#include <elf.h>
#include <errno.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <set>

#include "tests/support/board_test.h"
#include "tests/support/real_kernel.h"
#include "vboard/machine.h"

namespace {

class MachineTest : public test::BoardTest {};

// A board that runs a program of the PC's.
vboard::Plan StartingPlan(const std::string &program, std::vector<std::string> arguments) {
  vboard::Plan plan;
  plan.start = std::move(arguments);
  plan.start.insert(plan.start.begin(), "/sbin/program");
  std::filesystem::create_directories(vboard::RootPath("/sbin"));
  std::filesystem::create_symlink(program, vboard::RootPath("/sbin/program"));
  return plan;
}

TEST_F(MachineTest, AMachineRunsUnmodifiedProgramsAndTheirChildren) {
  UseBoard(test::SmallBoard(4, 0));
  const vboard::Plan plan =
      StartingPlan("/bin/sh", {"-c",
                               "read line < /proc/mtd; echo $line; printf half; sleep 0; "
                               "printf '\\0360.0 [1] sync\\n\\037\\036'; "
                               "echo x > /dev/mtd9; (exit 3); exit 4"});
  vboard::Open(vboard::Folder());  // the test itself is no program on the board
  vboard::Machine machine(plan);
  machine.Start();
  EXPECT_TRUE(machine.WaitFor("exit: status 4", 30));
  machine.Run(30);
  EXPECT_EQ(4, machine.ExitStatus());
  std::string console;
  for (const vboard::Line &line : machine.Lines()) {
    if (!line.event) console += line.text + "|";
  }
  EXPECT_EQ("dev: size erasesize name|half|\0360.0 [1] sync|\037\036|", console);
  EXPECT_FALSE(machine.WaitFor("nothing more comes", 30));
}

// Each is started by name, through the search path, with an environment that has been emptied.
TEST_F(MachineTest, ProgramsStayOnTheBoardWhateverTheirEnvironment) {
  UseBoard(test::SmallBoard(4, 0));
  const vboard::Plan plan = StartingPlan(
      "/usr/bin/env", {"-i", "PATH=/bin", "sh", "-c", "read line < /proc/mtd; echo $line"});
  const char *const arguments[] = {"program", "true", nullptr};
  pid_t id = -1;
  EXPECT_EQ(0, setenv("PATH", "/nowhere:/sbin:/bin", 1));
  EXPECT_EQ(0, posix_spawnp(&id, "program", nullptr, nullptr, const_cast<char *const *>(arguments),
                            environ));
  EXPECT_EQ(id, waitpid(id, nullptr, 0));
  EXPECT_THAT(Events(), testing::ElementsAre("start: /sbin/program: program true"));
  vboard::Open(vboard::Folder());
  vboard::Machine machine(plan);
  machine.Start();
  EXPECT_TRUE(machine.WaitFor("erasesize name", 30));
  machine.Run(30);
}

TEST_F(MachineTest, WaitingForABoardThatIsOffEndsInTimeAndCostsNothing) {
  UseBoard(test::SmallBoard(4, 0));
  const vboard::Plan plan = StartingPlan("/bin/sh", {"-c", "sleep 1000"});
  vboard::Open(vboard::Folder());
  vboard::Machine machine(plan);
  machine.Start();
  EXPECT_TRUE(machine.Act("power off", 30));
  EXPECT_FALSE(machine.Run(100));
  const clock_t processor = clock();
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(machine.WaitFor("nothing more comes", 0.5));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
  EXPECT_LT(clock() - processor, CLOCKS_PER_SEC / 5);
}

TEST_F(MachineTest, WhatStartsAnewStartsAtTheBeginning) {
  UseBoard(test::SmallBoard(4, 0));
  const vboard::Plan plan =
      StartingPlan("/bin/sh", {"-c", "/sbin/program -c 'sleep 1000'; sleep 1000"});
  vboard::Open(vboard::Folder());
  vboard::Machine machine(plan);
  machine.Start();
  machine.Run(10);
  vboard::Act("power cycle");
  machine.Run(100);
  std::vector<double> starts;
  for (const vboard::Line &line : machine.Lines()) {
    if (line.text.starts_with("start: /sbin/program")) starts.push_back(line.time);
  }
  EXPECT_THAT(starts, testing::ElementsAre(0, 0));
}

TEST_F(MachineTest, ProgramsFindTheirBoardFromWhereverTheyGo) {
  vboard::WriteFile(Folder() + "/board.toml", test::SmallBoard(4, 0));
  ASSERT_EQ(0, chdir(Folder().c_str()));
  vboard::MakeBoard("board.toml", "board", PROGRAMS_FOLDER);
  vboard::Machine machine(
      StartingPlan("/bin/sh", {"-c", "cd /; exec sh -c 'read line < /proc/mtd; echo $line'"}));
  machine.Start();
  EXPECT_TRUE(machine.WaitFor("erasesize name", 30));
  for (const char *name : {"a blank/board", "a:colon"}) {
    EXPECT_THROW(vboard::MakeBoard("board.toml", name, PROGRAMS_FOLDER), std::runtime_error);
    EXPECT_FALSE(std::filesystem::exists(Folder() + "/" + name));
  }
}

TEST_F(MachineTest, ProgramsThatWouldRunOnThePcAreNotOnTheBoard) {
  UseBoard(test::SmallBoard(4, 0));
  const std::string true_ = vboard::ReadFile("/bin/true");
  std::string foreign = true_;
  foreign[EI_CLASS] = foreign[EI_CLASS] == ELFCLASS32 ? ELFCLASS64 : ELFCLASS32;
  // The loader is a program, too, and no other loads it.
  const std::string loader = true_.c_str() + true_.find("/lib");
  struct {
    std::string content;
    unsigned mode;
    const char *refusal;
    int error;
  } const rows[] = {
      {true_, 0755, "", 0},
      {"#!/opt/app/true\n", 0644, "", EACCES},
      {"#!/opt/app/true -x\n", 0755, "", 0},
      {vboard::ReadFile(loader), 0755, "is statically linked", ENOENT},
      {"#! " + loader + " --help\n", 0755, "is statically linked", ENOENT},
      {foreign, 0755, "is for another kind of processor than the board's library", ENOENT},
      {true_, 04755, "runs with other rights than its caller's", ENOENT},
      {"#!/opt/app/program\n", 0755, "has too many interpreters", ENOENT},
  };
  const std::string place = vboard::RootPath("/opt/app/program");
  vboard::WriteFile(vboard::RootPath("/opt/app/true"), true_);
  ASSERT_EQ(0, chmod("/opt/app/true", 0755));
  for (const auto &row : rows) {
    SCOPED_TRACE(row.content.substr(0, 20));
    vboard::WriteFile(place, row.content);
    // An administrator's program is of another user here.
    if ((row.mode & 04000) != 0 && chown(place.c_str(), 1, 1) != 0) continue;
    ASSERT_EQ(0, chmod(place.c_str(), row.mode));
    Events();
    const auto run = [] {
      execl("/opt/app/program", "program", nullptr);
      return errno;
    };
    EXPECT_EQ(row.error, test::InChild(run).exitStatus);
    const std::string event =
        "start: /opt/app/program: it is not on the board: it " + std::string(row.refusal);
    EXPECT_EQ(row.error == ENOENT, testing::Value(Events(), testing::Contains(event)));
    vboard::Plan plan;
    plan.start = {"/opt/app/program"};
    vboard::Machine machine(plan);
    if (row.error == 0) {
      EXPECT_NO_THROW(machine.Start());
    } else {
      EXPECT_THROW(machine.Start(), std::runtime_error);
    }
  }
}

TEST_F(MachineTest, WithoutTheBoardsLibraryNothingStarts) {
  UseBoard(test::SmallBoard(4, 0));
  const vboard::Plan plan =
      StartingPlan("/bin/sh", {"-c", "rm \"$VBOARD_FOLDER/libvboard.so\"; exec cat /proc/mtd"});
  vboard::Open(vboard::Folder());
  vboard::Machine machine(plan);
  machine.Start();
  EXPECT_TRUE(machine.WaitFor("cat: it is not on the board: it cannot have", 30));
}

TEST_F(MachineTest, OnlyItsMachineSwitchesABoardOn) {
  UseBoard(test::SmallBoard(4, 0));
  vboard::Open(vboard::Folder());
  const vboard::Machine machine({});
  vboard::State().power = vboard::Power::kRestart;
  EXPECT_THAT(
      test::Shell(PROGRAMS_FOLDER "/vboard --folder " + vboard::Folder() + " exec /bin/true"),
      testing::HasSubstr("being switched"));
  EXPECT_EQ(vboard::Power::kRestart, vboard::State().power);
}

TEST_F(MachineTest, EveryProcessHasANumberOfItsOwn) {
  UseBoard(test::SmallBoard(4, 0));
  const vboard::Plan plan = StartingPlan(
      "/bin/sh", {"-c", "i=0; while [ $i -lt 100 ]; do (exit 7); i=$((i + 1)); done; exit 8"});
  vboard::Open(vboard::Folder());
  vboard::Machine machine(plan);
  machine.Start();
  ASSERT_TRUE(machine.WaitFor("exit: status 8", 60));
  std::set<int> numbers;
  for (const vboard::Line &line : machine.Lines()) {
    if (line.event && line.process > 0) numbers.insert(line.process);
  }
  EXPECT_EQ(101U, numbers.size());
}

// A number that a program on the board had is another program's by now.
TEST_F(MachineTest, SwitchingOffKillsNobodyElse) {
  UseBoard(test::SmallBoard(4, 0));
  int ends[2];
  ASSERT_EQ(0, pipe(ends));
  // The child of a child that has ended: no descendant of this process any more.
  prctl(PR_SET_CHILD_SUBREAPER, 0);
  test::InChild([&ends] {
    close(ends[0]);
    if (fork() == 0) {
      close(STDOUT_FILENO);
      const pid_t id = getpid();
      while (write(ends[1], &id, sizeof id) > 0) pause();
    }
    return 0;
  });
  close(ends[1]);
  pid_t stranger = 0;
  ASSERT_EQ(static_cast<ssize_t>(sizeof stranger), read(ends[0], &stranger, sizeof stranger));
  const vboard::Plan plan = StartingPlan("/bin/true", {});
  {
    vboard::Machine machine(plan);
    machine.Start();
    vboard::State().processes[9].process.number = stranger;
    vboard::State().processGroup = stranger;
    machine.Stop();
  }
  EXPECT_EQ(0, kill(stranger, 0));
  char byte = 0;
  pollfd end = {ends[0], POLLIN, 0};
  EXPECT_EQ(0, poll(&end, 1, 0)) << "the stranger has ended";
  EXPECT_EQ(0, kill(stranger, SIGKILL));
  EXPECT_EQ(0, read(ends[0], &byte, 1));
  close(ends[0]);
}

TEST_F(MachineTest, ATranscriptKeepsTheLastPartOfVeryMuch) {
  UseBoard(test::SmallBoard(4, 0));
  vboard::Open(vboard::Folder());
  vboard::Transcript transcript({});
  // Without a line feed, and nothing else.
  for (const auto &[piece, length] : {std::pair('x', 20'000'000), {'\n', 500'000}}) {
    transcript.TakeConsole(std::string(static_cast<size_t>(length), piece));
    size_t size = 0;
    for (const vboard::Line &line : transcript.Lines()) size += sizeof line + line.text.size();
    EXPECT_LE(size, 17U << 20);
  }
  // A full terminal took a part of a mark first.
  const std::string start = vboard::kMarkStart + std::string(vboard::State().mark);
  const size_t whole = transcript.Lines().size();
  transcript.TakeConsole(start + "123" + start + "0000000000000000");
  EXPECT_EQ(whole, transcript.Lines().size());
  transcript.TakeConsole("the end\n");
  EXPECT_TRUE(transcript.Find("the end"));
  EXPECT_EQ("the end", transcript.Lines().at(transcript.Found() - 1).text);
}

// The command, on folders where there is no board.
TEST_F(MachineTest, TheCommandRefusesWhatItCannotDo) {
  vboard::WriteFile(Folder() + "/board.toml", "summary = \"s\"\n");
  vboard::WriteFile(Folder() + "/foreign/file", "");
  vboard::WriteFile(Folder() + "/empty/state", "");
  const auto run = [this](std::string arguments) {
    for (size_t at; (at = arguments.find('@')) != std::string::npos;) {
      arguments.replace(at, 1, Folder());
    }
    return test::Shell("{ " PROGRAMS_FOLDER "/vboard " + arguments + "; echo $?; }");
  };
  struct {
    const char *arguments;
    const char *answer;
  } const rows[] = {
      {"--folder '@/a b' make @/board.toml", "no blank"},
      {"--folder '@/a b' run @/board.toml", "no blank"},
      {"--folder @/foreign make @/board.toml", "holds something"},
      {"--folder @/empty state", "made by another version"},
      {"--folder @/new run @/board.toml --speed 0", "--speed"},
      {"--folder @/new run @/board.toml --speed fast", "--speed"},
      {"--folder @/new run @/board.toml --speed 100001", "--speed"},
      {"--folder @/new run @/board.toml --patience 0", "--patience"},
      {"--folder @/new run @/board.toml --patience nan", "--patience"},
  };
  for (const auto &[arguments, answer] : rows) {
    const std::string output = run(arguments);
    EXPECT_NE(std::string::npos, output.find(answer)) << output;
    EXPECT_THAT(output, testing::AnyOf(testing::EndsWith("\n1\n"), testing::EndsWith("\n2\n")));
  }
  EXPECT_FALSE(std::filesystem::exists(Folder() + "/a b"));
  // A description that is only checked starts no program, wherever its board is.
  std::filesystem::create_directory(Folder() + "/a blank");
  setenv("TMPDIR", (Folder() + "/a blank").c_str(), 1);
  EXPECT_EQ("0\n", run("check @/board.toml"));
  EXPECT_FALSE(std::filesystem::exists(Folder() + "/foreign/lock"));
  if (!test::EnterNamespaces()) GTEST_SKIP() << "no full disk for the rest";
  std::filesystem::create_directory(Folder() + "/full");
  ASSERT_EQ(0, mount("none", (Folder() + "/full").c_str(), "tmpfs", 0, "size=8k"));
  EXPECT_THAT(run("--folder @/full make @/board.toml"), testing::HasSubstr("No space left"));
  EXPECT_EQ(0, umount((Folder() + "/full").c_str()));
}

}  // namespace
