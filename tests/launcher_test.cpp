// The launcher as a whole: the real program on a board, its console and what it does to the
// board compared line by line. Lines that begin with '*' are events.
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <iterator>
#include <set>
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
    vboard::Machine machine(plan);
    machine.Start();
    machine.Play(kPatience);
    const size_t played = machine.Waited();
    if (plan.scenario.back().find("exit:") != std::string::npos) machine.Run(kPatience);
    return {Text(machine.Lines(), played), machine.ExitStatus()};
  }

  // A board of boards/ with the smallest applications, so that the transcript is the launcher's;
  // the supervised one works until HandBack().
  vboard::Plan MakeWithSmallPrograms(const std::string &name, const std::string &more = "") {
    const std::string file = Folder() + "/board.toml";
    vboard::WriteFile(file, "base = \"" SOURCE_FOLDER "/boards/" + name + ".toml\"\n" + more +
                                "\n[programs]\n\"/opt/app/Quillon\" = \"standalone\"\n"
                                "\"/var/Vantor\" = \"standalone\"\n");
    return vboard::MakeBoard(file, Folder() + "/board", PROGRAMS_FOLDER);
  }

  // Does what a supervised application does just before it ends.
  static void HandBack() {
    vboard::WriteFile(vboard::Folder() + "/disks/mtd3/Config/Config3", "1");
  }

  Transcript PlayFile(const std::string &name, const std::string &scenario = "",
                      const std::string &more = "") {
    const std::string line = scenario.empty() ? "" : "scenario = [" + scenario + "]\n";
    return Play(MakeWithSmallPrograms(name, line + more));
  }

  // Plays a board made for one test: a small one with keys in front of its description and
  // sections behind it.
  Transcript PlaySmall(const std::string &keys, const std::string &description) {
    const std::string file = Folder() + "/board.toml";
    vboard::WriteFile(file, keys + description);
    return Play(vboard::MakeBoard(file, Folder() + "/board", PROGRAMS_FOLDER));
  }
};

constexpr const char *kUntilStarted = R"("wait start: /opt/app/Quillon", "wait recorder: started")";
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
            PlayFile("direct", kUntilStarted).text);
}

// Of chip/board type 0, which no OEM type makes a supervised one.
TEST_F(LauncherTest, SecondGeneration) {
  EXPECT_EQ(kHead +
                "LIBDVR : Flash sector size : 0x20000\n"
                "LIBDVR : Find device chip\n"
                "LIBDVR : Find device chip\n"
                "xapp = 1, xuart  = 0\n" +
                Replaced(kMounted, "mtdblock3", "mtdblock4") + kDirectStart,
            PlayFile("second-generation", kUntilStarted, "[identity]\noem = 9\n").text);
}

