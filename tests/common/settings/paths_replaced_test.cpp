// Where no real program can lie. In a program of its own, because it replaces what the platform answers.

#include <gtest/gtest.h>

#include <string>

#include "common/settings/paths.h"
#include "tests/support/made_up_executable.h"

TEST(GetResourcePath, KeepsAnExecutablesPathWithoutASlashWhole) {
  SetExecutablePath("no such program");
  EXPECT_EQ(GetResourcePath(), "no such program/../Resources/");
  SetExecutablePath("no such FinderSync");
  EXPECT_EQ(GetResourcePath(), "no such FinderSync/../../../../Resources/");
}

TEST(GetResourcePath, AsksTheSystemAgainAtEachCall) {
  SetExecutablePath("/no such folder/bin/a");
  EXPECT_EQ(GetResourcePath(), "/no such folder/bin/../Resources/");
  SetExecutablePath("/no such folder/other/a");
  EXPECT_EQ(GetResourcePath(), "/no such folder/other/../Resources/");
}

TEST(GetResourcePath, IsEmptyWithoutAnExecutablesPath) {
  SetExecutablePath(std::nullopt);
  EXPECT_EQ(GetResourcePath(), "");
  EXPECT_FALSE(IsFinderSync());
}
