// GPIO lines and physical registers.
#include "libsys/gpio.h"

#include <errno.h>
#include <signal.h>
#include <string.h>

#include "tests/support/board_test.h"

namespace {

using test::Descriptors;
using test::Printed;
using testing::ElementsAre;

constexpr const char *kGpio = "/dev/hi_gpio";
constexpr const char *kMemory = "/dev/mem";
constexpr unsigned kNever = 1'000'000;

class GpioTest : public test::BoardTest {
 protected:
  void SetUp() override {
    UseBoard("summary = \"lines and registers\"\n");
    Keep({kGpio, kMemory, kMemory});
  }
};

// How often a device has been opened since the first call, by a planned fault that never comes.
unsigned Openings(const char *device) {
  for (const vboard::Fault &fault : vboard::State().faults) {
    if (strcmp(fault.path, device) == 0 && fault.nth > 1000) return kNever - fault.nth;
  }
  vboard::PlanFault("open", device, EIO, kNever, true);
  return 0;
}

TEST_F(GpioTest, LevelsAndDirections) {
  uint8_t levels[] = {9, 9};
  for (const uint32_t value : {1, 1, 0}) EXPECT_EQ(0, GpioWrite(7, 3, value));
  vboard::Act("gpio set 7 3 1");
  EXPECT_EQ(0, GpioRead(7, 3, levels));
  EXPECT_EQ(1, levels[0]);
  EXPECT_EQ(0, GpioRead(0, 7, levels));
  EXPECT_EQ(0, levels[0]);
  EXPECT_EQ(9, levels[1]);
  EXPECT_THAT(Events(), ElementsAre("gpio: 7,3 output", "gpio: 7,3 = 1", "gpio: 7,3 = 0",
                                    "gpio: 7,3 driven high from outside", "gpio: 7,3 input"));
}

TEST_F(GpioTest, TheDeviceIsOpenedBeforeTheGroupIsLookedAt) {
  uint8_t level = 9;
  const auto write = [] { EXPECT_EQ(-1, GpioWrite(8, 0, 1)); };
  const auto read = [&] { EXPECT_EQ(-1, GpioRead(0xffffffff, 0, &level)); };
  vboard::PlanFault("open", kGpio, EACCES, 1, false);
  EXPECT_EQ("LIBDVR : FILE -> System/gpio.c, LINE -> 47: Open /dev/hi_gpio\n failed\n",
            Printed(write));
  vboard::PlanFault("open", kGpio, EACCES, 1, false);
  EXPECT_EQ("LIBDVR : FILE -> System/gpio.c, LINE -> 103: Open /dev/hi_gpio\n failed\n",
            Printed(read));
  EXPECT_EQ(0U, Openings(kGpio));
  EXPECT_EQ("LIBDVR : Portindex is out of range !\n", Printed(write));
  EXPECT_EQ("LIBDVR : Portindex is out of range !\n", Printed(read));
  EXPECT_EQ(9, level);
  EXPECT_EQ(1U, Openings(kGpio));
  EXPECT_EQ(1U, Descriptors(kGpio));
}

TEST_F(GpioTest, AFailedRequestClosesTheDeviceAndTheNextCallOpensIt) {
  uint8_t level = 9;
  const std::function<int32_t()> calls[] = {[] { return GpioWrite(2, 4, 1); },
                                            [&] { return GpioRead(2, 4, &level); }};
  unsigned openings = Openings(kGpio) + 1;
  for (const auto &call : calls) {
    for (const unsigned request : {1, 2}) {
      vboard::PlanFault("ioctl", kGpio, EIO, request, false);
      level = 9;
      EXPECT_EQ("", Printed([&] { EXPECT_EQ(-1, call()); }));
      EXPECT_EQ(9, level);
      EXPECT_EQ(0U, Descriptors(kGpio));
      EXPECT_EQ(0, call());
      EXPECT_EQ(1U, Descriptors(kGpio));
      EXPECT_EQ(++openings, Openings(kGpio));
    }
  }
  EXPECT_EQ(-1, GpioWrite(2, 8, 1));  // no such line: the driver refuses
  EXPECT_EQ(0U, Descriptors(kGpio));
}

TEST_F(GpioTest, OfTwoOpeningsAtOnceOneStays) {
  signal(SIGUSR1, [](int) { EXPECT_EQ(0, GpioWrite(1, 1, 1)); });
  vboard::PlanFault("open", kGpio, -SIGUSR1, 1, false);
  EXPECT_EQ(0, GpioWrite(2, 2, 1));
  EXPECT_EQ(1U, Descriptors(kGpio));
}

TEST_F(GpioTest, MemoryAccessStaysInItsPage) {
  uint8_t bytes[4096] = {};
  struct {
    uint32_t address, length;
    bool allowed;
  } const rows[] = {
      {0x200F0FFF, 1, true},    {0x200F0FFF, 2, false},    {0x200F0FFF, 0xffffffff, false},
      {0x200F0000, 4096, true}, {0x200F0000, 4097, false}, {0x200F0001, 0xffffffff, false},
      {0x200F0001, 4095, true}, {0x200F0001, 4096, false}, {0xFFFFFFFF, 2, false},
      {0xFFFFFFFF, 1, true},    {0x200F0FFF, 0, true}};
  const char *const refusal = "LIBDVR : Buffer == NULL or length is to long, must <= 0x1000\n";
  unsigned opened = Openings(kMemory);
  for (const auto &row : rows) {
    for (const int32_t write : {0, 1}) {
      SCOPED_TRACE(testing::Message() << std::hex << row.address << " " << row.length);
      EXPECT_EQ(row.allowed ? "" : refusal, Printed([&] {
                  EXPECT_EQ(row.allowed ? 1 : 0,
                            DvrPhysicalMemoryAccess(row.address, bytes, row.length, write));
                }));
      opened += row.allowed ? 1 : 0;
      EXPECT_EQ(opened, Openings(kMemory));
      EXPECT_EQ(0U, Descriptors(kMemory));
    }
  }
  EXPECT_EQ(refusal,
            Printed([] { EXPECT_EQ(0, DvrPhysicalMemoryAccess(0x200F0000, nullptr, 0, 0)); }));
}

TEST_F(GpioTest, MemoryReadsAndWrites) {
  UseBoard("summary = \"s\"\n[memory]\nregisters = [[0x200F0FFE, 0xA5], [0xFFFFFFFF, 0x5A]]\n");
  uint8_t bytes[] = {0x12, 0x34, 0x56, 0x78};
  struct {
    uint32_t address, index, length;
    int32_t write;
    const char *after;
  } const rows[] = {
      {0x200F0FFE, 1, 2, 0, "\x12\xa5\x00\x78"},  {0xFFFFFFFF, 0, 1, 0, "\x5a\xa5\x00\x78"},
      {0x200F0004, 0, 2, -1, "\x5a\xa5\x00\x78"}, {0x2005005C, 3, 1, 1, "\x5a\xa5\x00\x78"},
      {0x200A0018, 1, 1, 1, "\x5a\xa5\x00\x78"},  {0x2005005C, 0, 1, 0, "\x78\xa5\x00\x78"}};
  for (const auto &row : rows) {
    EXPECT_EQ(1, DvrPhysicalMemoryAccess(row.address, bytes + row.index, row.length, row.write));
    EXPECT_EQ(0, memcmp(row.after, bytes, sizeof bytes)) << std::hex << row.address;
  }
  vboard::Act("gpio set 0 0 0");  // an event, at which mapped pages are looked at
  EXPECT_THAT(Events(), testing::UnorderedElementsAre(
                            "register: 0x200f0004 = 0x5a", "register: 0x200f0005 = 0xa5",
                            "register: 0x2005005c = 0x78", "register: 0x200a0018 = 0xa5",
                            "gpio: 0,0 driven low from outside"));
}

TEST_F(GpioTest, TwoRegistersStayMapped) {
  struct {
    uint32_t address;
    unsigned openings;
    size_t descriptors;
  } const rows[] = {{0x200A0018, 1, 1}, {0x200F0000, 2, 1}, {0x200F0000, 3, 1},
                    {0x200A0018, 3, 1}, {0x2005005C, 4, 2}, {0x2005005C, 4, 2},
                    {0x200A0019, 5, 2}, {0x2005005D, 6, 2}, {0x200A0018, 6, 2}};
  EXPECT_EQ(0U, Openings(kMemory));
  for (const auto &[address, openings, descriptors] : rows) {
    uint8_t byte = 1;
    EXPECT_EQ(1, DvrPhysicalMemoryAccess(address, &byte, 1, 1));
    EXPECT_EQ(openings, Openings(kMemory)) << std::hex << address;
    EXPECT_EQ(descriptors, Descriptors(kMemory)) << std::hex << address;
  }
}

TEST_F(GpioTest, MemoryThatDoesNotOpenOrMap) {
  struct {
    uint32_t address;
    const char *call, *printed;
  } const rows[] = {{0x200A0018, "open", "LIBDVR : Open /dev/mem Failed, MapAddressPiont_p = 0\n"},
                    {0x200F0123, "open", "LIBDVR : Open /dev/mem Failed, MapAddressPiont_p = 0\n"},
                    {0x200A0018, "mmap", "LIBDVR : Map 0x200a0000 Failed\n"},
                    {0x2005005C, "mmap", "LIBDVR : Map 0x20050000 Failed\n"},
                    {0xFFFFF123, "mmap", "LIBDVR : Map 0xfffff000 Failed\n"}};
  uint8_t byte = 9;
  for (const auto &row : rows) {
    vboard::PlanFault(row.call, kMemory, EPERM, 1, false);
    EXPECT_EQ(row.printed,
              Printed([&] { EXPECT_EQ(0, DvrPhysicalMemoryAccess(row.address, &byte, 1, 0)); }));
    EXPECT_EQ(9, byte);
    EXPECT_EQ(0U, Descriptors(kMemory));
  }
  // Afterwards nothing is left of the failures.
  for (const uint32_t address : {0x200A0018U, 0x2005005CU}) {
    EXPECT_EQ(1, DvrPhysicalMemoryAccess(address, &byte, 1, 0));
  }
  EXPECT_EQ(0, byte);
  EXPECT_EQ(2U, Descriptors(kMemory));
}

}  // namespace
