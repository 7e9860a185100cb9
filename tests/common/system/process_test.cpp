#include "common/system/process.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <stdexcept>

#include "tests/support/descriptors.h"
#include "tests/support/file_tree.h"

// Forbids this process to open anything while the object exists.
class NoNewDescriptors {
 public:
  NoNewDescriptors() {
    if (getrlimit(RLIMIT_NOFILE, &before) != 0) throw std::runtime_error("getrlimit() failed");
    rlimit none = before;
    none.rlim_cur = 0;
    if (setrlimit(RLIMIT_NOFILE, &none) != 0) throw std::runtime_error("setrlimit() failed");
  }
  ~NoNewDescriptors() { (void)setrlimit(RLIMIT_NOFILE, &before); }
  NoNewDescriptors(const NoNewDescriptors&) = delete;
  NoNewDescriptors& operator=(const NoNewDescriptors&) = delete;

 private:
  rlimit before;
};

TEST(Pexec, ReturnsTheCommandsOutput) {
  const struct {
    const char* command;
    const char* expected;
  } rows[] = {
      {"echo hi", "hi\n"},
      {"printf hi", "hi"},
      {"true", ""},
      {"", ""},
      {"echo a; echo b", "a\nb\n"},
      {"printf '\\n\\n a \\n'", "\n\n a \n"},
      {"echo out; exit 3", "out\n"},
      {"exit 3", ""},
      {"X=y; echo \"$X\" | tr y z", "z\n"},
      {"echo 100%s", "100%s\n"},
  };
  for (const auto& row : rows) EXPECT_EQ(pexec(row.command), row.expected) << "command: " << row.command;
}

TEST(Pexec, ReturnsLongOutputWhole) {
  for (const size_t bytes : {size_t{126}, size_t{127}, size_t{128}, size_t{254}, size_t{255}, size_t{100000}}) {
    const std::string command = "head -c " + std::to_string(bytes) + " /dev/zero | tr '\\0' x";
    EXPECT_EQ(pexec(command), std::string(bytes, 'x')) << bytes;
    EXPECT_EQ(pexec(command + "; echo; " + command), std::string(bytes, 'x') + "\n" + std::string(bytes, 'x')) << bytes;
  }
}

TEST(Pexec, LosesWhatFollowsANulInAPiece) {
  EXPECT_EQ(pexec("printf 'a\\0b\\nc\\n\\0d'"), "ac\n");
  // The first piece ends at 127 bytes.
  EXPECT_EQ(pexec("printf 'a\\0%0125dbc' 0"), "abc");
}

TEST(Pexec, ReadsOnAfterAReadThatASignalInterrupted) {
  struct sigaction interrupting = {};
  interrupting.sa_handler = [](int) {};
  struct sigaction before = {};
  ASSERT_EQ(sigaction(SIGUSR1, &interrupting, &before), 0);
  // Several, because one may come before the read has begun.
  EXPECT_EQ(pexec("for i in 1 2 3 4 5; do sleep 0.02; kill -USR1 $PPID; done; echo hi"), "hi\n");
  (void)sigaction(SIGUSR1, &before, nullptr);
}

TEST(Pexec, LeavesTheCommandsErrorsToTheCallersStandardError) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(pexec("echo error >&2; echo out"), "out\n");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "error\n");
}

TEST(Pexec, GivesNothingForACommandThatCannotBeFound) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(pexec("/no/such/command"), "");
  EXPECT_NE(testing::internal::GetCapturedStderr(), "");
}

TEST(Pexec, WaitsForTheCommandToEnd) {
  const FileTree folder;
  // The output ends at once, the command a moment later.
  EXPECT_EQ(pexec("exec >&-; sleep 0.1; touch '" + folder.PathOf("done") + "'"), "");
  EXPECT_TRUE(std::filesystem::exists(folder.PathOf("done")));
}

TEST(Pexec, LeavesNoDescriptorAndNoProcessBehind) {
  const int before = LowestFreeDescriptor();
  (void)pexec("echo hi");
  EXPECT_EQ(LowestFreeDescriptor(), before);
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

TEST(Pexec, ThrowsWhenNoPipeCanBeOpened) {
  std::string message;
  try {
    const NoNewDescriptors none;
    (void)pexec("echo hi");
  } catch (const std::runtime_error& error) {
    message = error.what();
  }
  EXPECT_EQ(message, "popen() failed!");
}

TEST(IsRunningPID, KnowsThisProcess) {
  EXPECT_TRUE(IsRunningPID(getpid()));
  EXPECT_TRUE(IsRunningPID(getpid() + 0x100000000LL));  // Only the low 32 bits count.
}

TEST(IsRunningPID, KnowsAChildUntilItIsWaitedFor) {
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) _exit(0);
  siginfo_t info;
  ASSERT_EQ(waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT), 0);
  EXPECT_TRUE(IsRunningPID(child));
  ASSERT_EQ(waitpid(child, nullptr, 0), child);
  EXPECT_FALSE(IsRunningPID(child));
}

TEST(IsRunningPID, DeliversNothing) {
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    (void)pause();
    _exit(0);
  }
  EXPECT_TRUE(IsRunningPID(child));
  EXPECT_EQ(waitpid(child, nullptr, WNOHANG), 0);  // Still there.
  (void)kill(child, SIGKILL);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(WTERMSIG(status), SIGKILL);
}

// Signals that are ignored by default show only to a handler.
TEST(IsRunningPID, SendsNoSignalOfAnyNumber) {
  static volatile sig_atomic_t received = 0;
  received = 0;
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    for (int number = 1; number < NSIG; ++number) (void)signal(number, [](int got) { received = got; });
    _exit(IsRunningPID(getpid()) ? static_cast<int>(received) : 255);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status)) << status;
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

// The superuser may signal everybody, so it becomes somebody else first; for others, process 1 is another user's.
TEST(IsRunningPID, IsFalseForAProcessOfAnotherUser) {
  constexpr uid_t kNobody = 65534;
  constexpr int kCannotBecomeNobody = 2;
  const pid_t parent = getpid();
  const bool is_superuser = geteuid() == 0;
  struct stat first_process = {};
  if (!is_superuser && stat("/proc/1", &first_process) == 0 && first_process.st_uid == getuid()) {
    GTEST_SKIP() << "process 1 belongs to this user, and no other process is known";
  }
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    if (is_superuser && setuid(kNobody) != 0) _exit(kCannotBecomeNobody);
    _exit(IsRunningPID(is_superuser ? parent : 1) ? 1 : 0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status)) << status;
  if (WEXITSTATUS(status) == kCannotBecomeNobody) GTEST_SKIP() << "there is no other user here";
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST(DisableQuickEditMode, LeavesErrnoAlone) {
  errno = EXDEV;
  DisableQuickEditMode();
  EXPECT_EQ(errno, EXDEV);
}
