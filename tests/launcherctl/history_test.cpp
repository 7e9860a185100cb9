#include "launcherctl/history.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

#include "launcherctl/clock_text.h"
#include "launcherctl/history_picture.h"
#include "launcherctl/history_text.h"

static constexpr int64_t kStartMs = 1795212000000;  // 2026-11-20T23:00:00+01:00
static constexpr int32_t kLauncher = 4711;

// A log that a launcher might have written. Times are seconds after `kStartMs`.
class HistoryLog : public testing::Test {
 protected:
  HistoryLog() {
    (void)setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
    tzset();
  }
  ~HistoryLog() override {
    (void)unsetenv("TZ");
    tzset();
  }

  void Line(double seconds, const char* level, int32_t process, int32_t thread, const std::string& message) {
    char columns[128];
    (void)snprintf(columns, sizeof(columns), "%s %-8s launcher %8d %8d ", Rfc3339(At(seconds)).c_str(), level, process,
                   thread);
    text += columns + ("[LAUNCHER  ] " + message) + "\n";
  }
  void Start(double seconds, const std::string& name, int32_t thread, int32_t process = kLauncher) {
    Line(seconds, "DEBUG", process, thread, "Start to fork " + name);
  }
  void End(double seconds, const std::string& name, int32_t thread, int32_t child, int32_t status,
           int32_t process = kLauncher) {
    const std::string id = std::to_string(child);
    Line(seconds, "ERROR", process, thread,
         name + " " + id + " is killed. ret = " + id + ", status = " + std::to_string(status));
  }
  static int64_t At(double seconds) { return kStartMs + static_cast<int64_t>(seconds * 1000); }

  // Something before, so that the log reaches back to the launcher's start.
  void Earlier() { Line(-100, "ERROR", 99, 99, "Error while parsing saved json string."); }

  History Made(double now_seconds) {
    log = is_cut ? ParseLog({"", "", "", "", text}) : ParseLog({text});
    HistoryFacts facts;
    facts.log = &log;
    facts.names = names;
    facts.launchers = launchers;
    facts.launchers_are_known = launchers_are_known;
    facts.now_ms = At(now_seconds);
    return MakeHistory(facts);
  }

  // Runs as text: "0 logged 5 768 1; ..." are start, how it is known, end, status and pause.
  static std::string Runs(const HistoryItem& item) {
    std::string runs;
    const auto seconds = [](const std::optional<int64_t>& time_ms) {
      return time_ms ? std::to_string((*time_ms - kStartMs) / 1000) : "-";
    };
    for (const HistoryRun& run : item.runs) {
      runs += seconds(run.start_ms) + " " + StartIsName(run.start_is) + " " + seconds(run.end_ms) + " " +
              (run.status ? std::to_string(*run.status) : "-") + " " +
              (run.pause_seconds ? std::to_string(*run.pause_seconds) : "-") + "; ";
    }
    return runs;
  }

  std::string text;
  bool is_cut = false;  // Older records may have been in a file that is gone.
  Log log;
  std::vector<HistoryName> names;
  std::vector<HistoryPresence> launchers;
  bool launchers_are_known = true;
};

TEST_F(HistoryLog, TellsRunsAndPausesFromLoggedStarts) {
  Earlier();
  Start(0, "a", 4712);
  End(5, "a", 4712, 5000, 768);
  Start(6, "a", 4712);
  End(9, "a", 4712, 5001, 139);
  Start(11, "a", 4712);
  launchers = {{kLauncher, kStartMs, {{"a", 5002, At(11)}}}};
  const History history = Made(20);
  ASSERT_EQ(history.items.size(), 1U);
  EXPECT_EQ(Runs(history.items[0]), "0 logged 5 768 1; 6 logged 9 139 2; 11 logged - - -; ");
  EXPECT_EQ(EndsInWords(history.items[0]), "1 x exit status 3, 1 x signal 11 (SIGSEGV), core dumped");
  EXPECT_EQ(EndsInWords(history.items[0], true), "1 x SIGSEGV, 1 x exit 3");
}

TEST_F(HistoryLog, ComputesStartsWhereEndsAloneAreLogged) {
  Earlier();
  End(5, "a", 4712, 5000, 768);
  End(9, "a", 4712, 5001, 768);
  End(14, "a", 4712, 5002, 768);
  launchers = {{kLauncher, kStartMs, {{"a", 5003, At(17)}}}};
  EXPECT_EQ(Runs(Made(20).items[0]),
            "- unknown 5 768 1; 6 computed 9 768 2; 11 computed 14 768 3; 17 computed - - -; ");
}

TEST_F(HistoryLog, DoesNotCountRunsWhoseBeginningsAreMissing) {
  is_cut = true;
  End(5, "a", 4712, 5000, 768);
  End(12, "a", 4712, 5001, 768);
  EXPECT_EQ(Runs(Made(20).items[0]), "- unknown 5 768 -; - unknown 12 768 -; ");
}