TEST_F(LauncherTest, NothingToStart) {
  const Transcript transcript = PlayFile("nothing");
  EXPECT_EQ(kHead + kSmallFlash + "xapp = 0, xuart  = 0\n" + kMounted + "* exit: status 0\n",
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
  const std::string reboot = begin + Replaced(kMounted, ", sync", ", sync: Input/output error") +
                             "ConfigMtd_p->StartAddress = 80640000\n" + erases +
                             "* command: reboot\n";
  const std::string text = PlayFile("repair").text;
  const size_t second = text.find("* power: on, boot 2");
  EXPECT_EQ(reboot, text.substr(0, reboot.size()));
  // How far the launcher gets until the power goes is the board's affair.
  EXPECT_THAT(reboot + kNoLog + kDirectStart, testing::StartsWith(text.substr(0, second)));
  EXPECT_EQ(Replaced(begin, "boot 1", "boot 2") + kMounted + kNoLog + kDirectStart,
            text.substr(second));
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

TEST_F(LauncherTest, SupervisionAndRestartByTheServiceKey) {
  constexpr int kLooks = 3;
  const vboard::Plan plan = MakeWithSmallPrograms("supervised");
  vboard::Machine machine(plan);
  machine.Start();
  ASSERT_TRUE(machine.WaitFor("recorder: started", kPatience));
  for (int look = 0; look < kLooks; ++look) {
    ASSERT_TRUE(machine.WaitFor("quillon is running", kPatience));
  }
  HandBack();
  ASSERT_TRUE(machine.WaitFor("begin to read Frontboard", kPatience));
  ASSERT_TRUE(machine.Act("key press 2", kPatience));
  ASSERT_TRUE(machine.WaitFor("recorder: started", kPatience));
  std::string left = Text(machine.Lines(), machine.Waited());
  const std::string started =
      "ch=---->\n"
      "* start: /var/Vantor: /var/Vantor\n"
      "recorder: started as /var/Vantor with 0 arguments\n";
  // What the launcher's first process does, which becomes the application.
  left = Without(left, kHead + kSmallFlash + "xapp = 1, xuart  = 0\n" + kMounted +
                           "Utils : Auto to start program\n" + started);
  // What the second does after its last look, and the person at the panel.
  left = Without(left, "begin to read Frontboard\n* panel: key 2 pressed\n" + started);
  // The looks of the second and of the third, every 3 seconds.
  const std::string look = "quillon is running\n* sleep: 3 s\n";
  int looks = 0;
  for (; left.starts_with(look); ++looks) left.erase(0, look.size());
  EXPECT_GE(looks, kLooks);
  EXPECT_TRUE(look.starts_with(left)) << left;
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

void PrintTo(const Detour &detour, std::ostream *stream) {
  *stream << detour.name;
}

const std::string kExit = "\"wait exit: status\"";
const std::string kStarted = "\"wait recorder: started\"";
const std::string kStarting = "Utils : Auto to start program\n" + kDirectStart.substr(30);

class LauncherDetourTest : public LauncherTest, public testing::WithParamInterface<Detour> {};

TEST_P(LauncherDetourTest, Transcript) {
  const Detour &detour = GetParam();
#ifdef __SANITIZE_THREAD__
  if (detour.keys.find("pthread_create") != std::string::npos) {
    GTEST_SKIP() << "the thread sanitizer starts threads without asking the board";
  }
#endif
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
        Detour{"NoVariable", Start(kStart, kExit),
               Replaced(kDirectBoard, "xuart = \"0\", xapp = \"1\"", "xuart = \"0\""),
               kNoLog + "* exit: status 0\n", 0},
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
        Detour{"MountFaultErasesAndAFailedRebootGoesOn",
               Start(kStart, kStarted) + "prepare = [\"fault once mount /dev/mtdblock1 1 ENOMEM\", "
                                         "\"fault once system reboot 1 EAGAIN\"]\n",
               kDirectBoard,
               "ConfigMtd_p->StartAddress = 80040000\n"
               "* flash: erase mtd1 0x0 +0x10000\n"
               "* flash: erase mtd1 0x10000 +0x10000\n"
               "* flash: erase mtd1 0x20000 +0x10000\n"
               "* flash: erase mtd1 0x30000 +0x10000\n"
               "* command: reboot\n"
               "* fault: system reboot: Resource temporarily unavailable\n" +
                   kNoLog + kDirectStart,
               -1},
        Detour{"MountFaultErasesAndTheNextBootMounts",
               Start(kStart, "\"wait boot 2\", " + kStarted) +
                   "prepare = [\"fault once mount /dev/mtdblock1 1 EIO\"]\n",
               kDirectBoard, Replaced(kMounted, "mtdblock3", "mtdblock1") + kNoLog + kDirectStart,
               -1},
        // Nobody can tell where the next sector begins.
        Detour{"NoSectorSize",
               Start(kStart, "\"wait command: reboot\"") +
                   "prepare = [\"fault once mount /dev/mtdblock1 1 EIO\"]\n",
               kDirectBoard + "[files.root]\n\"/proc/mtd\" = \"mtd0: 40000 0 \\\"boot\\\"\\n"
                              "mtd1: 40000 0 \\\"config\\\"\\n\"\n",
               "LIBDVR : FlashGetSectorSize failed\n"
               "LIBDVR : Can't get flashsectsize, initialize : 131072\n"
               "* flash: erase mtd1 0x0 +0x10000\n"
               "* command: reboot\n",
               -1},
        // Nobody is left to supervise.
        Detour{
            "NoChild",
            Start(kStart, "\"wait sleep: 100 s\"") + "prepare = [\"fault once fork - 1 EAGAIN\"]\n",
            kSupervisedBoard,
            "Utils : Auto to start program\n"
            "* fault: fork : Resource temporarily unavailable\n"
            "ch=---->\n"
            "* start: /var/Vantor: /var/Vantor\n"
            "* start: /var/Vantor: No such file or directory\n"
            "* sleep: 100 s\n",
            -1},
        Detour{"NoScanner",
               Start(kStart, "\"wait exit: status 255\"") +
                   "prepare = [\"fault once pthread_create - 1 EAGAIN\"]\n",
               test::SmallBoard(4, 4, kPrograms + "\"/var/Vantor\" = \"handback\"\n"),
               "begin to read Frontboard\n"
               "* fault: pthread_create : Resource temporarily unavailable\n"
               "LIBDVR : FILE -> sentrel, LINE -> 480: ThreadCreate failed\n"
               "* exit: status 255\n",
               0},
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

// The launcher never asks for the board's wiring, so its panels are read as they are.
TEST_F(LauncherTest, Oem6KeysComeUntranslatedAndTheSupervisorThenWaitsForGood) {
  const vboard::Plan plan = vboard::MakeBoard(SOURCE_FOLDER "/boards/panel-oem6-serial.toml",
                                              Folder() + "/board", PROGRAMS_FOLDER);
  vboard::Machine machine(plan);
  machine.Start();
  ASSERT_TRUE(machine.WaitFor("begin to read Frontboard", kPatience));
  ASSERT_TRUE(machine.WaitFor("LIBDVR : Frontboard use ttyAMA2 Uart/frontboard.c1774", kPatience));
  ASSERT_TRUE(machine.WaitFor("uart2: 9600 baud", kPatience));
  const auto unreadAfter = [&](const char *action) {
    vboard::Act(action);
    machine.Run(10);
    return test::Waiting("/dev/ttyAMA2");
  };
  EXPECT_EQ(0, unreadAfter("frontboard send ff1a0c01"));  // no service key: read, and read on
  EXPECT_EQ(0, unreadAfter("frontboard send fe010c01"));  // nor this
  EXPECT_EQ(0, unreadAfter("frontboard send ff010c01"));  // a translation would have changed it
  EXPECT_EQ(4, unreadAfter("frontboard send ff1afe01"));
  machine.Run(200);
  EXPECT_EQ(4, test::Waiting("/dev/ttyAMA2"));
  EXPECT_FALSE(machine.WaitFor("start: /var/Vantor", 0));
}

TEST_F(LauncherTest, Oem9NothingFillsTheQueue) {
  const vboard::Plan plan = MakeWithSmallPrograms("supervised", "[identity]\noem = 9\n");
  vboard::Machine machine(plan);
  machine.Start();
  ASSERT_TRUE(machine.WaitFor("quillon is running", kPatience));
  HandBack();
  ASSERT_TRUE(machine.WaitFor("begin to read Frontboard", kPatience));
  ASSERT_TRUE(machine.Act("key press 2", kPatience));
  machine.Run(200);
  EXPECT_FALSE(machine.WaitFor("start: /var/Vantor", 0));
  EXPECT_TRUE(machine.Running());
}

size_t Entries(const std::filesystem::path &folder) try {
  return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
} catch (const std::filesystem::filesystem_error &) {
  return 0;  // the process has just ended
}

// The processes on the board, as "name, threads, descriptors" each; one that has ended and that
// nobody waits for has neither name nor descriptors.
std::multiset<std::string> Processes() {
  std::multiset<std::string> processes;
  for (const auto &entry : std::filesystem::directory_iterator("/proc")) {
    const pid_t id = atoi(entry.path().filename().c_str());
    if (id == 0 || getpgid(id) != vboard::State().processGroup) continue;
    std::error_code ended;
    const auto program = std::filesystem::read_symlink(entry.path() / "exe", ended);
    processes.insert(program.filename().string() + ", " +
                     std::to_string(Entries(entry.path() / "task")) + ", " +
                     std::to_string(Entries(entry.path() / "fd")));
  }
  return processes;
}

TEST_F(LauncherTest, RestartsLeaveNothingBehind) {
  const vboard::Plan plan = vboard::MakeBoard(SOURCE_FOLDER "/boards/panel-oem4.toml",
                                              Folder() + "/board", PROGRAMS_FOLDER);
  vboard::Machine machine(plan);
  machine.Start();
  std::multiset<std::string> first;
  for (int round = 1; round <= 4; ++round) {
    SCOPED_TRACE(round);
    // The application hands back; the launcher's scanner is at work once it has read a code. A
    // service key that is released is none.
    ASSERT_TRUE(machine.WaitFor("begin to read Frontboard", kPatience));
    ASSERT_TRUE(machine.Act("ir send 12 0", kPatience));
    ASSERT_TRUE(machine.WaitFor("hiir read(0 , c)", kPatience));
    machine.Run(1);
    EXPECT_FALSE(machine.WaitFor("start: /var/Vantor", 0));
    // The first supervisor is the child of a process that was started, not forked: a sanitizer
    // has a thread more in it.
    if (round <= 2) first.clear();
    const std::multiset<std::string> now = Processes();
    EXPECT_EQ(1U, now.size());
    if (round <= 2) first = now;
    EXPECT_EQ(first, now);
    // The last time twice: the second is read before the next scanner has begun.
    if (round == 4) vboard::Act("ir send 12 1");
    ASSERT_TRUE(machine.Act("ir send 12 1", kPatience));
    ASSERT_TRUE(machine.WaitFor("start: /var/Vantor", kPatience));
  }
  EXPECT_TRUE(machine.WaitFor("start: /var/Vantor", kPatience));
}

TEST_F(LauncherTest, ACaptureTakesNoMoreDescriptors) {
  std::multiset<std::string> processes[2];
  for (const bool captured : {false, true}) {
    vboard::Detach();
    vboard::Machine machine(MakeWithSmallPrograms(
        "service-stick", std::string("[identity]\noem = 4\n[flash.environment]\nvariables = { ") +
                             "xuart = \"" + (captured ? "1" : "0") + "\" }\n"));
    machine.Start();
    ASSERT_TRUE(machine.WaitFor("sleep: 3 s", kPatience));
    processes[captured] = Processes();
    machine.Stop();
    const std::string stick = vboard::ReadFile(vboard::Folder() + "/disks/scsi-stick/printf.txt");
    EXPECT_EQ(captured, stick.find("quillon is running") != std::string::npos);
  }
  EXPECT_EQ(processes[0], processes[1]);
}

// Its front board fails for good.
TEST_F(LauncherTest, TheSupervisorAsksForKeysTenTimesASecond) {
  const vboard::Plan plan = vboard::MakeBoard(SOURCE_FOLDER "/boards/panel-oem6-serial.toml",
                                              Folder() + "/board", PROGRAMS_FOLDER);
  vboard::PlanFault("read", "/dev/ttyAMA2", EIO, 1, true);
  vboard::Machine machine(plan);
  machine.Start();
  constexpr size_t kReads = 4;
  for (size_t read = 0; read <= kReads; ++read) {
    ASSERT_TRUE(machine.WaitFor("fault: read /dev/ttyAMA2", kPatience));
    ASSERT_TRUE(machine.WaitFor("Test : FrontboardRead faield", kPatience));
  }
  const std::vector<double> times = Times("fault: read /dev/ttyAMA2");
  EXPECT_NEAR(times[kReads] - times[0], 0.1 * kReads, 0.001);
}

// Whoever started the launcher has a file open there.
TEST_F(LauncherTest, AConfigPartitionThatIsInUseIsMountedAnew) {
  UseBoard(kDirectBoard);
  vboard::PlanFault("exec", "/opt/app/Quillon", -SIGKILL, 1, false);
  test::InChild([] {
    mount("/dev/mtdblock1", "/opt/sav", "jffs2", 0, nullptr);
    dup2(open("/opt/sav/Config/inherited", O_WRONLY | O_CREAT | O_CLOEXEC, 0600), STDERR_FILENO);
    vboard::ExecuteOnBoard(PROGRAMS_FOLDER "/sentrel", {"sentrel", "/opt/app/Quillon"});
    return 1;
  });
  EXPECT_THAT(Events(), testing::Contains("unmount: /opt/sav"));
}

TEST_F(LauncherTest, FlagFileKeepsWhatFollowsTheFirstTwoBytes) {
  PlaySmall(Start(kStart, "\"wait quillon is running\""),
            Replaced(kSupervisedBoard, "files.\"Config/\" = \"\"",
                     "files.\"Config/Config3\" = \"1abc\""));
  EXPECT_EQ(std::string("0\0bc", 4),
            vboard::ReadFile(vboard::Folder() + "/disks/mtd1/Config/Config3"));
}

TEST_F(LauncherTest, ApplicationInheritsThreeDescriptors) {
  std::string board = Replaced(kDirectBoard, "\"standalone\"", "\"descriptors\"");
  board = Replaced(board, "files.\"Config/\" = \"\"", "files.\"Log/Log\" = \"ended\"");
  const std::string text = PlaySmall(Start(kStart, "\"wait descriptors:\""), board).text;
  EXPECT_NE(std::string::npos, text.find("descriptors: 0 1 2\n")) << text;
}

}  // namespace
