#include "common/settings/paths.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <filesystem>
#include <map>
#include <string>

#include "tests/support/file_tree.h"
#include "tests/support/probe.h"

using Environment = std::map<std::string, std::string>;

static const Environment kUser = {{"PROBE_LOGIN", "u"}, {"PROBE_HOME", "/Users/u"}};

static const char* const kMain = "A.app/Contents/MacOS/A";
static const char* const kExtension = "A.app/Contents/PlugIns/E.appex/Contents/MacOS/FinderSync";

// What the settings functions answer in a program that lies at `path`.
static std::map<std::string, std::string> AnswersAt(const std::string& path, const Environment& environment = kUser) {
  return RunProbe(PlaceProbe(SETTINGS_PROBE, path), environment);
}

TEST(GetResourcePath, LeadsFromTheMainExecutableToTheBundlesResources) {
  const FileTree folder;
  const std::string resources = folder.MakeFolder("A.app/Contents/Resources");
  EXPECT_EQ(AnswersAt(folder.PathOf(kMain)).at("GetResourcePath"), resources + "/");
}

TEST(GetResourcePath, LeadsFromTheExtensionToTheBundlesResources) {
  const FileTree folder;
  const std::string resources = folder.MakeFolder("A.app/Contents/Resources");
  folder.MakeFolder("A.app/Contents/PlugIns/E.appex/Contents/Resources");
  EXPECT_EQ(AnswersAt(folder.PathOf(kExtension)).at("GetResourcePath"), resources + "/");
}

TEST(GetResourcePath, StaysUnresolvedWhenTheFolderDoesNotExist) {
  const FileTree folder;
  EXPECT_EQ(AnswersAt(folder.PathOf(kMain)).at("GetResourcePath"), folder.PathOf("A.app/Contents/MacOS/../Resources/"));
  EXPECT_EQ(AnswersAt(folder.PathOf(kExtension)).at("GetResourcePath"),
            folder.PathOf("A.app/Contents/PlugIns/E.appex/Contents/MacOS/../../../../Resources/"));
}

TEST(GetResourcePath, StartsAtTheExecutablesFolderWhateverThatIsCalled) {
  const FileTree folder;
  const std::string resources = folder.MakeFolder("Resources");
  EXPECT_EQ(AnswersAt(folder.PathOf("bin/tool")).at("GetResourcePath"), resources + "/");
}

TEST(GetResourcePath, ResolvesSymbolicLinks) {
  const FileTree folder;
  const std::string resources = folder.MakeFolder("A.app/Contents/Resources");
  (void)PlaceProbe(SETTINGS_PROBE, folder.PathOf(kMain));
  std::filesystem::create_directory_symlink("A.app", folder.PathOf("Link.app"));
  EXPECT_EQ(RunProbe(folder.PathOf("Link.app/Contents/MacOS/A"), kUser).at("GetResourcePath"), resources + "/");

  const std::string elsewhere = folder.MakeFolder("elsewhere");
  folder.MakeFolder("B.app/Contents");
  std::filesystem::create_directory_symlink("../../elsewhere", folder.PathOf("B.app/Contents/Resources"));
  EXPECT_EQ(AnswersAt(folder.PathOf("B.app/Contents/MacOS/B")).at("GetResourcePath"), elsewhere + "/");
}

TEST(GetResourcePath, EndsWithOneSlashEvenAtTheRootFolder) {
  const FileTree folder;
  folder.MakeFolder("A.app/Contents");
  std::filesystem::create_directory_symlink("/", folder.PathOf("A.app/Contents/Resources"));
  EXPECT_EQ(AnswersAt(folder.PathOf(kMain)).at("GetResourcePath"), "/");
}

TEST(GetResourcePath, IsEmptyWhenTheExecutablesPathHas1024BytesOrMore) {
  const FileTree folder;
  for (const size_t bytes : {size_t{1024}, size_t{1025}, size_t{1500}}) {
    if (bytes >= PATH_MAX) continue;  // No such program can be started.
    EXPECT_EQ(AnswersAt(PathOfLength(folder.path(), bytes, "/A")).at("GetResourcePath"), "") << bytes;
  }
  EXPECT_NE(AnswersAt(PathOfLength(folder.path(), 900, "/A")).at("GetResourcePath"), "");
}

TEST(IsFinderSync, GoesByTheEndOfTheExecutablesPath) {
  const struct {
    const char* executable;
    const char* expected;
  } rows[] = {
      {kExtension, "true"},          {kMain, "false"},         {"FinderSync", "true"},
      {"bin/MyFinderSync", "true"},  {"findersync", "false"},  {"FINDERSYNC", "false"},
      {"FinderSync2", "false"},      {"Finder Sync", "false"}, {"Sync", "false"},
      {"FinderSync.app/A", "false"},
  };
  for (const auto& row : rows) {
    const FileTree folder;
    EXPECT_EQ(AnswersAt(folder.PathOf(row.executable)).at("IsFinderSync"), row.expected) << row.executable;
  }
}

TEST(IsFinderSync, IsFalseWhenTheExecutablesPathHas1024BytesOrMore) {
  const FileTree folder;
  const struct {
    size_t bytes;
    const char* expected;
  } rows[] = {{1022, "true"}, {1023, "true"}, {1024, "false"}, {1025, "false"}};
  for (const auto& row : rows) {
    if (row.bytes >= PATH_MAX) continue;  // No such program can be started.
    EXPECT_EQ(AnswersAt(PathOfLength(folder.path(), row.bytes, "FinderSync")).at("IsFinderSync"), row.expected)
        << row.bytes;
  }
}