TEST_F(HistoryLog, TellsThePauseFromTheStartAfterItWhateverIsMissing) {
  is_cut = true;
  End(5, "a", 4712, 5000, 768);
  Start(12, "a", 4712);
  End(13, "a", 4712, 5001, 768);
  EXPECT_EQ(Runs(Made(20).items[0]), "- unknown 5 768 7; 12 logged 13 768 8; ");
}

TEST_F(HistoryLog, KnowsAStoppedLauncherAndItsLastKills) {
  Earlier();
  Start(0, "a", 4712);
  Start(0.1, "b", 4713);
  End(5, "a", 4712, 5000, 9);
  End(6, "b", 4713, 5001, 9);
  const History history = Made(20);
  ASSERT_EQ(history.launchers.size(), 2U);
  EXPECT_STREQ(HowName(history.launchers[0].how), "failed");
  EXPECT_STREQ(HowName(history.launchers[1].how), "stopped");
  EXPECT_EQ(history.launchers[1].start_ms, kStartMs);
  EXPECT_EQ(history.launchers[1].end_ms, At(6));
  EXPECT_EQ(Runs(history.items[0]), "0 logged 5 9 -; ");
  EXPECT_EQ(EndsInWords(history.items[0]), "1 x stopped");
  EXPECT_FALSE(IsBadEnd(history.items[0].runs[0]));
}

TEST_F(HistoryLog, KnowsALauncherThatIsGoneWithoutAStop) {
  Earlier();
  Start(0, "a", 4712);
  const History history = Made(20);
  EXPECT_STREQ(HowName(history.launchers[1].how), "ended");
  EXPECT_FALSE(history.launchers[1].end_ms.has_value());
  EXPECT_EQ(Runs(history.items[0]), "0 logged - - -; ");
  EXPECT_TRUE(history.items[0].runs[0].no_later_than.has_value());
}

TEST_F(HistoryLog, DoesNotSayOfALogFromElsewhereWhetherItsLauncherIsGone) {
  Earlier();
  Start(0, "a", 4712);
  launchers_are_known = false;
  const History history = Made(20);
  EXPECT_STREQ(HowName(history.launchers[1].how), "unknown");
  EXPECT_FALSE(history.items[0].runs[0].no_later_than.has_value());
}

TEST_F(HistoryLog, TellsFailedStartsFromTheSecondSupervisorsAfterThem) {
  Earlier();
  Start(0, "a", 4712);
  Start(1, "a", 5000, 5000);  // Each pauses as often as all before it have, plus once.
  Start(3, "a", 5001, 5001);
  Start(6, "a", 5002, 5002);
  End(16, "a", 5002, 5003, 1792, 5002);
  const History history = Made(18);
  ASSERT_EQ(history.items[0].failed_starts.size(), 3U);
  EXPECT_EQ(history.items[0].failed_starts[2].time_ms, At(3));
  EXPECT_EQ(history.items[0].failed_starts[2].until_ms, At(6));
  EXPECT_EQ(Runs(history.items[0]), "6 logged 16 1792 4; ");
  EXPECT_EQ(EndsInWords(history.items[0]), "3 x failed start, 1 x exit status 7");
  EXPECT_EQ(history.launchers.size(), 2U) << "second supervisors are no launchers";
}

TEST_F(HistoryLog, TakesTheEndOfASecondSupervisorForNoRun) {
  Earlier();
  Start(0, "a", 4712);
  Start(1, "a", 5000, 5000);
  End(5, "a", 5000, 5001, 256, 5000);
  End(9, "a", 4712, 5000, 0);
  EXPECT_EQ(Runs(Made(18).items[0]), "1 logged 5 256 2; ");
}

TEST_F(HistoryLog, TellsAMissingProgramFromRuns) {
  Earlier();
  Start(0, "a", 4712);
  Line(0.01, "ERROR", 5000, 5000, "program path of a is empty");
  End(0.02, "a", 4712, 5000, 0);
  Start(1.02, "a", 4712);
  Line(1.03, "ERROR", 5001, 5001, "program path of a is empty");
  End(1.04, "a", 4712, 5001, 0);
  const History history = Made(3);
  EXPECT_EQ(Runs(history.items[0]), "");
  EXPECT_EQ(EndsInWords(history.items[0]), "2 x no program");
}

TEST_F(HistoryLog, LeavesTheRecordsOfAnEarlierProcessOfTheSameNumberToIt) {
  Earlier();
  End(-50, "a", 4712, 4000, 768);
  Start(0, "a", 4712);
  launchers = {{kLauncher, kStartMs, {{"a", 5000, At(0)}}}};
  const History history = Made(10);
  ASSERT_EQ(history.launchers.size(), 3U);
  EXPECT_STREQ(HowName(history.launchers[1].how), "ended");
  EXPECT_STREQ(HowName(history.launchers[2].how), "running");
}

