// Functions that are safe to call from any thread, called for the first time by several at once: what they set up then
// must be safe too. This is for the thread sanitizer; without it only the results are compared.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "common/json/json_object.h"
#include "common/settings/profile.h"
#include "common/strings/email.h"
#include "common/strings/split.h"
#include "tests/support/file_tree.h"

// Runs the action on several threads that start it together.
static void RunSideBySide(const std::function<void()>& action) {
  constexpr int kThreads = 4;
  std::atomic<int> ready{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      ++ready;
      while (ready < kThreads) std::this_thread::yield();
      action();
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST(FirstUse, MayHappenOnSeveralThreadsAtOnce) {
  const FileTree folder;
  const std::string path = folder.WriteFile("log.ini", "[LOG]\nLEVEL=DEBUG\n");
  const std::regex comma(",");
  std::atomic<int> right_answers{0};
  RunSideBySide([&] {
    const JsonObject list(R"({"0":{"name":"sync"}})");
    char level[16];
    right_answers += list.HasObject("0/name") ? 1 : 0;
    right_answers += GetPrivateProfileString("LOG", "LEVEL", "", level, sizeof(level), path) == 5 ? 1 : 0;
    right_answers += is_email_valid("ada@example.org") ? 1 : 0;
    right_answers += split("a,b", comma).size() == 2 ? 1 : 0;
  });
  EXPECT_EQ(right_answers, 16);
}
