#include "launcher/argument_vector.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/items.h"

static std::vector<std::string> TextsOf(const ArgumentVector& arguments) {
  std::vector<std::string> texts;
  for (char* const* entry = arguments.argv(); *entry != nullptr; ++entry) texts.emplace_back(*entry);
  return texts;
}

static JsonObject ItemWithArgc(const std::string& argc) {
  return {(R"({"argc": )" + argc + R"(, "args": {"0": "first"}})").c_str()};
}

TEST(ArgumentVector, BeginsWithTheProgramsOwnCharacters) {
  std::string program = "/bin/program";
  JsonObject item = Item("name", program, {"a", "", "c"});
  const ArgumentVector arguments(program, item);
  EXPECT_EQ(arguments.argv()[0], program.data());
  EXPECT_EQ(TextsOf(arguments), (std::vector<std::string>{program, "a", "", "c"}));
}

TEST(ArgumentVector, HoldsTheProgramAloneWithoutAPositiveArgc) {
  for (const char* text : {"{}", R"({"argc": 0, "args": {"0": "unused"}})", R"({"argc": -1})", R"({"argc": null})"}) {
    std::string program = "p";
    JsonObject item(text);
    EXPECT_EQ(TextsOf(ArgumentVector(program, item)), std::vector<std::string>{"p"}) << text;
  }
}

// Around the size at which the vector leaves the stack, and as many as a system passes.
TEST(ArgumentVector, HoldsAnyNumberOfArgumentsThatASystemPasses) {
  for (const size_t count : {1021U, 1022U, 1023U, 1024U, 100000U}) {
    std::string program = "p";
    JsonObject item = ItemWithArgc(std::to_string(count));
    const std::vector<std::string> texts = TextsOf(ArgumentVector(program, item));
    ASSERT_EQ(texts.size(), count + 1);
    EXPECT_EQ(texts[1], "first");
    EXPECT_EQ(texts.back(), "");
  }
}

TEST(ArgumentVector, IsNullForMoreArgumentsThanAnySystemPasses) {
  for (const char* argc : {"700000", "2147483647"}) {
    std::string program = "p";
    JsonObject item = ItemWithArgc(argc);
    EXPECT_EQ(ArgumentVector(program, item).argv(), nullptr) << argc;
  }
}

TEST(ArgumentVector, ThrowsForArgumentsInAnArray) {
  std::string program = "p";
  JsonObject item(R"({"argc": 1, "args": ["x"]})");
  EXPECT_ANY_THROW(ArgumentVector(program, item));
}
