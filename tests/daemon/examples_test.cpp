// Runs the launch lists of the examples folder as they stand.

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <set>
#include <string>

#include "tests/support/bundle.h"
#include "tests/support/files.h"
#include "tests/support/launcher_process.h"
#include "tests/support/recording.h"
#include "tests/support/wait_until.h"

// Runs one example in a bundle of its own, with a temporary folder of its own.
class RunningExample {
 public:
  explicit RunningExample(const std::string& name)
      : bundle(Bundle::Logger::kRecording), launcher(bundle, {"example", EXAMPLES "/" + name}, OwnTemporaryFolder()) {}

  size_t Starts(const std::string& item) const {
    return LoggedWith(bundle.recording(), "[LAUNCHER  ] Start to fork " + item).size();
  }

  // Ends of the item's program with this wait status.
  size_t Ends(const std::string& item, int status) const {
    const std::string status_text = "status = " + std::to_string(status);
    size_t count = 0;
    for (const RecordedCall& call : LoggedWith(bundle.recording(), "[LAUNCHER  ] " + item + " ")) {
      const std::string& line = call.text;
      if (line.find(" is killed. ") == std::string::npos || line.size() < status_text.size()) continue;
      if (line.compare(line.size() - status_text.size(), std::string::npos, status_text) == 0) ++count;
    }
    return count;
  }

  size_t EndsWithAnyStatus(const std::string& item) const {
    return LoggedWith(bundle.recording(), "[LAUNCHER  ] " + item + " ").size();
  }

  std::string Temporary(const std::string& name) const { return ReadFile(bundle.PathOf(name)); }

  Bundle bundle;
  LauncherProcess launcher;

 private:
  LauncherProcess::Options OwnTemporaryFolder() const {
    LauncherProcess::Options options;
    options.environment["TMPDIR"] = bundle.PathOf("");
    return options;
  }
};

TEST(Examples, AreAllRunByATestHere) {
  std::set<std::string> lists;
  for (const auto& entry : std::filesystem::directory_iterator(EXAMPLES)) {
    if (entry.path().extension() == ".json") lists.insert(entry.path().filename().string());
  }
  EXPECT_EQ(lists, (std::set<std::string>{"arguments.json", "failed-start.json", "launch-list.json",
                                          "launch-list.schema.json", "output.json"}));
}

TEST(Examples, OfALaunchListStartsASteadyAOnceAndACrashingProgram) {
  const RunningExample example("launch-list.json");
  EXPECT_TRUE(
      WaitUntil([&] { return example.Ends("crashing", SIGSEGV) + example.Ends("crashing", SIGSEGV | 0x80) > 1; }));
  EXPECT_TRUE(WaitUntil([&] { return example.Ends("once", 0) == 1; }));
  EXPECT_TRUE(WaitUntil([&] { return example.Starts("crashing") >= 4; }));  // At 6 seconds.
  EXPECT_EQ(example.Starts("once"), 1U);
  EXPECT_EQ(example.Starts("steady"), 1U);
  EXPECT_EQ(example.EndsWithAnyStatus("steady"), 0U);
}

TEST(Examples, OfArgumentsPassesThemAsTheItemsSay) {
  const RunningExample example("arguments.json");
  EXPECT_TRUE(WaitUntil([&] { return example.Ends("a text with blanks is one argument", 0) == 1; }));
  EXPECT_TRUE(WaitUntil([&] { return example.Ends("an empty text is an argument, too", 0) == 1; }));
}

TEST(Examples, OfOutputWritesToAFile) {
  const RunningExample example("output.json");
  EXPECT_TRUE(WaitUntil([&] { return example.Ends("with standard streams", 0) == 1; }));
  EXPECT_NE(example.Temporary("pellux-example.log").find(':'), std::string::npos);  // A time of day.
  EXPECT_TRUE(WaitUntil([&] { return example.EndsWithAnyStatus("without standard streams") == 1; }));
  EXPECT_EQ(example.Ends("without standard streams", 0), 0U);
}

TEST(Examples, OfAFailedStartGrowsAChainWithoutEnds) {
  const RunningExample example("failed-start.json");
  EXPECT_TRUE(WaitUntil([&] { return example.Ends("exits with status 3", 3 << 8) >= 2; }));
  EXPECT_TRUE(WaitUntil([&] { return example.Starts("no such program") >= 3; }));
  EXPECT_EQ(example.EndsWithAnyStatus("no such program"), 0U);
}
