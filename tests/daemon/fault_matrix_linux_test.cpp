// The rows of docs/reliability.md that take what only Linux offers.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>

#include "tests/support/bundle.h"
#include "tests/support/files.h"
#include "tests/support/items.h"
#include "tests/support/launcher_process.h"
#include "tests/support/recording.h"
#include "tests/support/wait_until.h"

TEST(Debugger, AttachedAndDetachedChangesNothing) {
  const Bundle bundle(Bundle::Logger::kRecording);
  LauncherProcess launcher(bundle, bundle.WriteList(ListWithEndMark({SleepingItem("a")})));
  launcher.WaitUntilItWaits();
  for (int times = 0; times < 5; ++times) {
    if (ptrace(PTRACE_ATTACH, launcher.pid(), nullptr, nullptr) != 0) GTEST_SKIP() << "no process may be traced here";
    int status = 0;
    ASSERT_EQ(waitpid(launcher.pid(), &status, 0), launcher.pid());
    ASSERT_TRUE(WIFSTOPPED(status));
    ASSERT_EQ(ptrace(PTRACE_DETACH, launcher.pid(), nullptr, nullptr), 0);
  }
  launcher.WaitUntilItWaits();
  EXPECT_TRUE(launcher.IsRunning());
  EXPECT_EQ(CountLogged(bundle, "is killed"), 0U);
  EXPECT_EQ(launcher.Stop(), 1);
}

TEST(ProgramOpenForWriting, IsAFailedStartThatIsTriedAgain) {
  const Bundle bundle(Bundle::Logger::kRecording);
  const std::string program = bundle.PathOf("program");
  std::filesystem::copy_file("/bin/false", program);
  const int writer = open(program.c_str(), O_WRONLY | O_CLOEXEC);
  ASSERT_GE(writer, 0);
  LauncherProcess launcher(bundle, bundle.WriteList(ListOf({Item("busy", program)})));
  // The second start is that of the second supervisor.
  EXPECT_TRUE(WaitUntil([&] { return CountLogged(bundle, "Start to fork busy") >= 2; }));
  EXPECT_EQ(CountLogged(bundle, "is killed"), 0U);
  (void)close(writer);
  EXPECT_TRUE(WaitUntil([&] { return CountLogged(bundle, "status = 256") >= 1; }));
}

TEST(Descriptors, ThatAreUsedUpCostRecordsAndNothingElse) {
  const Bundle bundle;
  const std::string flag = bundle.PathOf("flag");
  LauncherProcess launcher(bundle, bundle.WriteList(ListOf({ShellItem("often", "echo run >> " + flag)})));
  ASSERT_TRUE(WaitUntil([&] { return !ReadLines(bundle.log_file()).empty(); }));
  rlimit before = {};
  ASSERT_EQ(prlimit(launcher.pid(), RLIMIT_NOFILE, nullptr, &before), 0);
  const rlimit none = {0, before.rlim_max};
  ASSERT_EQ(prlimit(launcher.pid(), RLIMIT_NOFILE, &none, nullptr), 0);
  std::filesystem::remove_all(bundle.log_folder());  // A record would need a new descriptor now.
  std::this_thread::sleep_for(std::chrono::milliseconds(1500));
  EXPECT_TRUE(launcher.IsRunning());
  ASSERT_EQ(prlimit(launcher.pid(), RLIMIT_NOFILE, &before, nullptr), 0);
  EXPECT_TRUE(WaitUntil([&] { return ReadLines(flag).size() >= 2; }));
  EXPECT_TRUE(WaitUntil([&] { return !ReadLines(bundle.log_file()).empty(); }));
  EXPECT_EQ(launcher.Stop(), 1);
}

TEST(FullDisk, CostsRecordsWhichAreCountedAndNothingElse) {
  const Bundle bundle;
  bundle.SetLogLevel("DEBUG");
  const std::string flag = bundle.PathOf("flag");
  std::filesystem::create_directories(bundle.log_folder());
  const std::string ballast = bundle.log_folder() + "/ballast";
  LauncherProcess::Options options;
  const std::string folder = bundle.log_folder();
  options.before_exec = [&] {
    // Seen by the launcher alone, and by its programs.
    if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("tmpfs", folder.c_str(), "tmpfs", 0, "size=256k") != 0) {
      _exit(77);
    }
  };
  // Fills the disk in its first run, and frees it in its third.
  const std::string script = "echo run >> " + flag + "; n=$(wc -l < " + flag + "); [ $n -ne 1 ] || cat /dev/zero > " +
                             ballast + " 2>/dev/null; [ $n -ne 3 ] || rm " + ballast + "; cp " + folder +
                             "/qz3log/launcher.log " + bundle.PathOf("copy") + "; exit 0";
  const std::string list = bundle.WriteList(ListOf({ShellItem("filler " + std::string(3000, 'x'), script)}));
  LauncherProcess launcher(bundle, {"agent", list}, options);
  EXPECT_TRUE(WaitUntil([&] { return !launcher.IsRunning() || ReadLines(flag).size() >= 4; }));
  if (!launcher.IsRunning() && launcher.ExitStatus() == 77) GTEST_SKIP() << "no file system may be mounted here";
  EXPECT_TRUE(launcher.IsRunning());
  EXPECT_TRUE(WaitUntil([&] { return ReadFile(bundle.PathOf("copy")).find("[LOGGER    ]") != std::string::npos; }));
}
