#include "launcher/event_log.h"

#include <gtest/gtest.h>
#include <syslog.h>

#include <cstdarg>
#include <string>
#include <utility>
#include <vector>

// Takes the place of the system's, and of what it becomes where the C library's fortified headers are in use.

static std::vector<std::pair<int, std::string>> g_system_log;

extern "C" void syslog(int priority, const char* format, ...) { g_system_log.emplace_back(priority, format); }
extern "C" void __syslog_chk(int priority, int, const char* format, ...) {
  g_system_log.emplace_back(priority, format);
}

TEST(WriteEvent, HandsSourceAndMessageToTheSystemLogAsOneFormat) {
  const struct {
    const char* source;
    const char* message;
    const char* expected;
  } rows[] = {
      {"Pellux Launcher", "wrong parameters.", "Pellux Launcher : wrong parameters."},
      {"50%d", "100%s", "50%d : 100%s"},
      {"", "", " : "},
  };
  for (const auto& row : rows) {
    g_system_log.clear();
    WriteEvent(row.source, 3, row.message);
    ASSERT_EQ(g_system_log.size(), 1U);
    EXPECT_EQ(g_system_log[0].first, 3);
    EXPECT_EQ(g_system_log[0].second, row.expected);
  }
}
