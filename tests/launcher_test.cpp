// The launcher as a whole: the real program on a board, its console and what it does to the
// board compared line by line. Lines that begin with '*' are events.
#include <algorithm>
#include <sstream>

#include "tests/support/board_test.h"
#include "vboard/machine.h"

namespace {

constexpr double kPatience = 60;  // real seconds; every wait ends as soon as its line comes

std::string Text(const std::vector<vboard::Line> &lines, size_t count) {
  std::string text;
  for (size_t i = 0; i < count; ++i) text += (lines[i].event ? "* " : "") + lines[i].text + "\n";
  return text;
}

struct Transcript {
  std::string text;
  int exitStatus;
};

class LauncherTest : public test::BoardTest {
 protected:
  // Plays a board's scenario, and returns everything up to the line that ended it.
  Transcript Play(vboard::Plan plan) {
    vboard::SetSpeed(1000);
    vboard::Machine machine(plan);
    machine.Start();
    machine.Play(kPatience);
    const size_t played = machine.Waited();
    if (plan.scenario.back().find("exit:") != std::string::npos) machine.Run(kPatience);
    return {Text(machine.Lines(), played), machine.ExitStatus()};
  }

  Transcript PlayFile(const std::string &name) {
    return Play(vboard::MakeBoard(SOURCE_FOLDER "/boards/" + name + ".toml", Folder() + "/board",
                                  PROGRAMS_FOLDER));
  }