TEST_F(HistoryLog, UsesTheListsNamesAndOrder) {
  Earlier();
  Start(0, "b\\nc", 4712);
  Start(0.1, "z", 4713);
  names = {{"quiet", false}, {"b\nc", false}};
  const History history = Made(3);
  ASSERT_EQ(history.items.size(), 3U);
  EXPECT_EQ(history.items[0].name, "quiet");
  EXPECT_EQ(history.items[1].name, "b\nc");
  EXPECT_EQ(history.items[1].runs.size(), 1U);
  EXPECT_EQ(history.items[2].name, "z");
}

TEST_F(HistoryLog, ShowsARunningProgramOfWhichTheLogSaysNothing) {
  launchers = {{kLauncher, kStartMs, {{"a", 5000, At(0.01)}}}};
  names = {{"a", false}};
  EXPECT_EQ(Runs(Made(10).items[0]), "0 computed - - -; ");
}

TEST_F(HistoryLog, StepsOverTornLinesAndForeignOnes) {
  Earlier();
  text += "2026-11-20T23:00:00.000+01:00 DEB\n\xff\xfe\nhello\n";
  Start(0, "a", 4712);
  End(5, "a", 4712, 5000, 0);
  EXPECT_EQ(Runs(Made(10).items[0]), "0 logged 5 0 1; ");
}

TEST_F(HistoryLog, KeepsWhatIsNotOverBeforeTheGivenTime) {
  Earlier();
  Start(0, "a", 4712);
  End(5, "a", 4712, 5000, 0);
  Start(6, "a", 4712);
  End(15, "a", 4712, 5001, 0);
  History history = Made(20);
  KeepSince(history, At(10));
  EXPECT_EQ(Runs(history.items[0]), "6 logged 15 0 2; ");
  EXPECT_EQ(history.from_ms, At(10));
  bool at_most = true;
  EXPECT_DOUBLE_EQ(ShareUp(history.items[0], history.from_ms, history.until_ms, at_most), 0.5);
  EXPECT_FALSE(at_most);
}

TEST_F(HistoryLog, SaysAtMostWhereAStartIsUnknown) {
  Earlier();
  End(5, "a", 4712, 5000, 768);
  bool at_most = false;
  const History history = Made(10);
  (void)ShareUp(history.items[0], history.from_ms, history.until_ms, at_most);
  EXPECT_TRUE(at_most);
}

// --- Pictures

