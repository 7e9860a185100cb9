// What signals the launcher's threads and its forked children have blocked and handle, as Linux shows it in /proc.

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/bundle.h"
#include "tests/support/files.h"
#include "tests/support/items.h"
#include "tests/support/launcher_process.h"
#include "tests/support/recording.h"
#include "tests/support/wait_until.h"

static std::vector<pid_t> ThreadsOf(pid_t process) {
  std::vector<pid_t> threads;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task")) {
    threads.push_back(std::stoi(entry.path().filename().string()));
  }
  return threads;
}

// The mask of blocked signals in a status file of /proc.
static uint64_t BlockedIn(const std::string& status) {
  const std::string key = "SigBlk:\t";
  return std::stoull(status.substr(status.find(key) + key.size(), 16), nullptr, 16);
}

TEST(Sigterm, DirectedAtASupervisorsThreadDoesNotReachTheHandlerThere) {
  const Bundle bundle(Bundle::Logger::kRecording);
  LauncherProcess launcher(bundle, bundle.WriteList(ListWithEndMark({SleepingItem("s0"), SleepingItem("s1")})));
  launcher.WaitUntilItWaits();
  int directed = 0;
  for (const pid_t thread : ThreadsOf(launcher.pid())) {
    if (thread == launcher.pid()) continue;
    const std::string status =
        ReadFile("/proc/" + std::to_string(launcher.pid()) + "/task/" + std::to_string(thread) + "/status");
    // A sanitizer's own thread blocks everything.
    EXPECT_NE(BlockedIn(status) & (1ULL << (SIGTERM - 1)), 0U) << status;
    ASSERT_EQ(syscall(SYS_tgkill, launcher.pid(), thread, SIGTERM), 0);
    ++directed;
  }
  EXPECT_GE(directed, 2);
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  EXPECT_TRUE(launcher.IsRunning());
  EXPECT_TRUE(LoggedWith(bundle.recording(), "is killed").empty());
  EXPECT_EQ(launcher.Stop(), 1);
}

// The handler frees memory and joins threads, so it must not interrupt a thread that is in the middle of either.
TEST(Sigterm, IsBlockedOnTheMainThreadWhileItStartsAChildAndNotInItsWait) {
  const Bundle bundle(Bundle::Logger::kRecording);
  LauncherProcess::Options options;
  const std::string gate = bundle.PathOf("gate");
  options.environment["RECORDING_FORK_GATES"] = gate;
  LauncherProcess launcher(bundle, {"agent", bundle.WriteList(ListWithEndMark({SleepingItem("s0")}))}, options);
  ASSERT_TRUE(WaitUntil([&] { return LoggedWith(bundle.recording(), "Start to fork s0").size() == 1; }));
  const std::string status = "/proc/" + std::to_string(launcher.pid()) + "/status";  // The main thread's.
  constexpr uint64_t kTerm = 1ULL << (SIGTERM - 1);
  EXPECT_EQ(BlockedIn(ReadFile(status)) & kTerm, kTerm);
  WriteFile(gate + "1", "");
  launcher.WaitUntilItWaits();
  EXPECT_EQ(BlockedIn(ReadFile(status)) & kTerm, 0U);
}

// The mask of signals that have a handler.
static uint64_t CaughtIn(const std::string& status) {
  const std::string key = "SigCgt:\t";
  return std::stoull(status.substr(status.find(key) + key.size(), 16), nullptr, 16);
}

// The logging library has one for SIGXFSZ, so that a record beyond the file size limit is lost and not its writer.
TEST(SecondSupervisor, KeepsTheHandlersThatAreNotTheLaunchers) {
  const Bundle bundle;
  LauncherProcess launcher(bundle, bundle.WriteList(ListOf({Item("missing", "/nonexistent/program")})));
  const std::string process = "/proc/" + std::to_string(launcher.pid());
  std::string child;
  ASSERT_TRUE(WaitUntil([&] {
    for (const pid_t thread : ThreadsOf(launcher.pid())) {
      child += ReadFile(process + "/task/" + std::to_string(thread) + "/children");
    }
    return !child.empty();
  }));
  const std::string status = "/proc/" + std::to_string(std::stoi(child)) + "/status";
  constexpr uint64_t kTerm = 1ULL << (SIGTERM - 1);
  // Its first act may be still to come.
  EXPECT_TRUE(WaitUntil([&] { return (CaughtIn(ReadFile(status)) & kTerm) == 0; }));
  EXPECT_NE(CaughtIn(ReadFile(status)) & (1ULL << (SIGXFSZ - 1)), 0U);
}

TEST(SecondSupervisor, HasTheDefaultActionForSigtermAndTheOldMask) {
  const Bundle bundle(Bundle::Logger::kRecording);
  LauncherProcess launcher(bundle, bundle.WriteList(ListOf({Item("missing", "/nonexistent/program")})));
  ASSERT_TRUE(WaitUntil([&] { return LoggedWith(bundle.recording(), "Start to fork missing").size() >= 2; }));
  const pid_t second = LoggedWith(bundle.recording(), "Start to fork missing")[1].process;
  const std::string status = ReadFile("/proc/" + std::to_string(second) + "/status");
  EXPECT_EQ(BlockedIn(status), 0U) << status;
  EXPECT_EQ(CaughtIn(status) & (1ULL << (SIGTERM - 1)), 0U);
}
