// Where no test can put a program. In a program of its own, because it replaces what the platform answers.

#include <gtest/gtest.h>

#include <string>

#include "common/system/executable.h"
#include "tests/support/made_up_executable.h"

TEST(GetCurrentPath, IsWhatPrecedesTheLastSlash) {
  const struct {
    const char* executable;
    const char* expected;
  } rows[] = {{"/x/y/z", "/x/y"},
              {"/x/y/../z", "/x/y/.."},
              {"./z", "."},
              {"/x//z", "/x/"},
              {"/x/link/z", "/x/link"},
              {"/z", ""},
              {"z", ""},
              {"", ""}};
  for (const auto& row : rows) {
    SetExecutablePath(row.executable);
    EXPECT_EQ(GetCurrentPath(), row.expected) << "executable: " << row.executable;
  }
}

TEST(GetCurrentPath, IsEmptyWhenThePlatformFails) {
  SetExecutablePath(std::nullopt);
  EXPECT_EQ(GetCurrentPath(), "");
  SetExecutablePath("/" + std::string(1022, 'x') + "/z");  // One byte too many with its NUL.
  EXPECT_EQ(GetCurrentPath(), "");
  SetExecutablePath("/" + std::string(1021, 'x') + "/z");
  EXPECT_EQ(GetCurrentPath(), "/" + std::string(1021, 'x'));
}
