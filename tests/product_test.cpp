// Product types and what follows from them: board types, counts, names, board details.
#include <map>

#include "libsys/gpio.h"
#include "tests/support/identity_test.h"

namespace {

using test::First;
using test::Printed;
using test::Second;
using test::Words;
using testing::EndsWith;

class ProductTest : public test::IdentityTest {};

const std::string kUnknownProduct = "LIBDVR : Unknow product type\n";
const std::string kNonProduct =
    "LIBDVR : FILE -> System/version.c, LINE -> 2619: Non this Prodtype !! Please check your "
    "Cyp!!\n";

// Product, sub-type: product types for 4, 8, 16, 24, 32 and 12 video channels; behind a slash the
// type with bit 40, where it is another.
constexpr const char *kSecondGeneration[] = {
    "0 0: 99 99 99 99 99 99",  "1 0: 2 3 4 -1 -1 -1",      "1 1: 30 31 32 -1 -1 -1",
    "1 5: 2 3 4 -1 -1 -1",     "2 0: 5/21 6 7/19 18 12 0", "2 1: 5/21 6 7/19 18 43 0",
    "2 5: 5/21 6 7/19 18 0 0", "3 0: -1 9 10 -1 -1 -1",    "3 1: -1 40 41 42 43 -1",
    "3 5: -1 9 10 -1 -1 -1",   "4 0: 14 13 14 14 14 14",   "4 1: 14 13 14 14 14 14",
    "5 0: 49 16/20 8 8 8 8",   "5 1: 49 16/20 8 8 8 8",    "6 0: 17 17 17 17 17 17",
    "6 1: 17 17 46 17 17 17",  "6 5: 17 17 17 17 17 17",   "7 1: 99 99 99 99 99 99",
    "8 0: 99 99 99 99 99 99",  "9 4: 15 15 15 15 15 15",   "10 0: 27 28 29 -1 -1 -1",
    "10 1: 27 28 29 -1 -1 -1", "11 0: 99 99 99 99 99 99",  "33 0: 99 99 99 99 99 99"};
constexpr unsigned kChannels[] = {4, 8, 16, 24, 32, 12};

struct Cell {
  unsigned product, subType, channels, bit40;
  std::string type;
};

std::vector<Cell> SecondGeneration() {
  std::vector<Cell> cells;
  for (const char *row : kSecondGeneration) {
    Cell cell;
    char colon;
    std::istringstream stream(row);
    stream >> cell.product >> cell.subType >> colon;
    for (const unsigned channels : kChannels) {
      std::string types;
      stream >> types;
      const size_t slash = types.find('/');  // npos + 1 is 0
      cells.push_back({cell.product, cell.subType, channels, 0, types.substr(0, slash)});
      cells.push_back({cell.product, cell.subType, channels, 1, types.substr(slash + 1)});
    }
  }
  return cells;
}

// By product type: board type of the second generation, playback channels, maximum encode number
// (-: none), DSP number, commands 27 and 28; all without an OEM code.
const std::map<std::string, std::string> kFacts = {
    {"-1", "-1 0 - 1 2 2"}, {"0", "-1 0 - 1 2 2"},   {"2", "2 4 4 1 0 0"},   {"3", "2 8 2 1 0 0"},
    {"4", "2 4 0 1 0 0"},   {"5", "2 4 4 1 0 0"},    {"6", "2 8 2 1 0 0"},   {"7", "0 16 2 1 0 0"},
    {"8", "0 4 - 2 0 0"},   {"9", "0 4 8 1 2 2"},    {"10", "0 4 2 1 2 2"},  {"12", "-1 0 - 1 2 2"},
    {"13", "0 8 - 2 2 2"},  {"14", "0 16 16 3 2 2"}, {"15", "0 16 - 2 2 2"}, {"16", "0 4 8 1 0 0"},
    {"17", "0 4 - 2 2 2"},  {"18", "-1 0 - 1 2 2"},  {"19", "0 16 2 1 0 0"}, {"20", "2 8 8 1 0 0"},
    {"21", "2 4 4 1 0 0"},  {"27", "2 4 4 1 2 2"},   {"28", "2 4 2 1 2 2"},  {"29", "2 4 0 1 2 2"},
    {"30", "2 4 4 1 2 2"},  {"31", "2 8 2 1 2 2"},   {"32", "2 4 0 1 2 2"},  {"40", "0 4 8 1 2 2"},
    {"41", "0 16 0 1 2 2"}, {"42", "0 8 0 1 2 2"},   {"43", "0 4 0 1 2 2"},  {"46", "0 4 16 1 2 2"},
    {"49", "0 4 4 1 2 2"},  {"99", "-1 0 - 1 2 2"}};

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
  for (const uint32_t command : {20, 27, 28, 16, 18, 25, 26, 1}) {
    facts += " " + std::to_string(DvrGetHwidInformation(command));
  }
  facts += " " + Count(DvrProductTypeIsNot4) + " " + Count(DvrProductTypeDiffersFrom4);
  printf("\n%s", facts.c_str());
}

