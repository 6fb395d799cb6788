// Product types and what follows from them: board types, counts, names, board details.
#include <map>

#include "libsys/gpio.h"
#include "tests/support/identity_test.h"

namespace {

using test::First;
using test::Printed;
using test::Second;
using testing::EndsWith;

class ProductTest : public test::IdentityTest {};

std::vector<test::Row> Table(const char *name) {
  return test::Table("identity.txt", name);
}

const std::string kUnknownProduct = "LIBDVR : Unknow product type\n";
const std::string kNonProduct =
    "LIBDVR : FILE -> System/version.c, LINE -> 2619: Non this Prodtype !! Please check your "
    "Cyp!!\n";

struct Identity {
  uint64_t product, subType, channels, bit40;
  std::string type;
};

std::vector<Identity> SecondGeneration() {
  std::vector<Identity> identities;
  for (const test::Row &row : Table("second generation")) {
    for (const uint64_t channels : {4, 8, 16, 24, 32, 12}) {
      const std::string &types = row.at(std::to_string(channels));
      const size_t slash = types.find('/');  // npos + 1 is 0
      const uint64_t product = std::stoul(row.at("product")),
                     subType = std::stoul(row.at("sub-type"));
      identities.push_back({product, subType, channels, 0, types.substr(0, slash)});
      identities.push_back({product, subType, channels, 1, types.substr(slash + 1)});
    }
  }
  return identities;
}

// By product type.
std::map<std::string, test::Row> Facts() {
  std::map<std::string, test::Row> facts;
  for (const test::Row &row : Table("facts")) facts[row.at("type")] = row;
  return facts;
}

// A count, or - where the operation leaves it alone.
std::string Count(int32_t (*get)(int32_t *)) {
  int32_t count = -77;
  if (get(&count) != 0) return "failed";
  return count == -77 ? "-" : std::to_string(count);
}

void PrintFacts() {
  const int32_t type = DvrGetProductType();
  std::string facts = std::to_string(type) + " " + std::to_string(DvrGetBoardType());
  facts += " " + Count(DvrGetPlaybackNumber) + " " + Count(DvrGetMaxEncodeNumber);
  for (const HwidCommand command : {DSP_NUM, PRODUCT_TYPE, HWID_FIELD_21, HWID_FIELD_42, DISK_NUM,
                                    HWID_FIELD_54, PLAYBACK_NUM, AUDIO_CHANNEL}) {
    facts += " " + std::to_string(DvrGetHwidInformation(command));
  }
  facts += " " + Count(DvrProductTypeIsNot4) + " " + Count(DvrProductTypeDiffersFrom4);
  printf("\n%s", facts.c_str());
}

TEST_F(ProductTest, SecondGeneration) {
  const std::string pciDisks = "4", disks = "10";
  vboard::WriteFile(vboard::RootPath("/proc/bus/pci/devices"), "11910014");
  unsigned generation = 0;
  auto facts = Facts();
  for (const auto &[product, subType, channels, bit40, type] : SecondGeneration()) {
    SCOPED_TRACE(testing::Message()
                 << product << " " << subType << " " << channels << " " << bit40);
    generation = generation % 3 + 1;
    test::Row &row = facts.at(type);
    std::ostringstream expected;
    expected << "\n" << type;
    for (const char *fact :
         {"board-type", "playback", "most-encoded", "dsps", "product-code", "field-21"}) {
      expected << " " << row[fact];
    }
    expected << " " << (type == "5" || type == "6" ? 2 : subType);
    expected << " " << (type == "8" ? pciDisks : disks) << (type == "15" ? " 16 " : " 0 ");
    expected << row["playback"] << " " << std::min<uint64_t>(channels, 16);
    expected << (type == "4" ? " 0 0" : " 1 1");
    const uint64_t disksAndAlt = uint64_t{10} << 41 | uint64_t{1} << 45;
    const std::string printed =
        OnBoard(Second(product, channels, subType, bit40, generation) | disksAndAlt, 0, PrintFacts);
    EXPECT_THAT(printed, EndsWith(expected.str()));
    EXPECT_EQ(type == "-1" && product == 1, printed.starts_with(kNonProduct));
    EXPECT_EQ(type == "99", printed == kUnknownProduct + expected.str());
  }
}

TEST_F(ProductTest, FirstGeneration) {
  for (test::Row &row : Table("first generation")) {
    const std::string unknown = row["type"] == "99" ? kUnknownProduct : "";
    const std::string expected = unknown + row["type"] + " " + row["board-type"];
    for (const uint32_t oem : test::Numbers(row["OEM"])) {
      EXPECT_EQ(expected, OnBoard(test::FirstOf(row), oem,
                                  [] {
                                    const int32_t type = DvrGetProductType();
                                    printf("%d %d", type, DvrGetBoardType());
                                  }))
          << std::hex << test::FirstOf(row) << " OEM " << oem;
    }
  }
}

TEST_F(ProductTest, TypesAboveZeroAreKept) {
  const auto type = [](uint64_t identifier) {
    ReadIdentity(identifier, 0);
    return Printed([] { printf("%d", DvrGetProductType()); });
  };
  EXPECT_EQ(kNonProduct + "-1", type(Second(1, 24)));
  EXPECT_EQ(kNonProduct + "-1", type(Second(1, 24)));
  EXPECT_EQ("-1", type(Second(3, 4)));
  EXPECT_EQ("0", type(Second(2, 12)));
  EXPECT_EQ("0", type(Second(10, 12)));  // the kept one
  EXPECT_EQ(kUnknownProduct + "99", type(Second(11, 4)));
  EXPECT_EQ("99", type(Second(1, 24)));
}

TEST_F(ProductTest, CountsByOemCode) {
  std::map<std::string, uint64_t> identifiers;
  for (const Identity &board : SecondGeneration()) {
    identifiers[board.type] = Second(board.product, board.channels, board.subType, board.bit40);
  }
  const auto print = [] {
    printf("\n%s/%s %s %s", Count(DvrGetAlarmOutNumber).c_str(), Count(DvrGetAlarmInNumber).c_str(),
           Count(DvrIsNotGenericProduct2Or3).c_str(), Count(DvrGetPlaybackNumber).c_str());
  };
  size_t tested = 0;
  auto facts = Facts();
  const test::Row notGeneric = Table("not generic").front();
  for (const auto &[oem, other] : notGeneric) {
    vboard::Act(oem == "8:present" ? "gpio set 1 5 1" : "gpio set 1 5 0");
    if (oem == "8:silent") vboard::PlanFault("ioctl", "/dev/hi_gpio", EIO, 1, true);
    for (test::Row &row : Table("alarm lines")) {
      std::istringstream types(row["type"]);
      for (std::string type; std::getline(types, type, ','); ++tested) {
        SCOPED_TRACE("product type " + type + ", OEM " + oem);
        const std::string isOther = type == "2" || type == "3" ? other : "1";
        const bool fewer = type == "3" && isOther == "1";
        const std::string expected =
            "\n" + row[oem] + " " + isOther + " " + (fewer ? "4" : facts.at(type)["playback"]);
        const auto code = static_cast<uint32_t>(std::stoul(oem));
        EXPECT_THAT(OnBoard(identifiers.at(type), code, print), EndsWith(expected));
      }
    }
  }
  EXPECT_EQ(identifiers.size() * notGeneric.size(), tested);
}

TEST_F(ProductTest, TheBoardWordCountsForProductType2OfOem3) {
  ReadIdentity(Second(1, 4), 3);
  for (const unsigned word : {0x0000, 0x001f, 0xfc1f, 0x0020, 0x0200}) {
    DvrBoardWord = static_cast<uint16_t>(word);
    const bool one = word != 0x0020 && word != 0x0200;
    EXPECT_EQ(one ? "1" : "-", Count(DvrGetAlarmOutNumber)) << word;
    EXPECT_EQ(one ? "1" : "-", Count(DvrGetAlarmInNumber)) << word;
    // The query makes 0 of a count that is left alone.
    EXPECT_EQ(one ? 1 : 0, DvrGetHwidInformation(ALARM_OUT)) << word;
    EXPECT_EQ(one ? 1 : 0, DvrGetHwidInformation(ALARM_IN)) << word;
  }
}

void PrintDeviceType() {
  char name[16];
  if (SystemGetDeviceType(name, sizeof name) == 0) printf("%s", name);
}

TEST_F(ProductTest, DeviceTypeNames) {
  for (test::Row &row : Table("names of first-generation devices")) {
    EXPECT_EQ(row["name"],
              OnBoard(test::FirstOf(row), test::Numbers(row["OEM"])[0], PrintDeviceType))
        << std::hex << test::FirstOf(row) << " OEM " << row["OEM"];
  }
  const uint64_t networkCard = uint64_t{1} << 48;
  EXPECT_EQ("DVR_8CIF", OnBoard(First({.channels = 8}) | networkCard, 0, PrintDeviceType));
  for (const uint64_t subType : {0, 1, 3, 5}) {
    for (const uint64_t generation : {1, 2, 3}) {
      const std::string end = subType == 1 && generation == 3 ? "D1" : "CIF";
      const auto name = [&](uint64_t channels) {
        return OnBoard(Second(3, channels, subType, 0, generation), 0, PrintDeviceType);
      };
      EXPECT_EQ("DVR_4D1", name(4));
      EXPECT_EQ("DVR_8" + end, name(8));
      EXPECT_EQ("DVR_16" + end, name(16));
      EXPECT_EQ("DVR_4CIF", name(32));
    }
  }
  char name[16];
  for (const int32_t size : {15, 0, -1}) {
    EXPECT_EQ("LIBDVR : SystemGetDeviceType==>size < 16!\n",
              Printed([&] { EXPECT_EQ(-1, SystemGetDeviceType(name, size)); }));
  }
}

TEST_F(ProductTest, MaximumEncodeNumberOfTypes5And21) {
  const auto print = [] { printf("%s", Count(DvrGetMaxEncodeNumber).c_str()); };
  for (const uint64_t bit40 : {0, 1}) {
    for (const uint64_t field42 : {0, 1, 4}) {
      const uint64_t identifier = First({.channels = 4, .alarmInputs = 1, .bit40 = bit40}) |
                                  uint64_t{1} << 36 | field42 << 42;
      EXPECT_EQ("4", OnBoard(identifier, 0, print));
      EXPECT_EQ(field42 != 0 ? "1" : "4", OnBoard(identifier | uint64_t{1} << 35, 0, print));
    }
  }
}

// The register writes and turned lines in the log, such as "b4=2 0,input ".
std::string Accesses(const std::vector<std::string> &events) {
  std::string accesses;
  for (const std::string &event : events) {
    if (event.starts_with("register: 0x200f00")) {
      accesses += event.substr(18, 2) + "=" + event.substr(event.find("= 0x0") + 5) + " ";
    } else if (event.starts_with("gpio: 1,") && event.ends_with(" input")) {
      accesses += event.substr(8, 1) + ",input ";
    }
  }
  return accesses;
}

// Registers that hold what no program writes, and outputs that a read turns round: so every
// access shows in the log.
void PrepareBoard(const std::string &levels) {
  for (const uint32_t address : {0x200F0000U, 0x200F0004U, 0x200F0028U, 0x200F00B4U}) {
    uint8_t other = 0x77;
    EXPECT_EQ(1, DvrPhysicalMemoryAccess(address, &other, 1, 1));
  }
  for (const uint32_t line : {0, 4, 5}) {
    EXPECT_EQ(0, GpioWrite(1, line, 0));
    vboard::Act("gpio set 1 " + std::to_string(line) + " " + levels[line]);
  }
}

void PrintStraps() {
  int32_t out1 = 7;
  int32_t out2 = 7;
  const int32_t result = DvrReadBoardStraps(&out1, &out2);
  printf("%d %d %d", result, out1, out2);
}

// Asks again after the line has changed.
void PrintAlarmBoard() {
  const int32_t first = DvrDetectAlarmBoard();
  vboard::Act(first == 1 ? "gpio set 1 5 0" : "gpio set 1 5 1");
  printf("%d %d", first, DvrDetectAlarmBoard());
}

TEST_F(ProductTest, StrapsAndAlarmBoard) {
  const std::string failed = "LIBDVR : GpioRead failed\n";
  const std::string second = "b4=2 0,input b4=1 04=2 4,input ";
  struct {
    void (*print)();
    uint32_t oem;
    const char *levels;  // of lines 0 to 5
    int failing;         // the GPIO request that fails, counted from 1
    std::string printed, accesses;
  } const rows[] = {{PrintStraps, 8, "111111", 0, "0 7 7", ""},
                    {PrintStraps, 0x106, "111111", 0, "0 7 7", ""},
                    {PrintStraps, 6, "011111", 0, "0 0 7", "b4=2 0,input 00=1 04=1 "},
                    {PrintStraps, 6, "100001", 0, "0 1 0", second + "00=2 "},
                    {PrintStraps, 6, "100010", 0, "0 1 1", second + "00=2 "},
                    {PrintStraps, 6, "111111", 2, failed + "-1 7 7", "b4=2 0,input "},
                    {PrintStraps, 6, "111111", 4, failed + "-1 1 7", second},
                    {PrintAlarmBoard, 6, "111111", 0, "-1 -1", ""},
                    {PrintAlarmBoard, 0x108, "111111", 0, "-1 -1", ""},
                    {PrintAlarmBoard, 8, "111110", 0, "0 0", "28=2 5,input 00=2 04=2 "},
                    {PrintAlarmBoard, 8, "000001", 0, "1 1", "28=2 5,input 00=1 04=1 "},
                    // A level that could not be read is asked for again.
                    {PrintAlarmBoard, 8, "111110", 2, failed + "-1 1", "28=2 5,input 00=1 04=1 "}};
  for (const auto &row : rows) {
    SCOPED_TRACE(testing::Message() << row.oem << " " << row.levels << " " << row.failing);
    PrepareBoard(row.levels);
    Events();
    if (row.failing > 0) {
      vboard::Act("fault once ioctl /dev/hi_gpio " + std::to_string(row.failing) + " EIO");
    }
    EXPECT_EQ(row.printed, OnBoard(0, row.oem, row.print));
    EXPECT_EQ(row.accesses, Accesses(Events()));
  }
}

}  // namespace
