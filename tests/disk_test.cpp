// Disk discovery in both forms of the kernel's list, what a drive is told, and the service
// stick as the launcher finds it.
#include <errno.h>
#include <fcntl.h>
#include <sys/mount.h>
#include <unistd.h>

#include <filesystem>
#include <sstream>

#include "libsys/disk.h"
#include "libsys/version.h"
#include "tests/support/board_test.h"
#include "tests/support/table.h"
#include "vboard/machine.h"

namespace {

using testing::ElementsAre;

constexpr uint64_t kFourPorts = 0x0000400000000004;
constexpr const char *kDevices = "/sys/bus/scsi/devices/";

std::string Disk(const std::string &name, int host, const std::string &rest) {
  return "[[scsi.disk]]\nname = \"" + name + "\"\nhost = " + std::to_string(host) + "\n" + rest;
}

// host letter kind class sgN size, then number:start+size for each partition
std::string Text(const DiskInfo &disk) {
  std::ostringstream text;
  text << disk.host << ' ' << (disk.letter != 0 ? static_cast<char>(disk.letter) : '-') << ' '
       << disk.kind << ' ' << disk.diskClass << " sg" << disk.genericNumber << ' ' << disk.size;
  for (int32_t i = 0; i < disk.partitionCount; ++i) {
    const DiskPartition &partition = disk.partitions[i];
    text << ' ' << partition.number << ':' << partition.start << '+' << partition.size;
  }
  return text.str();
}

std::vector<std::string> Enumerate() {
  DiskInfo *table = nullptr;
  const int32_t count = DiskEnumerate(&table);
  std::vector<std::string> disks;
  for (int32_t i = 0; i < count; ++i) disks.push_back(Text(table[i]));
  return disks;
}

class DiskTest : public test::BoardTest {
 protected:
  void UseDisks(const std::string &disks, const std::string &form = "classic") {
    UseBoard(test::SmallBoard(kFourPorts, 0, "[scsi]\nform = \"" + form + "\"\n" + disks));
    DvrReadBootParameters();
    ASSERT_EQ(4, DvrGetHwidInformation(DISK_NUM));
    Events();
  }
};

TEST_F(DiskTest, BothFormsGiveTheSameRecords) {
  std::string many;
  std::string firstFifteen;
  for (int number = 1; number <= 20; ++number) {
    const std::string n = std::to_string(number);
    many += "[" + n + ", " + n + "000, 3],";
    if (number <= 15) firstFifteen += " " + n + ":" + n + "000+3";
  }
  const std::string disks =
      Disk(
          "recordings", 0,
          "letter = \"a\"\nsize = 7814037168\ngeneric = 12\n"
          "partitions = [[1, 63, 100], [2, 163, 2], [5, 226, 50], [6, 5000000000, 6000000000]]\n") +
      Disk("port 3", 3, "letter = \"b\"\nvendor = \"Maxtor\"\n") +
      Disk("stick", 4, "letter = \"c\"\nvendor = \"Generic\"\npartitions = [[1, 63, 3]]\n") +
      Disk("recorder", 6, "kind = \"optical\"\nletter = \"0\"\nvendor = \"TSSTcorp\"\n") +
      Disk("not ATA", 7, "letter = \"d\"\nvendor = \"ATAPI\"\ngeneric = -1\n") +
      Disk("bridge", 12, "letter = \"e\"\npartitions = [[1, 1, 1], [2, 2, 2]]\n") +
      Disk("many", INT32_MAX,
           "letter = \"f\"\nvendor = \"Generic\"\npartitions = [" + many + "]\n");
  for (const char *form : {"classic", "modern"}) {
    SCOPED_TRACE(form);
    UseDisks(disks, form);
    std::vector<std::string> found;
    EXPECT_EQ("", test::Printed([&] { found = Enumerate(); }));
    EXPECT_THAT(found,
                ElementsAre("0 a 1 3 sg12 7814037168 1:63+100 5:226+50 "
                            "6:5000000000+6000000000",
                            "3 b 1 3 sg1 1048576", "4 c 1 0 sg2 1048576 1:63+3",
                            "6 0 2 0 sg3 1048576", "7 d 1 0 sg0 1048576", "12 e 1 3 sg5 1048576",
                            "2147483647 f 1 0 sg6 1048576" + firstFifteen));
  }
}

// One thing wrong in the stick's folder: what is printed, and what becomes of its record.
struct Damage {
  const char *form;
  const char *remove;
  const char *write;  // a name that ends in '/' makes a folder
  const char *content;
  std::string printed;  // '@' is the stick's folder
  std::string record;   // empty: none
};

const std::string kWhole = "5 b 1 0 sg1 1048576 1:10+20 2:30+40";
const std::string kUnknown = "LIBDVR : Unknow scsi type : bus :5:0:0:0\n";

const Damage kDamages[] = {
    {"classic", "../5:0:0:0", "", "", "", ""},
    {"classic", "vendor", "", "", "", ""},
    {"classic", "", "vendor", "", "", kWhole},
    {"classic", "", "vendor", "\n", "", kWhole},
    {"classic", "", "vendor", "\n \t\nATA x\n", "", "5 b 1 3 sg1 1048576 1:10+20 2:30+40"},
    {"classic", "", "vendor", "AVendorWhoseNameIsLongerThanThirtyOneLetters\n", "", kWhole},
    {"classic", "block:sdb", "", "", "", "5 - 0 0 sg1 0"},
    {"classic", "block:sdb", "block:sdb", "", "LIBDVR : open dir @block:sdb failed\n",
     "5 b 1 0 sg1 0"},
    {"classic", "block:sdb", "block:st0/", "", kUnknown, "5 - 0 0 sg1 0"},
    {"classic", "block:sdb", "block:", "", kUnknown, "5 - 0 0 sg1 0"},
    {"classic", "block:sdb/size", "", "", "LIBDVR : open @block:sdb/size faild\n", "5 b 1 0 sg1 0"},
    {"classic", "", "block:sdb/size", "none\n", "", "5 b 1 0 sg1 0 1:10+20 2:30+40"},
    {"classic", "block:sdb/sdb1/start", "", "", "LIBDVR : open @block:sdb/sdb1/start faild\n",
     "5 b 1 0 sg1 1048576 2:30+40"},
    {"classic", "block:sdb/sdb1/size", "", "", "LIBDVR : open @block:sdb/sdb1/size faild\n",
     "5 b 1 0 sg1 1048576 2:30+40"},
    {"classic", "", "block:sdb/size", "\n \n77 88\n", "", "5 b 1 0 sg1 77 1:10+20 2:30+40"},
    {"classic", "", "block:sdb/sdb1/start", "", "", "5 b 1 0 sg1 1048576 1:0+20 2:30+40"},
    {"classic", "", "block:sdb/sdb1/size", "x", "", "5 b 1 0 sg1 1048576 2:30+40"},
    {"classic", "scsi_generic:sg1", "scsi_generic:sg-3", "", "",
     "5 b 1 0 sg0 1048576 1:10+20 2:30+40"},
    {"classic", "", "../99999999999999999999:0:0:0/vendor", "", "", kWhole},
    {"classic", "", "../5:0:0:1/vendor", "ATA", "", kWhole},
    {"modern", "block/sdb", "block/st0/", "", kUnknown, "5 - 0 0 sg1 0"},
    {"modern", "block", "block", "", "LIBDVR : open dir @block failed\n", "5 - 0 0 sg1 0"},
    {"modern", "block/sdb/size", "", "", "LIBDVR : open @block/sdb/size faild\n", "5 b 1 0 sg1 0"},
    {"modern", "scsi_generic", "scsi_generic", "", "LIBDVR : open dir @scsi_generic failed\n",
     "5 b 1 0 sg0 1048576 1:10+20 2:30+40"},
};

TEST_F(DiskTest, DamagedListIsReportedAndSkipped) {
  const std::string disks = Disk("recordings", 1, "letter = \"a\"\n") +
                            Disk("stick", 5,
                                 "letter = \"b\"\nvendor = \"Generic\"\n"
                                 "partitions = [[1, 10, 20], [2, 30, 40]]\n") +
                            Disk("last", 8, "letter = \"c\"\n");
  for (const Damage &damage : kDamages) {
    SCOPED_TRACE(std::string(damage.form) + " -" + damage.remove + " +" + damage.write);
    UseDisks(disks, damage.form);
    const std::string folder = vboard::RootPath(kDevices) + "/5:0:0:0/";
    if (damage.remove[0] != '\0') std::filesystem::remove_all(folder + damage.remove);
    if (damage.write[0] != '\0') vboard::WriteFile(folder + damage.write, damage.content);
    std::vector<std::string> found;
    std::string printed = test::Printed([&] { found = Enumerate(); });
    const std::string place = std::string(kDevices) + "/5:0:0:0/";
    if (const size_t at = printed.find(place); at != std::string::npos) {
      printed.replace(at, place.size(), "@");
    }
    EXPECT_EQ(damage.printed, printed);
    std::vector<std::string> expected = {"1 a 1 3 sg0 1048576", damage.record,
                                         "8 c 1 3 sg2 1048576"};
    std::erase(expected, "");
    EXPECT_EQ(expected, found);
  }
}

TEST_F(DiskTest, NoListAndNoDisks) {
  UseDisks("");
  EXPECT_THAT(Enumerate(), ElementsAre());
  std::filesystem::remove_all(vboard::RootPath(kDevices));
  EXPECT_EQ("LIBDVR : Open /sys/bus/scsi/devices/ failed\n", test::Printed([] {
              EXPECT_EQ(0, DiskGetCount() + static_cast<int>(Enumerate().size()));
            }));
}

TEST_F(DiskTest, TheFirstSixteenHostsFillTheTable) {
  std::string disks;
  for (int i = 0; i < 20; ++i) {
    disks += Disk(std::to_string(i), 3 * i,
                  std::string("letter = \"") + static_cast<char>('a' + i) + "\"\n");
  }
  UseDisks(disks);
  const std::vector<std::string> found = Enumerate();
  ASSERT_EQ(16U, found.size());
  EXPECT_EQ("0 a 1 3 sg0 1048576", found.front());
  EXPECT_EQ("45 p 1 3 sg15 1048576", found.back());
}

const std::string kThreeDisks =
    Disk("recordings", 0, "letter = \"a\"\n") +
    Disk("stick", 4,
         "letter = \"b\"\nvendor = \"Generic\"\nplugged = false\nfiles.\"old\" = \"kept\"\n") +
    Disk("recorder", 5, "kind = \"optical\"\nletter = \"0\"\nmedium = false\n");

TEST_F(DiskTest, DrivesTakeTheStandbyTimerAndTheFlush) {
  UseDisks(kThreeDisks);
  for (test::Row &row : test::Table("standby.txt", "timers")) {
    SCOPED_TRACE(row["disk"] + " " + row["minutes"]);
    const bool takes = row["code"] != "-";
    EXPECT_EQ(takes ? 0 : -1, DiskSetStandby(std::stoi(row["disk"]), std::stoi(row["minutes"])));
    std::vector<std::string> events = Events();
    std::erase_if(events, [](const std::string &event) { return event.starts_with("missing:"); });
    const std::string command = "disk: sda command e3 " + row["code"] + " 00 00";
    EXPECT_EQ(takes ? std::vector{command} : std::vector<std::string>{}, events);
  }
  EXPECT_EQ(2, DiskGetCount());
  EXPECT_EQ(0, DiskFlush(0));
  EXPECT_EQ(0, DiskFlush(1));
  EXPECT_EQ(-1, DiskFlush(2));
  EXPECT_EQ(-1, DiskFlush(-1));
  EXPECT_THAT(Events(), ElementsAre("disk: sda flushed", "disk: sr0 flushed"));
  vboard::PlanFault("ioctl", "/dev/sda", EIO, 1, false);
  vboard::PlanFault("fsync", "/dev/sda", EIO, 1, false);
  EXPECT_EQ(-1, DiskSetStandby(0, 1));
  EXPECT_EQ(-1, DiskFlush(0));
  EXPECT_EQ(0, DiskFlush(0));
  char path[10] = "unchanged";
  for (const int32_t length : {0, -1}) EXPECT_EQ(-1, DiskGetPath(0, path, length));
  EXPECT_STREQ("unchanged", path);
  EXPECT_EQ(-1, DiskGetPath(0, nullptr, 9));
  EXPECT_EQ(-1, DiskGetPath(0, path, 8));
  EXPECT_EQ(0, DiskGetPath(0, path, 9));
  EXPECT_STREQ("/dev/sda", path);
}

TEST_F(DiskTest, SticksComeAndGo) {
  UseDisks(kThreeDisks, "modern");
  EXPECT_EQ(2U, Enumerate().size());
  vboard::Act("stick plug stick");
  EXPECT_EQ(2, DiskGetCount());
  EXPECT_EQ("4 b 1 0 sg1 1048576", Enumerate().at(1));
  EXPECT_EQ(-1, DiskSetStandby(1, 1));
  EXPECT_EQ(0, DiskFlush(1));
  ASSERT_EQ(0, mount("/dev/sdb", "/share", "vfat", 0, nullptr));
  const int fd = open("/share/log", O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  EXPECT_EQ(3, write(fd, "one", 3));
  EXPECT_EQ(-1, umount("/share"));
  EXPECT_EQ(EBUSY, errno);
  vboard::Act("stick pull stick");
  EXPECT_EQ(-1, write(fd, "two", 3));
  EXPECT_EQ(EIO, errno);
  close(fd);
  EXPECT_EQ(-1, open("/share/old", O_RDONLY | O_CLOEXEC));
  EXPECT_EQ(EIO, errno);
  EXPECT_EQ(-1, DiskFlush(1));
  EXPECT_EQ(2U, Enumerate().size());
  EXPECT_EQ(0, umount("/share"));
  vboard::Act("stick plug stick");
  EXPECT_EQ("kept", vboard::ReadFile(Folder() + "/board/disks/scsi-stick/old"));
  EXPECT_EQ("one", vboard::ReadFile(Folder() + "/board/disks/scsi-stick/log"));
  EXPECT_EQ(0, mount("/dev/sdb", "/share", "vfat", 0, nullptr));
}

// The launcher on a board with a stick: the file on the stick, and the console.
struct Stick {
  const char *board;
  std::string scenario;
  std::string capture;   // a pattern; empty: no such file
  std::string console;   // from there on where the launcher has cleared the stick's place
  const char *key = "";  // one more of the board's description
};

std::string Mounted(const std::string &device, const std::string &outcome = "") {
  return "* mount: " + device +
         " on /share, vfat, flags 0x10, usefree,codepage=936,iocharset=gb2312" + outcome + "\n";
}

const std::string kCleared = "* unmount: /share: Invalid argument\n";
const std::string kNetworkLine =
    "ip = 192.168.1.20, netmask = 255.255.255.0, gateway = 192.168.1.1\n";
const std::string kStart = "* start: /opt/app/Quillon: /opt/app/Quillon\n";
const std::string kOnConsole = "Utils : Auto to start program\n" + kStart +
                               "recorder: started as /opt/app/Quillon with 0 arguments\n";
const std::string kOnStick =
    "Utils : Auto to start program\nrecorder: started as /opt/app/Quillon with 0 arguments\n";
const std::string kFailed = "mount usb device failed\n";

const Stick kSticks[] = {
    {"service-stick", "wait sleep: 7 s", kOnStick,
     Mounted("/dev/sdb1") + "* unmount: /share\n" + Mounted("/dev/sdb1") + kStart +
         "* sleep: 7 s\n"},
    {"stick-whole", "wait sleep: 7 s", kOnStick,
     Mounted("/dev/sda") + "* unmount: /share\n" + Mounted("/dev/sda") + kStart + "* sleep: 7 s\n"},
    {"stick-unmountable", "wait recorder: started", "-",
     Mounted("/dev/sda1", ": Invalid argument") + kFailed + kOnConsole},
    {"stick-pulled", "wait recorder: started", "",
     Mounted("/dev/sda1") + "* unmount: /share\n* stick: stick pulled\n" +
         Mounted("/dev/sda1", ": No such file or directory") + kFailed +
         "* missing: /share/printf.txt\nopen /share/printf.txt failed\n" + kOnConsole},
    // A stick that is write-protected stays mounted.
    {"service-stick", "wait recorder: started", "-",
     Mounted("/dev/sdb1") +
         "* fault: open /share/printf.txt: Read-only file system\nopen /share/printf.txt failed\n" +
         kOnConsole,
     "prepare = [\"fault once open /share/printf.txt 1 EROFS\"]"},
};

std::string Repeated(int times, const std::string &text) {
  return times == 0 ? "" : text + Repeated(times - 1, text);
}

std::string ConsoleFromTheStickOn(const vboard::Machine &machine) {
  std::string text;
  for (size_t i = 0; i < machine.Waited(); ++i) {
    const vboard::Line &line = machine.Lines()[i];
    const std::string whole = (line.event ? "* " : "") + line.text + "\n";
    const bool stick = whole == kCleared;
    if (stick || !text.empty()) text += whole;
  }
  return text;
}

TEST_F(DiskTest, LauncherCapturesOnTheServiceStick) {
  for (const Stick &stick : kSticks) {
    SCOPED_TRACE(stick.board);
    vboard::Detach();
    const std::string folder = Folder() + "/" + stick.board;
    // With an application that sleeps, so that its start shows.
    const std::string file = Folder() + "/board.toml";
    vboard::WriteFile(file, "base = \"" SOURCE_FOLDER "/boards/" + std::string(stick.board) +
                                ".toml\"\nscenario = [\"" + stick.scenario + "\"]\n" + stick.key +
                                "\n[programs]\n\"/opt/app/Quillon\" = \"handback\"\n");
    vboard::Machine machine(vboard::MakeBoard(file, folder, PROGRAMS_FOLDER));
    machine.Start();
    machine.Play(60);
    machine.Stop();
    EXPECT_EQ(kCleared + stick.console, ConsoleFromTheStickOn(machine));
    const std::string capture = folder + "/disks/scsi-stick/printf.txt";
    if (stick.capture == "-") {
      EXPECT_FALSE(std::filesystem::exists(capture));
      continue;
    }
    const std::string text = vboard::ReadFile(capture);
    const size_t end = text.find('\0');
    ASSERT_NE(std::string::npos, end);
    EXPECT_THAT(text.substr(0, end), testing::Eq(kNetworkLine));
    EXPECT_EQ(stick.capture, text.substr(end + 1));
  }
}

// The first start of a board: the launcher does not open the clock chip's bus, so that the
// factory's values only reach the file, where its folder is there. The stick has been used; it is
// alone or behind a disk and a drive.
TEST_F(DiskTest, ServiceLogWithoutStoredSettings) {
  const std::string unread = "LIBDVR : I2cRead : Invalid parma\n";
  const std::string unwritten = "LIBDVR : I2cWrite : Invalid parma\n";
  const std::string source = "LIBDVR : FILE -> Network/network.c, LINE -> ";
  const std::string noAddress =
      source + "649: Get default ip failed\nUtils : Get Ip Or Netmask Failed\n";
  const std::string noFile = source + "500: Open /opt/sav/Config/network failed\n";
  const std::string unstored = unread + Repeated(5, noFile + unwritten) + unwritten;
  const std::string noGateway =
      source + "762: Get default gateway failed\nUtils : Get Gateway Failed\n";
  const struct {
    std::string settings, printed, others;
  } rows[] = {
      {"Config/", unread + Repeated(6, unwritten) + noAddress, ""},
      {"Other/", unstored + noAddress + unstored + noGateway,
       Disk("bay", 1, "letter = \"a\"\n") +
           Disk("drive", 2, "kind = \"optical\"\nletter = \"0\"\nvendor = \"TSSTcorp\"\n")},
  };
  const std::string used =
      Disk("stick", 3,
           "letter = \"b\"\nvendor = \"Generic\"\npartitions = [[2, 63, 99], [3, 200, 99]]\n"
           "files.\"printf.txt\" = \"" +
               std::string(500, 'x') + "\"\n");
  for (const auto &[settings, printed, others] : rows) {
    SCOPED_TRACE(settings);
    vboard::Detach();
    std::string board = test::SmallBoard(0x800000000004, 0,
                                         "[programs]\n\"/sbin/sentrel\" = \"sentrel\"\n"
                                         "\"/opt/app/Quillon\" = \"descriptors\"\n" +
                                             others + used);
    board.replace(board.find("xuart = \"0\""), 11, "xuart = \"1\"");
    board.replace(board.find("Config/"), 7, settings);
    const std::string file = Folder() + "/board.toml", folder = Folder() + "/" + settings;
    vboard::WriteFile(file,
                      "start = [\"/sbin/sentrel\", \"/opt/app/Quillon\"]\n"
                      "scenario = [\"wait exit: status 3\"]\n" +
                          board);
    vboard::Machine machine(vboard::MakeBoard(file, folder, PROGRAMS_FOLDER));
    machine.Start();
    machine.Play(60);
    machine.Stop();
    std::string console = ConsoleFromTheStickOn(machine);
    const std::string missing = "* missing: /opt/sav/Config/network\n";
    for (size_t at; (at = console.find(missing)) != std::string::npos;) {
      console.erase(at, missing.size());
    }
    EXPECT_EQ(kCleared + Mounted("/dev/sdb2") + printed + "* unmount: /share\n" +
                  Mounted("/dev/sdb2") + kStart + "* exit: status 3\n",
              console);
    EXPECT_EQ(std::string("ip = 192.168.1.88, netmask = , gateway = 192.168.1.1\n") + '\0' +
                  "Utils : Auto to start program\nerrors go here\ndescriptors: 0 1 2\n",
              vboard::ReadFile(folder + "/disks/scsi-stick/printf.txt"));
  }
}

}  // namespace
