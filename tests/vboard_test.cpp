#include "tests/support/board_test.h"

namespace {
class VboardTest : public test::BoardTest {};

TEST_F(VboardTest, Smoke) {
  UseBoard(test::SmallBoard(4, 0));
  EXPECT_EQ(0, system("reboot"));
  EXPECT_EQ(Events(), std::vector<std::string>{"command: reboot"});
}
}  // namespace