TEST(GetHomePath, GoesByTheRealUserNotTheEffectiveOne) {
  if (geteuid() != 0) GTEST_SKIP() << "only the superuser can have another real user";
  constexpr uid_t kNobody = 65534;
  constexpr int kCannotBecomeNobody = 2;
  const passwd* const nobody = getpwuid(kNobody);
  if (nobody == nullptr) GTEST_SKIP() << "the user database has no second user";
  const std::string expected = nobody->pw_dir;
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    if (setreuid(kNobody, 0) != 0) _exit(kCannotBecomeNobody);
    _exit(GetHomePath() == expected ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status)) << status;
  if (WEXITSTATUS(status) == kCannotBecomeNobody) GTEST_SKIP() << "there is no other user here";
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST(GetHomePath, AsksTheUserDatabaseBeforeTheEnvironment) {
  const FileTree folder;
  const std::string probe = PlaceProbe(SETTINGS_PROBE, folder.PathOf(kMain));
  const struct {
    const char* what;
    Environment environment;
    const char* expected;
  } rows[] = {
      {"both", {{"PROBE_LOGIN", "u"}, {"PROBE_HOME", "/Users/u"}, {"HOME", "/other"}}, "/Users/u"},
      {"entry alone", {{"PROBE_LOGIN", "u"}, {"PROBE_HOME", "/Users/u"}}, "/Users/u"},
      {"environment alone", {{"HOME", "/other"}}, "/other"},
      {"neither", {}, ""},
      {"entry with an empty folder", {{"PROBE_LOGIN", "u"}, {"PROBE_HOME", ""}, {"HOME", "/other"}}, ""},
      {"as it stands", {{"PROBE_LOGIN", "u"}, {"PROBE_HOME", "/Users/../u//"}}, "/Users/../u//"},
  };
  for (const auto& row : rows) EXPECT_EQ(RunProbe(probe, row.environment).at("GetHomePath"), row.expected) << row.what;
}

TEST(GetAppDataPath, LeadsOutOfTheSandboxContainerInTheExtensionOnly) {
  const FileTree folder;
  const std::string main = PlaceProbe(SETTINGS_PROBE, folder.PathOf(kMain));
  const std::string extension = PlaceProbe(SETTINGS_PROBE, folder.PathOf(kExtension));
  const struct {
    const char* home;
    bool is_container;
  } rows[] = {
      {"/Users/u/Library/Containers/com.pellux.app.FinderSync/Data", true},
      {"/Users/u/FinderSync/com.pellux", true},  // Each word is looked for from the start.
      {"com.pelluxFinderSync", true},
      {"/Users/u", false},
      {"/Users/u/Library/Containers/com.pellux.app/Data", false},
      {"/Users/u/Library/Containers/com.other.app.FinderSync/Data", false},
      {"/Users/u/Library/Containers/com.Pellux.app.FinderSync/Data", false},
      {"/Users/u/Library/Containers/com.pellux.app.findersync/Data", false},
      {"", false},
  };
  for (const auto& row : rows) {
    const Environment user = {{"PROBE_LOGIN", "u"}, {"PROBE_HOME", row.home}};
    const std::string plain = std::string(row.home) + "/Library/Application Support";
    const std::string led_out = std::string(row.home) + "/../../../../Library/Application Support";
    EXPECT_EQ(RunProbe(main, user).at("GetAppDataPath"), plain) << "home: " << row.home;
    EXPECT_EQ(RunProbe(extension, user).at("GetAppDataPath"), row.is_container ? led_out : plain)
        << "home: " << row.home;
  }
}

TEST(GetAppDataPath, StartsAtTheHomeOfTheEnvironmentWithoutAnEntry) {
  const FileTree folder;
  const std::string probe = PlaceProbe(SETTINGS_PROBE, folder.PathOf(kMain));
  EXPECT_EQ(RunProbe(probe, {{"HOME", "/other"}}).at("GetAppDataPath"), "/other/Library/Application Support");
  EXPECT_EQ(RunProbe(probe, {}).at("GetAppDataPath"), "/Library/Application Support");
}

TEST(GetAppDataPath, DoesNotUseItsArgument) {
  EXPECT_EQ(GetAppDataPath("S"), GetAppDataPath(""));
  EXPECT_EQ(GetAppDataPath("S"), GetAppDataPath("com.pellux FinderSync"));
}

TEST(GetOSXMountPath, JoinsTheVolumeAndTheLoginName) {
  const FileTree folder;
  const std::string probe = PlaceProbe(SETTINGS_PROBE, folder.PathOf(kMain));
  auto answers = RunProbe(probe, kUser);
  EXPECT_EQ(answers.at("GetOSXMountPath of Drive"), "/Volumes/Drive_u");
  EXPECT_EQ(answers.at("GetOSXMountPath of nothing"), "/Volumes/_u");
  answers = RunProbe(probe, {{"HOME", "/Users/u"}});
  EXPECT_EQ(answers.at("GetOSXMountPath of Drive"), "/Volumes/Drive_");
}