TEST_F(ProductTest, SecondGeneration) {
  vboard::WriteFile(vboard::RootPath("/proc/bus/pci/devices"), "11910014");
  unsigned generation = 0;
  for (const auto &[product, subType, channels, bit40, type] : SecondGeneration()) {
    SCOPED_TRACE(testing::Message()
                 << product << " " << subType << " " << channels << " " << bit40);
    generation = generation % 3 + 1;
    std::ostringstream expected;
    expected << "\n" << type << " " << kFacts.at(type);
    expected << " " << (type == "5" || type == "6" ? 2 : subType) << (type == "8" ? " 4" : " 10");
    expected << (type == "15" ? " 16 " : " 0 ") << Words(kFacts.at(type))[1];
    expected << " " << std::min(channels, 16U) << (type == "4" ? " 0 0" : " 1 1");
    const uint64_t identifier = Second(product, channels, subType, bit40, generation);
    const std::string printed = OnBoard(identifier | uint64_t{26} << 41, 0, PrintFacts);
    EXPECT_THAT(printed, EndsWith(expected.str()));
    EXPECT_EQ(type == "-1" && product == 1, printed.starts_with(kNonProduct));
    EXPECT_EQ(type == "99", printed == kUnknownProduct + expected.str());
  }
}

// Product type/board type.
TEST_F(ProductTest, FirstGeneration) {
  const char *const rows =
      "0 4: 0=2/2 14=2/2 7=2/2; 0 4 9 0 1 1 1 7 31: 0=2/2;"
      "0 4 0 1: 0=5/2 3=2/2 4=2/2 8=2/2 9=2/2 b=2/2 2=5/2 5=5/2 6=5/2 7=5/2 a=5/2 e=5/2 14=5/2 "
      "23=5/2 103=5/2 108=5/2;"
      "0 4 0 2 0 0 1: 0=21/2 3=21/2 4=2/2 8=2/2 9=2/2 b=2/2 6=21/2 80000004=21/2;"
      "0 4 0 1 0 0 1: 3=2/2; 0 8 0 3 0 0 1: 3=6/2 4=3/2 8=3/2 9=3/2 b=3/2;"
      "0 8: 0=3/2 14=3/2; 0 8 2 0 1 0 1: 0=3/2; 0 8 0 31 0 0 1: 0=6/2;"
      "0 8 0 3: 0=6/2 3=6/2 4=3/2 8=3/2 9=3/2 b=3/2 2=6/2 5=6/2 6=6/2 7=6/2 a=6/2 e=6/2 14=6/2 "
      "104=6/2;"
      "0 16: 0=4/2 8=4/2; 0 16 2 1 1 1 1: 0=4/2; 2 0: 0=2/2 8=2/2; 2 16 2 1 1 1 1: 0=2/2;"
      "3 0: 0=3/2 8=3/2; 3 4 2 1 1 1 1: 0=3/2; 1 24: 0=18/0; 1 24 2 1 2 1 1: 0=18/0;"
      "1 16 2 0 1: 0=7/0 8=7/0; 1 16 2 1 1 1 1: 0=7/0; 1 16 2 0 0 1: 0=8/0; 1 16 2 1 0 0 1: 0=8/0;"
      "1 16 16: 0=17/0; 1 16 16 1 0 1 1: 0=17/0; 1 16 16 0 1: 0=10/0; 1 16 16 1 1 1 1: 0=10/0;"
      "1 16 2 0 2: 0=14/0; 1 16 16 1 7 0 1: 0=14/0; 1 16 0 0 2 1: 0=15/0; 1 16 16 1 3 7 1: 0=15/0;"
      "1 8 8 0 1: 0=9/0; 1 8 8 1 1 1 1: 0=9/0; 1 8 8: 0=13/0; 1 8 8 1 0 1 1: 0=13/0;"
      "1 8 2: 0=16/0 8=16/0; 1 8 2 1 1: 0=16/0; 1 8 2 0 2 1 1: 0=20/0;";
  const auto print = [] {
    const int32_t type = DvrGetProductType();
    printf("%d/%d", type, DvrGetBoardType());
  };
  ExpectOnBoards(rows, print);
  for (const char *unknown : {"0 0", "0 24 0 1", "1 16 8 0 0", "1 16 8 0 1", "1 8 8 0 2",
                              "1 8 16 0 1", "1 4 2 0 1", "1 0 8"}) {
    EXPECT_EQ(kUnknownProduct + (unknown[0] == '0' ? "99/2" : "99/0"),
              OnBoard(First(unknown), 8, print))
        << unknown;
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

// Counts of the product types by OEM code, - where they are left alone. On OEM-8 boards the alarm
// board is absent, present or cannot be asked.
constexpr const char *kOems[] = {"0", "3",  "4",   "6",        "9",         "b",      "e",
                                 "f", "14", "108", "8 absent", "8 present", "8 fails"};
constexpr struct {
  const char *types, *outputs, *inputs;
} kAlarmLines[] = {
    {"5 21 27 28 29", "1 1 1 1 1 1 1 1 1 1 1 1 1", "4 4 4 4 4 4 4 4 4 4 4 4 4"},
    {"6", "2 1 2 2 2 2 2 2 2 2 2 2 2", "8 4 8 8 8 8 8 8 8 8 8 8 8"},
    {"49", "2 2 2 2 2 2 2 2 2 2 2 2 2", "8 8 8 8 8 8 8 8 8 8 8 8 8"},
    {"2", "- 1 1 1 1 2 1 1 1 - 0 1 0", "- 1 4 1 4 4 4 4 4 - 0 4 -"},
    {"3", "- - 1 1 1 2 1 1 1 - 0 1 0", "- - 4 1 4 4 4 4 4 - 0 4 -"},
    {"4", "- - 2 1 - 2 1 1 1 - 1 1 0", "- - 8 1 4 4 4 4 4 - 4 4 -"},
    {"32", "- - 2 0 - 2 1 1 1 - 0 1 0", "- - 8 0 4 4 4 4 4 - 0 4 -"},
    {"-1 0 12 30 31 99", "- - 2 1 - 2 1 1 1 - 0 1 0", "- - 8 1 4 4 4 4 4 - 0 4 -"},
    {"16", "4 2 4 4 4 4 1 1 1 4 0 1 0", "16 8 16 16 16 16 16 16 16 16 16 16 16"},
    {"40 41 42 43", "4 4 4 4 4 4 4 4 1 4 0 1 0", "16 16 16 16 16 16 16 16 16 16 16 16 16"},
    {"7 8 9 10 13 14 15 17 18 19 20 46", "4 4 4 4 4 4 1 1 1 4 0 1 0",
     "16 16 16 16 16 16 16 16 16 16 16 16 16"}};
// 0 where product types 2 and 3 are the generic boards; others have 4 playback channels.
constexpr const char *kNotGeneric = "0 0 0 1 1 1 1 1 1 0 1 1 1";

TEST_F(ProductTest, CountsByOemCode) {
  std::map<std::string, uint64_t> identifiers;
  for (const Cell &cell : SecondGeneration()) {
    identifiers[cell.type] = Second(cell.product, cell.channels, cell.subType, cell.bit40);
  }
  size_t tested = 0;
  for (size_t column = 0; column < std::size(kOems); ++column) {
    const std::string oem = kOems[column];
    vboard::Act(oem == "8 present" ? "gpio set 1 5 1" : "gpio set 1 5 0");
    if (oem == "8 fails") vboard::Act("fault always ioctl /dev/hi_gpio 1 EIO");
    for (const auto &row : kAlarmLines) {
      for (const std::string &type : Words(row.types)) {
        SCOPED_TRACE("product type " + type + ", OEM " + oem);
        const std::string other = type == "2" || type == "3" ? Words(kNotGeneric)[column] : "1";
        const bool fewer = type == "3" && other == "1";
        const std::string expected = "\n" + Words(row.outputs)[column] + " " +
                                     Words(row.inputs)[column] + " " + other + " " +
                                     (fewer ? "4" : Words(kFacts.at(type))[1]);
        const auto print = [] {
          std::string counts;
          for (const auto &get : {DvrGetAlarmOutNumber, DvrGetAlarmInNumber,
                                  DvrIsNotGenericProduct2Or3, DvrGetPlaybackNumber}) {
            counts += (counts.empty() ? "\n" : " ") + Count(get);
          }
          printf("%s", counts.c_str());
        };
        EXPECT_THAT(OnBoard(identifiers.at(type),
                            static_cast<uint32_t>(std::stoul(oem, nullptr, 16)), print),
                    EndsWith(expected));
        ++tested;
      }
    }
  }
  EXPECT_EQ(identifiers.size() * std::size(kOems), tested);
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
  ExpectOnBoards(
      "0 4: 0=DVR_4D1 ff010007=DVR_4CIF 3000107=DVR_3CIF1D1; 1 4: 0=DVR_4D1 10000=DVR_4CIF;"
      "0 8: 7=DVR_8CIF; 1 8: 0=DVR_8D1; 2 8: 0=DVR_8CIF; 0 16: 10000=DVR_16CIF; 1 16: 0=DVR_16D1;"
      "3 16: 0=DVR_16CIF; 1 24: 7=DVR_4CIF; 0 0: 0=DVR_4CIF;",
      PrintDeviceType);
  EXPECT_EQ("DVR_8CIF", OnBoard(First("0 8") | uint64_t{1} << 48, 0, PrintDeviceType));
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
  for (const char *board : {"0 4 0 1", "0 4 0 1 0 0 1"}) {
    for (const uint64_t field42 : {0, 1, 4}) {
      const uint64_t identifier = First(board) | uint64_t{1} << 36 | field42 << 42;
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