  // Plays a board made for one test: a small one with keys in front of its description and
  // sections behind it.
  Transcript PlaySmall(const std::string &keys, const std::string &description) {
    const std::string file = Folder() + "/board.toml";
    vboard::WriteFile(file, keys + description);
    return Play(vboard::MakeBoard(file, Folder() + "/board", PROGRAMS_FOLDER));
  }
};

std::string Replaced(std::string text, const std::string &from, const std::string &to) {
  const size_t at = text.find(from);
  EXPECT_NE(std::string::npos, at) << from;
  return text.replace(at, from.size(), to);
}

const std::string kHead =
    "* power: on, boot 1\n"
    "* missing: /opt/custom/patch\n"
    "Utils : sentrel\n";
const std::string kSmallFlash =
    "LIBDVR : Flash sector size : 0x10000\n"
    "envoffset = 30000\n"
    "envoffset = 30000\n";
const std::string kMounted =
    "* unmount: /opt/sav: Invalid argument\n"
    "* mount: /dev/mtdblock3 on /opt/sav, jffs2, flags 0xc0ed0000, sync\n";
const std::string kDirectStart =
    "Utils : Auto to start program\n"
    "* start: /opt/app/Quillon: /opt/app/Quillon\n"
    "recorder: started as /opt/app/Quillon with 0 arguments\n";
const std::string kNoLog =
    "* missing: /opt/sav/Log/Log\n"
    "Libsys --:open  /opt/sav/Log/Log failed !!\n";

TEST_F(LauncherTest, DirectStart) {
  EXPECT_EQ(kHead + kSmallFlash + "xapp = 1, xuart  = 0\n" + kMounted + kDirectStart,
            PlayFile("direct").text);
}

TEST_F(LauncherTest, SecondGeneration) {
  EXPECT_EQ(kHead +
                "LIBDVR : Flash sector size : 0x20000\n"
                "LIBDVR : Find device chip\n"
                "LIBDVR : Find device chip\n"
                "xapp = 1, xuart  = 0\n" +
                Replaced(kMounted, "mtdblock3", "mtdblock4") + kDirectStart,
            PlayFile("second-generation").text);
}

TEST_F(LauncherTest, NothingToStart) {
  const Transcript transcript = PlayFile("nothing");
  EXPECT_EQ(kHead + kSmallFlash + "xapp = , xuart  = 0\n" + kMounted + "* exit: status 0\n",
            transcript.text);
  EXPECT_EQ(0, transcript.exitStatus);
}

TEST_F(LauncherTest, Idle) {
  EXPECT_EQ(kHead + kSmallFlash + "xapp = 0, xuart  = 1\n" + kMounted +
                "* sleep: 100 s\n* sleep: 100 s\n",
            PlayFile("idle").text);
}

TEST_F(LauncherTest, ConfigPartitionIsErasedAndMountsAfterTheReboot) {
  std::string erases;
  for (unsigned offset = 0; offset < 0x100000; offset += 0x10000) {
    std::ostringstream line;
    line << "* flash: erase mtd3 0x" << std::hex << offset << " +0x10000\n";
    erases += line.str();
  }
  const std::string begin = kHead + kSmallFlash + "xapp = 1, xuart  = 0\n";
  EXPECT_EQ(begin + Replaced(kMounted, ", sync", ", sync: Input/output error") +
                "ConfigMtd_p->StartAddress = 80640000\n" + erases + "* command: reboot\n" + kNoLog +
                kDirectStart + Replaced(begin, "boot 1", "boot 2") + kMounted + kNoLog +
                kDirectStart,
            PlayFile("repair").text);
}

// Removes the lines of one process from the front of a transcript of two, as far as they come
// in this order; what is left belongs to the other.
std::string Without(const std::string &transcript, const std::string &lines) {
  std::istringstream all(transcript);
  std::istringstream expected(lines);
  std::string next;
  std::string left;
  bool more = !!std::getline(expected, next);
  for (std::string line; std::getline(all, line);) {
    if (more && line == next) {
      more = !!std::getline(expected, next);
    } else {
      left += line + "\n";
    }
  }
  EXPECT_FALSE(more) << "missing: " << next;
  return left;
}

TEST_F(LauncherTest, SupervisionUntilTheHandBack) {
  const std::string transcript = PlayFile("supervised").text;
  const std::string left =
      Without(transcript, kHead + kSmallFlash + "xapp = 1, xuart  = 0\n" + kMounted +
                              "Utils : Auto to start program\n"
                              "ch=---->\n"
                              "* start: /var/Vantor: /var/Vantor\n"
                              "recorder: started as /var/Vantor with 0 arguments\n"
                              "* sleep: 7 s\n"
                              "recorder: hands control back\n");
  // The other process polls every 3 seconds.
  std::string polls = Without(left, "begin to read Frontboard\n");
  EXPECT_EQ(0U, polls.find("quillon is running\n* sleep: 3 s\nquillon is running\n")) << polls;
  const std::string poll = "quillon is running\n* sleep: 3 s\n";
  while (polls.starts_with(poll)) polls.erase(0, poll.size());
  EXPECT_TRUE(polls.empty() || polls == "* exit: status 0\n") << polls;
}

std::string Start(const std::string &command, const std::string &scenario) {
  return "start = [" + command + "]\nscenario = [" + scenario + "]\n";
}
const std::string kStart = "\"/sbin/sentrel\", \"/opt/app/Quillon\"";
const std::string kPrograms =
    "[programs]\n\"/sbin/sentrel\" = \"sentrel\"\n\"/opt/app/Quillon\" = \"standalone\"\n";
// A board that starts its application directly; one that supervises it.
const std::string kDirectBoard = test::SmallBoard(4, 0, kPrograms);
const std::string kSupervisedBoard = test::SmallBoard(4, 9, kPrograms);

// What goes wrong or is unusual on the way, on a board that differs in one thing; the
// transcript from the first line that differs on.
struct Detour {
  const char *name;
  std::string keys;
  std::string board;
  std::string end;  // of the transcript
  int exitStatus;   // -1: does not end
};

const std::string kExit = "\"wait exit: status\"";
const std::string kStarted = "\"wait recorder: started\"";
const std::string kStarting = "Utils : Auto to start program\n" + kDirectStart.substr(30);

class LauncherDetourTest : public LauncherTest, public testing::WithParamInterface<Detour> {};

TEST_P(LauncherDetourTest, Transcript) {
  const Detour &detour = GetParam();
  const Transcript transcript = PlaySmall(detour.keys, detour.board);
  const size_t length = std::min(detour.end.size(), transcript.text.size());
  EXPECT_EQ(detour.end, transcript.text.substr(transcript.text.size() - length)) << transcript.text;
  EXPECT_EQ(detour.exitStatus, transcript.exitStatus);
}

INSTANTIATE_TEST_SUITE_P(
    Launcher, LauncherDetourTest,
    testing::Values(
        Detour{"NoArgument", Start("\"/sbin/sentrel\"", kExit), kDirectBoard,
               kHead + "Utils : Usage:\nexample : sentrel\t\tQuillon\n* exit: status 0\n", 0},
        Detour{"NoPartitionList",
               Start(kStart, kExit) + "prepare = [\"fault always fopen /proc/mtd 1 EACCES\"]\n",
               kDirectBoard,
               "* fault: fopen /proc/mtd: Permission denied\n"
               "LIBDVR : Read /proc/mtd failed\n"
               "LIBDVR : FILE -> Flash/flash, LINE -> 191: FlashInit falied \n"
               "* exit: status 255\n",
               255},
        Detour{"NoConfigPartition", Start(kStart, kExit),
               Replaced(kDirectBoard, "\"config\"", "\"configs\""),
               kSmallFlash +
                   "xapp = 1, xuart  = 0\nLIBDVR : Cant't find Config mtd\n* exit: status 255\n",
               255},
        Detour{"FullValuesAreNotTerminated", Start(kStart, "\"wait sleep: 100 s\""),
               Replaced(kDirectBoard, "xuart = \"0\", xapp = \"1\"",
                        "xuart = \"abcdefghij\", xapp = \"12345678\""),
               "xapp = 12345678, xuart  = abcdefgh\n"
               "* unmount: /opt/sav: Invalid argument\n"
               "* mount: /dev/mtdblock1 on /opt/sav, jffs2, flags 0xc0ed0000, sync\n" +
                   kNoLog + "* sleep: 100 s\n",
               -1},
        Detour{"NoVariableButXuart1", Start(kStart, "\"wait sleep: 100 s\""),
               Replaced(kDirectBoard, "xuart = \"0\", xapp = \"1\"", "xuart = \"1\""),
               kNoLog + "* sleep: 100 s\n", -1},
        Detour{"LogIsRead", Start(kStart, kStarted),
               Replaced(kDirectBoard, "files.\"Config/\" = \"\"", "files.\"Log/Log\" = \"ended\""),
               "flags 0xc0ed0000, sync\n" + kDirectStart, -1},
        Detour{"LogIsEmpty", Start(kStart, kStarted),
               Replaced(kDirectBoard, "files.\"Config/\" = \"\"", "files.\"Log/Log\" = \"\""),
               "flags 0xc0ed0000, sync\nread failed !!!\n" + kDirectStart, -1},
        Detour{"LogIsAFolder", Start(kStart, kStarted),
               Replaced(kDirectBoard, "files.\"Config/\"", "files.\"Log/Log/\""),
               "flags 0xc0ed0000, sync\nread failed !!!\nnot read over!!\n" + kDirectStart, -1},
        Detour{"NoServiceStick", Start(kStart, kStarted),
               Replaced(kDirectBoard, "xuart = \"0\"", "xuart = \"1\""), kNoLog + kDirectStart, -1},
        Detour{"ApplicationIsMissing", Start(kStart, "\"wait sleep: 100 s\""),
               Replaced(kDirectBoard, "\"/opt/app/Quillon\" = \"standalone\"", ""),
               "* start: /opt/app/Quillon: /opt/app/Quillon\n"
               "* start: /opt/app/Quillon: No such file or directory\n"
               "* sleep: 100 s\n",
               -1},
        Detour{"MountFaultErasesAsWell",
               Start(kStart, "\"wait command: reboot\"") +
                   "prepare = [\"fault once mount /dev/mtdblock1 1 ENOMEM\"]\n",
               kDirectBoard,
               "ConfigMtd_p->StartAddress = 80040000\n"
               "* flash: erase mtd1 0x0 +0x10000\n"
               "* flash: erase mtd1 0x10000 +0x10000\n"
               "* flash: erase mtd1 0x20000 +0x10000\n"
               "* flash: erase mtd1 0x30000 +0x10000\n"
               "* command: reboot\n",
               -1},
        // Without the folder Config the flag file cannot be made.
        Detour{"NoFlagFile", Start(kStart, kExit),
               Replaced(kSupervisedBoard, "files.\"Config/\" = \"\"", ""),
               "Utils : Auto to start program\n"
               "* missing: /opt/sav/Config/Config3\n"
               "open failed\n"
               "Write failed\n"
               "* exit: status 255\n",
               255}),
    [](const auto &row) { return row.param.name; });

TEST_F(LauncherTest, FlagFileKeepsWhatFollowsTheFirstTwoBytes) {
  PlaySmall(Start(kStart, "\"wait quillon is running\""),
            Replaced(kSupervisedBoard, "files.\"Config/\" = \"\"",
                     "files.\"Config/Config3\" = \"1abc\""));
  EXPECT_EQ(std::string("0\0bc", 4),
            vboard::ReadFile(vboard::Folder() + "/disks/mtd1/Config/Config3"));
}

TEST_F(LauncherTest, ApplicationInheritsThreeDescriptors) {
  const std::string board = Replaced(kDirectBoard, "\"standalone\"", "\"descriptors\"");
  const std::string text = PlaySmall(Start(kStart, "\"wait descriptors:\""), board).text;
  EXPECT_NE(std::string::npos, text.find("descriptors: 0 1 2\n")) << text;
}

}  // namespace
