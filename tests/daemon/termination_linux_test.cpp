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

TEST(SecondSupervisor, HasTheDefaultActionForSigtermAndTheOldMask) {
  const Bundle bundle(Bundle::Logger::kRecording);
  LauncherProcess launcher(bundle, bundle.WriteList(ListOf({Item("missing", "/nonexistent/program")})));
  ASSERT_TRUE(WaitUntil([&] { return LoggedWith(bundle.recording(), "Start to fork missing").size() == 2; }));
  const pid_t second = LoggedWith(bundle.recording(), "Start to fork missing")[1].process;
  const std::string status = ReadFile("/proc/" + std::to_string(second) + "/status");
  EXPECT_EQ(BlockedIn(status), 0U) << status;
  const size_t caught = status.find("SigCgt:\t");
  ASSERT_NE(caught, std::string::npos);
  EXPECT_EQ(std::stoull(status.substr(caught + 8, 16), nullptr, 16) & (1ULL << (SIGTERM - 1)), 0U);
}
