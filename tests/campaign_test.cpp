// What the rules of the campaign say about histories that no board has, and how a trial is told.
#include <gtest/gtest.h>

#include "campaign/play.h"
#include "campaign/report.h"
#include "campaign/rules.h"
#include "campaign/tasks.h"

namespace {

using campaign::History;

constexpr char kStart[] = "start: /opt/app/Quillon: /opt/app/Quillon";
constexpr char kIdle[] = "sleep: 100 s";

vboard::Line Event(const std::string &text) {
  vboard::Line line;
  line.event = true;
  line.process = 1;
  line.text = text;
  return line;
}

vboard::Line Console(const std::string &text) {
  vboard::Line line;
  line.text = text;
  return line;
}

// A board that starts its application, and does so again.
History Usual() {
  History history;
  history.lines = {Event("power: on, boot 1"), Console("Utils : sentrel"), Event(kStart)};
  history.after = {Event("power: on, boot 2"), Event(kStart)};
  history.variables = {true, {"xapp=1"}, true};
  return history;
}

campaign::Survey Undisturbed() {
  campaign::Survey survey;
  survey.history = Usual();
  survey.names = {"boot", "kernel"};
  survey.variables = survey.history.variables;
  return survey;
}

// Changes a usual history of this trial, and says which rules it breaks then.
std::string BrokenBy(const std::string &trial, const std::function<void(History &)> &change) {
  History history = Usual();
  history.steps = campaign::ReadTrial(trial).steps;
  change(history);
  std::string names;
  for (const campaign::Broken &one :
       campaign::Judge(campaign::ReadTrial(trial), Undisturbed(), history)) {
    names += one.rule + " ";
  }
  return names;
}

TEST(CampaignTest, EachRuleCanBreak) {
  constexpr char kFault[] = "direct/read:/dev/mtd0#1=EIO";
  const struct {
    const char *trial, *broken;
    std::function<void(History &)> change;
  } rows[] = {
      {kFault, "", [](History &) {}},
      {kFault, "alive ", [](History &h) { h.lines.push_back(Event("killed: Aborted")); }},
      {kFault, "alive ", [](History &h) { h.after.push_back(Event("exit: status 3")); }},
      {kFault, "alive ", [](History &h) { h.lines.push_back(Console("x: runtime error: y")); }},
      {kFault, "progress ", [](History &h) { h.lines.erase(h.lines.begin() + 2); }},
      {kFault, "progress ", [](History &h) { h.spins = true; }},
      {kFault, "progress ", [](History &h) { h.looks = 1e6; }},
      // A failure that nothing tells of, one that is told, and one that is no failure.
      {kFault, "told ",
       [](History &h) {
         h.lines[2] = Event(kIdle);
         h.lines.push_back(Event("fault: read /dev/mtd0: Input/output error"));
       }},
      {kFault, "",
       [](History &h) {
         h.lines[2] = Event(kIdle);
         h.lines.push_back(Event("fault: read /dev/mtd0: Input/output error"));
         h.lines.push_back(Console("Read failed"));
       }},
      {"direct/read:/dev/mtd0#1=CUT", "",
       [](History &h) { h.lines.push_back(Event("fault: read /dev/mtd0: the power goes")); }},
      {"direct/ioctl:/dev/watchdog#1=EIO", "",
       [](History &h) {
         h.lines.push_back(Event("fault: ioctl /dev/watchdog: Input/output error"));
         h.lines.push_back(Event("new"));
       }},
      {kFault, "flash ",
       [](History &h) {
         h.changed = {0, 1};
       }},
      {kFault, "flash ", [](History &h) { h.variables.list = {"xapp=7"}; }},
      {kFault, "flash ", [](History &h) { h.variables.nextSaveWorks = false; }},
      {kFault, "",
       [](History &h) {
         h.lines.push_back(Console("LIBDVR : Will save drawn = 1"));
         h.variables.list = {"xapp=1", "drawn=1"};
       }},
      {"direct/run boardctl env set xapp 7", "", [](History &h) { h.variables.list = {"xapp=7"}; }},
      {kFault, "recovers ", [](History &h) { h.after[1] = Event(kIdle); }},
      {kFault, "",
       [](History &h) {
         h.after[1] = Event(kIdle);
         h.variables.list.clear();
       }},
      // Without its folder the configuration has been repaired, or something is wrong.
      {kFault, "recovers ",
       [](History &h) {
         h.after[1] = Event("exit: status 255");
         h.after.push_back(Console("Write failed"));
       }},
      {kFault, "",
       [](History &h) {
         h.lines.push_back(Console("ConfigMtd_p->StartAddress = 80640000"));
         h.after[1] = Event("exit: status 255");
         h.after.push_back(Console("Write failed"));
       }},
      {kFault, "clean ", [](History &h) { h.lines.push_back(Event("inherited: 7")); }},
      {kFault, "clean ", [](History &h) { h.zombies = 1; }},
      {kFault, "clean ", [](History &h) { h.open = {"/opt/sav/Config/ppp/pap-secrets"}; }},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(&row - rows);
    EXPECT_EQ(row.broken, BrokenBy(row.trial, row.change));
  }
}

TEST(CampaignTest, TrialsAreReadAsTheyAreTold) {
  for (const char *text : {"supervised/read:/dev/mtd1#3=EIO+", "direct/open@1:/dev/hi_i2c#1=EACCES",
                           "repair/cut#4=torn:77", "direct/2.5s key press 7 ; 3s power cut",
                           "direct/1s run boardctl env list", "direct/random:4711",
                           "direct/malloc:#2=ENOMEM", "settings/write:/dev/mtd0#1=CUT"}) {
    EXPECT_EQ(text, campaign::TextOf(campaign::ReadTrial(text)));
  }
  for (const char *text :
       {"", "direct", "nowhere/cut#1=before", "direct/reed:/x#1=EIO", "direct/read:/x#1=EWHAT",
        "direct/fopen:/x#1=HALF", "direct/cut#1=sometime", "direct/99999s power cut",
        "direct/run nothing", "direct/key", "direct/random:x"}) {
    EXPECT_THROW(campaign::ReadTrial(text), std::invalid_argument) << text;
  }
}

TEST(CampaignTest, ShardsAreDisjoint) {
  EXPECT_EQ(2U, campaign::ReadShard("2/3").index);
  for (const char *text : {"3/3", "0/0", "1", "1/2x", "-1/2", "a/b"}) {
    EXPECT_THROW(campaign::ReadShard(text), std::invalid_argument) << text;
  }
}

TEST(CampaignTest, TheFewestStepsThatBreakARule) {
  const campaign::Trial trial =
      campaign::ReadTrial("direct/key press 1 ; 1s key press 2 ; 2s key press 3 ; 3s key press 4");
  unsigned tried = 0;
  const auto needsTwo = [&](const campaign::Trial &shorter) {
    ++tried;
    const std::string text = campaign::TextOf(shorter);
    return text.find("press 2") != std::string::npos && text.find("press 4") != std::string::npos;
  };
  EXPECT_EQ("direct/1s key press 2 ; 3s key press 4",
            campaign::TextOf(campaign::Shorten(trial, needsTwo, [] { return true; })));
  EXPECT_LE(tried, 8U);
  EXPECT_EQ(campaign::TextOf(trial),
            campaign::TextOf(campaign::Shorten(trial, needsTwo, [] { return false; })));
}

TEST(CampaignTest, ReportsNameEveryFailureWithItsReplay) {
  const std::vector<campaign::Result> results = {
      {"calls", "direct/read:/a|b#1=EIO", 1, {}, ""},
      {"random", "idle/random:3", 2.5, {{"told", "<nothing>"}}, "idle/key press 1"}};
  const std::string text = campaign::MarkdownReport(results);
  for (const char *part :
       {"2 trials, 1 with a broken rule, 3.5 s", "| direct | 1 | - |",
        "| idle | - | 1 (1 broken) |", "| 2.500 | idle/random:3 |", "direct/read:/a\\|b#1=EIO",
        "told: \\<nothing>", "    campaign replay 'idle/random:3'",
        "    campaign replay 'idle/key press 1'"}) {
    EXPECT_NE(std::string::npos, text.find(part)) << part << "\n" << text;
  }
  const std::string page = campaign::HtmlReport(results);
  for (const char *part : {"<td class=\"bad\">1 (1 broken)", "told: &lt;nothing>", "</html>"}) {
    EXPECT_NE(std::string::npos, page.find(part)) << part << "\n" << page;
  }
}

}  // namespace
