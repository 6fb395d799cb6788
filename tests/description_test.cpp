// Board descriptions: what is refused, and where it stands; how they complete each other.
#include "vboard/description.h"

#include <filesystem>

#include "tests/support/board_test.h"
#include "vboard/description_file.h"

namespace {

class DescriptionTest : public test::BoardTest {};

TEST_F(DescriptionTest, DescriptionsNameFileLineAndKey) {
  struct {
    const char *text;
    const char *error;
  } const rows[] = {
      {"start = []\n", ":1: 'summary' is missing"},
      {"summary = 7\n", ":1: 'summary' has to be a text"},
      {"summary = \"s\"\n\nsped = 1\n", ":3: unknown key 'sped'"},
      {"summary = \"s\"\n[scsi]\n[[scsi.disk]]\nname = \"a\"\nletter = \"a\"\nhost = -1\n",
       ":6: 'host' has to be from 0 to 2147483647"},
      {"summary = \"s\"\nscenario = [\"after noon\"]\n", ":2: 'scenario' has 'after noon': usage"},
      {"summary = \"s\"\n[flash]\nsector_size = 0x10000\n[[flash.partition]]\nname = \"a\"\n"
       "size = 0x10001\n",
       ":6: 'size' has to be whole sectors"},
      {"summary = \"s\"\n[flash]\nsize = 0x20000\n[[flash.partition]]\nname = \"a\"\n"
       "size = 0x20000\n[[flash.partition]]\nname = \"b\"\nsize = 0x20000\n",
       ":9: 'size' does not fit the flash"},
      {"summary = \"s\"\n[[flash.partition]]\nname = \"a\"\nsize = 0x20000\ncolour = 1\n",
       ":5: unknown key 'colour'"},
      {"summary = \"s\"\n[gpio]\ninputs = [[1, 2]]\n",
       ":3: 'inputs' has to be a list of rows of 3"},
      {"summary = \"s\"\n[gpio]\nnames = { \"1,8\" = \"LED\" }\n", ":3: 'names' has to hold lines"},
      {"summary = \"s\"\n[panel]\nscan = [[1, 2]]\n", ":3: 'scan' has to hold 5 rows"},
      {"base = \"board.toml\"\n", ":1: 'base' leads round in a circle"},
      {"base = \"nowhere.toml\"\n", "/board.toml:1: 'base' needs "},
      {"base = \".\"\n", ":1: 'base' needs "},
      {"summary = \"s\"\nstart = [\"/sbin/../../x\"]\n", ":2: 'start' has '/sbin/../../x'"},
      {"summary = \"s\"\n[programs]\n\"/var/Vantor\" = \"nix\"\n", ":3: 'programs' has "},
      {"summary = \"s\"\n[programs]\n\"/var/Vantor\" = \"../bin\"\n", ":3: 'programs' has "},
      {"summary = \"s\"\n[programs]\n\"/var/Vantor/../x\" = \"vboard\"\n", ":3: 'programs' has "},
      {"summary = \"s\"\n[programs]\n\"/opt/a\" = \"vboard\"\n\"/opt/a/b\" = \"vboard\"\n",
       ":4: 'programs' has '/opt/a/b': "},
      {"summary = \"s\"\n[files.root]\n\"/opt/../../../x\" = \"\"\n", ":3: 'root' has "},
      {"summary = \"s\"\n[files.root]\n\"/dev/ttyAMA0\" = \"\"\n", ":3: 'root' has "},
      {"summary = \"s\"\n[[flash.partition]]\nname = \"a\"\nsize = 0x20000\nfiles.\"../../../x\" = "
       "\"\"\n",
       ":5: 'files' has "},
      {"summary = \"s\"\n[[scsi.disk]]\nname = \"a\"\nletter = \"a\"\nhost = "
       "1\nfiles.\"b/../../../../x\""
       " = \"\"\n",
       ":6: 'files' has "},
      {"summary = \"s\"\n[[scsi.disk]]\nletter = \"a\"\nname = \"/../../../x\"\nhost = 1\n",
       ":4: 'name' has to be"},
      {"summary = \"s\"\n[[scsi.disk]]\nname = \"a\"\nletter = \"/\"\nhost = 1\n",
       ":4: 'letter' has to"},
      // Such a program's file, which is the PC's, is not written through the link.
      {"summary = \"s\"\nprepare = [\"stick plug a\"]\n[[scsi.disk]]\nname = \"a\"\nletter = "
       "\"a\"\n"
       "host = 1\nplugged = false\n[programs]\n\"/dev/sda\" = \"vboard\"\n",
       ":2: 'prepare' has 'stick plug a'"},
      {"summary = \"s\"\n# \u043a\nkey = '\u043a'\n\u043a = 1\n", ":4: outside of quotes"},
      {"summary = \"s\"\nkey = 1'\u043a'\n", ":2: outside of quotes"},
      {"summary = \"s\"\nkey = ['\u043a', { '\u043a' = 1 }]\n\u043a = 1\n",
       ":3: outside of quotes"},
      {"summary = \"\"\"s \u00e4\\\n \u00e4\"\"\"\n", ":2: outside of quotes and behind a"},
      {"summary = \"s\"\n[ = 1\n", ":2: "},
      {"summary = \"s\"\nprepare = [\"dance\"]\n", ":2: 'prepare' has 'dance': no device"},
      {"summary = \"s\n", ":1: "},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.text);
    try {
      UseBoard(row.text);
      ADD_FAILURE() << "accepted";
    } catch (const vboard::DescriptionError &error) {
      EXPECT_NE(std::string::npos, std::string(error.what()).find(row.error)) << error.what();
    }
  }
  EXPECT_THROW(vboard::ReadDescription("/nowhere.toml", {}), vboard::DescriptionError);
  for (const auto &entry : std::filesystem::directory_iterator(Folder())) {
    EXPECT_THAT(entry.path().filename(), testing::AnyOf("board.toml", "board"));
  }
}

// docs/boards.md holds what "vboard describe --keys" prints.
TEST_F(DescriptionTest, TheManualHasEveryKey) {
  const std::string page = vboard::ReadFile(SOURCE_FOLDER "/docs/boards.md");
  EXPECT_NE(std::string::npos, page.find("```\n" + vboard::Manual(vboard::BoardKeys()) + "```\n"))
      << "the page is not what vboard describe --keys prints";
}

TEST_F(DescriptionTest, DescriptionsCompleteEachOther) {
  vboard::WriteFile(
      Folder() + "/far/first.toml",
      "summary = \"first\"\nstart = [\"/sbin/x\"]\n[identity]\nproduct = \"1\"\noem = 1\n");
  vboard::WriteFile(Folder() + "/second.toml",
                    "base = \"far/first.toml\"\n[identity]\noem = 2\n\n[gpio]\nwrong = 1\n");
  vboard::Section both = vboard::ReadDescription(Folder() + "/second.toml", vboard::BoardKeys());
  EXPECT_EQ("first", both.Text("summary"));
  EXPECT_THAT(both.Texts("start"), testing::ElementsAre("/sbin/x"));
  EXPECT_EQ("1", both.Table("identity").Text("product"));
  EXPECT_EQ(2, both.Table("identity").Number("oem"));
  try {
    UseBoard("base = \"second.toml\"\n");
    ADD_FAILURE() << "accepted";
  } catch (const vboard::DescriptionError &error) {
    EXPECT_EQ(Folder() + "/second.toml:6: unknown key 'wrong'", error.what());
  }
}

}  // namespace
