#include <gtest/gtest.h>
#include <stdio.h>

#include <memory>
#include <set>
#include <string>
#include <type_traits>

#include "liblogger/liblogger.h"

TEST(Surface, ExportsTheTwoFunctionsAndNothingElse) {
  const std::unique_ptr<FILE, int (*)(FILE*)> nm(popen(PELLUX_NM_COMMAND, "r"), &pclose);
  ASSERT_NE(nm, nullptr);
  std::set<std::string> names;
  char line[512];
  while (fgets(line, sizeof(line), nm.get()) != nullptr) {
    std::string name = line;
    name.pop_back();
    name = name.substr(name.rfind(' ') + 1);
    if (name.front() == '_') name.erase(0, 1);  // One platform's C names begin with an underscore.
    names.insert(name);
  }
  EXPECT_EQ(names, (std::set<std::string>{"GetLogger", "InitLogger"})) << "command: " << PELLUX_NM_COMMAND;
}

TEST(Surface, HandsOutAPointerToNothingButATableOfFunctions) {
  EXPECT_TRUE(std::is_abstract<ILog>::value);
  EXPECT_EQ(sizeof(ILog), sizeof(void*));
  EXPECT_FALSE(std::is_destructible<ILog>::value);
}