static size_t Count(const std::string& text, const std::string& part) {
  size_t count = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

TEST_F(HistoryLog, DrawsTenThousandRunsInABoundedSize) {
  Earlier();
  for (int run = 0; run < 10000; ++run) {
    Start(run * 10, "a", 4712);
    End(run * 10 + 3, "a", 4712, 5000, 768);
  }
  const std::string picture = HistorySvg(Made(100001), {"t"});
  EXPECT_LT(picture.size(), 200000U);
  EXPECT_NE(picture.find("short runs between"), std::string::npos) << "it says what was joined";
}

TEST_F(HistoryLog, DrawsARowForTheQuietOfManyItems) {
  Earlier();
  for (int item = 0; item < 300; ++item) names.push_back({"item" + std::to_string(item), false});
  Start(0, "item7", 4712);
  End(5, "item7", 4712, 5000, 768);
  const std::string picture = HistorySvg(Made(10), {"t"});
  EXPECT_NE(picture.find("299 more items: none of their ends is in the log"), std::string::npos);
  EXPECT_NE(picture.find(">item7<"), std::string::npos);
}

TEST_F(HistoryLog, EscapesNamesInPicturesAndPages) {
  Earlier();
  names = {{"<script>alert('1')</script>&\"\x1b[2J\xe2\x80\xae\xff", false}};
  for (const std::string& picture : {HistorySvg(Made(10), {"<t>"}), HistoryHtml(Made(10), {"<t>"})}) {
    EXPECT_EQ(picture.find("<script"), std::string::npos);
    EXPECT_EQ(picture.find("<t>"), std::string::npos);
    EXPECT_EQ(picture.find('\x1b'), std::string::npos);
    EXPECT_EQ(picture.find("\xe2\x80\xae"), std::string::npos);
    EXPECT_EQ(picture.find('\xff'), std::string::npos);
  }
}

TEST_F(HistoryLog, MarksTheHourThatComesTwice) {
  // Clocks go back from 03:00 to 02:00 on 25 October 2026, at 01:00 UTC.
  constexpr double kBefore = -2329200;  // 01:00 there.
  Start(kBefore, "a", 4712);
  const std::string picture = HistorySvg(Made(kBefore + 5 * 3600), {"t"});
  EXPECT_EQ(Count(picture, ">02:00<"), 2U);
  EXPECT_EQ(Count(picture, ">03:00<"), 1U);
  EXPECT_NE(picture.find("UTC+0200, then UTC+0100"), std::string::npos);
}

TEST_F(HistoryLog, HatchesWhatIsNotInTheLog) {
  Earlier();
  End(50, "a", 4712, 5000, 768);
  const std::string picture = HistorySvg(Made(100), {"t"});
  EXPECT_NE(picture.find("class=\"maybe\" x="), std::string::npos);
  EXPECT_NE(picture.find("its start is not in the log"), std::string::npos);
}

TEST_F(HistoryLog, DrawsNothingFromOutside) {
  Earlier();
  Start(0, "a", 4712);
  const std::string picture = HistorySvg(Made(100), {"t"});
  EXPECT_EQ(Count(picture, "http"), 1U) << "the namespace's name alone";
  for (const char* part : {"<script", "<image", "href", "@import", "url(http"}) {
    EXPECT_EQ(picture.find(part), std::string::npos) << part;
  }
}

// --- Text

TEST_F(HistoryLog, FitsItsTimelineIntoTheTerminal) {
  Earlier();
  Start(0, "a", 4712);
  End(50, "a", 4712, 5000, 768);
  Output out;
  out.width = 72;
  const std::string timeline = HistoryTimeline(Made(100), out, false);
  const std::string row = timeline.substr(timeline.find("\na") + 1);
  EXPECT_LE(row.find('\n'), 72U);
  EXPECT_NE(row.find('#'), std::string::npos);
  EXPECT_NE(row.find('x'), std::string::npos);
}

TEST_F(HistoryLog, TellsEachRunOfAnItemInWords) {
  Earlier();
  End(5, "a", 4712, 5000, 768);
  End(9, "a", 4712, 5001, 11);
  launchers = {{kLauncher, kStartMs, {{"a", 5002, At(11)}}}};
  const History history = Made(20);
  EXPECT_EQ(RunsOf(history.items.at(0), history, false),
            "\na:\n"
            "  not logged to 23:00:05  process 5000  exit status 3  then a pause of 1 s\n"
            "  23:00:06* to 23:00:09  (3 s)  process 5001  signal 11 (SIGSEGV)  then a pause of 2 s\n"
            "  23:00:11  to now  process 5002\n"
            "  * computed: the end before it, plus the pause\n");
}

TEST_F(HistoryLog, TellsTheLastTwentyRunsUnlessAllAreAskedFor) {
  Earlier();
  for (int run = 0; run < 25; ++run) {
    Start(run * 100, "a", 4712);
    End(run * 100 + 5, "a", 4712, 5000 + run, 768);
  }
  const History history = Made(3000);
  const std::string last = RunsOf(history.items.at(0), history, false);
  EXPECT_NE(last.find("  5 earlier runs; --all shows them\n"), std::string::npos) << last;
  EXPECT_EQ(Count(last, "exit status 3"), 20U);
  EXPECT_EQ(last.find("process 5004 "), std::string::npos);
  EXPECT_EQ(Count(RunsOf(history.items.at(0), history, true), "exit status 3"), 25U);
}

TEST_F(HistoryLog, TellsWhyStartsFailedAfterTheRuns) {
  Earlier();
  Start(0, "forkless", 4712);
  Line(0.1, "ERROR", kLauncher, 4712, "Failed to fork forkless");
  Start(0, "none", 4713);
  Line(0.01, "ERROR", 5000, 5000, "program path of none is empty");
  End(0.02, "none", 4713, 5000, 0);
  const History history = Made(20);
  EXPECT_EQ(RunsOf(history.items.at(0), history, false),
            "\nforkless:\n  no run is in the log\n"
            "  1 failed start, the last at 23:00:00: there could be no further process, the item was given up\n");
  EXPECT_EQ(RunsOf(history.items.at(1), history, false),
            "\nnone:\n  no run is in the log\n  1 failed start, the last at 23:00:00: no program in the list\n");
}

TEST_F(HistoryLog, TellsHowEachLauncherEnded) {
  Earlier();
  Start(0, "a", 4712);
  End(5, "a", 4712, 5000, 9);
  Start(10, "a", 4812, 4811);
  const std::string table = HistoryTable(Made(20), Output(), false);
  EXPECT_NE(table.find("launcher 99 failed on its list at 22:58:20\n"), std::string::npos) << table;
  EXPECT_NE(table.find("launcher 4711 was stopped at 23:00:05, started 23:00:00\n"), std::string::npos) << table;
  EXPECT_NE(table.find("launcher 4811 ended without a stop; its last line is from 23:00:10, started 23:00:10\n"),
            std::string::npos)
      << table;
}
