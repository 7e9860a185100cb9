#include "launcherctl/launch_list_reader.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

using Fate = LaunchListItem::Fate;
using Converts = LaunchListItem::Converts;
using Strings = std::vector<std::string>;

static LaunchListItem OnlyItem(const std::string& members) {
  LaunchList list = ParseLaunchList("list.json", "{\"0\": {\"name\": \"a\", \"program\": \"/p\"" + members + "}}");
  EXPECT_EQ(list.items.size(), 1U) << members;
  LaunchListItem item = list.items.front();
  // The document goes with the list.
  item.member = item.name_member = item.program_member = nullptr;
  item.argc_member = item.args_member = item.run_once_member = nullptr;
  return item;
}

TEST(ReadLaunchList, TellsWhatBecomesOfEachItem) {
  const LaunchList list = ParseLaunchList("list.json", R"({
      "0": {"name": "a", "program": "/1"},
      "1": {"program": "/2"},
      "2": {"name": "a", "program": "/3"},
      "3": null,
      "4": {"name": "b", "program": "/4"},
      "5": 5,
      "6": {"name": "b", "program": "/6"},
      "8": {"name": "c"}, "01": {}, "other": {}})");
  ASSERT_EQ(list.state, LaunchList::State::kRead);
  const std::pair<const char*, Fate> expected[] = {
      {"0", Fate::kReplaced},   {"1", Fate::kSkipped},    {"2", Fate::kSupervised},
      {"3", Fate::kSkipped},    {"4", Fate::kSupervised}, {"5", Fate::kEndsReading},
      {"6", Fate::kNotReached}, {"8", Fate::kNeverRead},  {"01", Fate::kNeverRead}};
  ASSERT_EQ(list.items.size(), std::size(expected));
  for (size_t i = 0; i < list.items.size(); ++i) {
    EXPECT_EQ(list.items[i].key, expected[i].first);
    EXPECT_EQ(list.items[i].fate, expected[i].second) << expected[i].first;
  }
  Strings supervised;
  for (const LaunchListItem* item : list.SupervisedItems()) supervised.push_back(item->program);
  EXPECT_EQ(supervised, (Strings{"/1", "/3", "/4"}));
}

TEST(ReadLaunchList, ConvertsAsTheLauncherDoes) {
  const LaunchListItem item =
      OnlyItem(R"(, "name": 1e3, "program": "/p\u0000q", "argc": 3.9, "args": {"0": 5, "2": "x\u0000y", "3": "z"},
                  "run_once": 0.5)");
  EXPECT_EQ(item.name, "1000.0");
  EXPECT_EQ(item.program, "/p");
  EXPECT_EQ(item.argument_count, 3);
  EXPECT_EQ(item.Argument(0), "5");
  EXPECT_EQ(item.Argument(1), "");
  EXPECT_EQ(item.Argument(2), "x");
  EXPECT_TRUE(item.run_once);
}

TEST(ReadLaunchList, CutsArgcToItsLow32Bits) {
  const std::pair<const char*, int64_t> rows[] = {{"4294967298", 2},  {"-1", 0},   {"2147483648", 0},
                                                  {"-4294967295", 1}, {"null", 0}, {"true", 1}};
  for (const auto& [argc, expected] : rows) {
    EXPECT_EQ(OnlyItem(std::string(", \"argc\": ") + argc).argument_count, expected) << argc;
  }
}

TEST(ReadLaunchList, TellsWhatConversionsEnd) {
  for (const char* members :
       {R"(, "argc": "1")", R"(, "argc": 1e30)", R"(, "argc": 1, "args": [])", R"(, "argc": 1, "args": {"0": {}})"}) {
    EXPECT_EQ(OnlyItem(members).arguments_convert, Converts::kEndsChild) << members;
  }
  // Without a look at "args": no system passes so many.
  EXPECT_EQ(OnlyItem(R"(, "argc": 2147483647, "args": [])").arguments_convert, Converts::kYes);
  EXPECT_EQ(OnlyItem(R"(, "argc": 699050, "args": [])").arguments_convert, Converts::kEndsChild);
  for (const char* members : {R"(, "args": [])", R"(, "argc": 1, "args": {"1": {}})", R"(, "argc": 1)"}) {
    EXPECT_EQ(OnlyItem(members).arguments_convert, Converts::kYes) << members;
  }
  EXPECT_EQ(OnlyItem(R"(, "program": [])").program_converts, Converts::kEndsLauncher);
  EXPECT_EQ(OnlyItem(R"(, "run_once": "true")").run_once_converts, Converts::kEndsLauncher);
  EXPECT_EQ(OnlyItem("").run_once_converts, Converts::kYes);
}

TEST(IsCommand, ComparesProgramAndArguments) {
  const LaunchListItem item = OnlyItem(R"(, "argc": 2, "args": {"0": "x"})");
  EXPECT_TRUE(item.IsCommand({"/p", "x", ""}));
  EXPECT_FALSE(item.IsCommand({"/p", "x"}));
  EXPECT_FALSE(item.IsCommand({"/p", "x", "", ""}));
  EXPECT_FALSE(item.IsCommand({"/q", "x", ""}));
  EXPECT_FALSE(item.IsCommand({"/p", "y", ""}));
  EXPECT_FALSE(item.IsCommand({}));
}

TEST(ReadLaunchList, NeedsLittleMemoryForManyArguments) {
  std::string text = "{";
  for (int i = 0; i < 2000; ++i) {
    text += (i > 0 ? ", \"" : "\"") + std::to_string(i) + "\": {\"name\": \"" + std::to_string(i) +
            "\", \"argc\": 699050, \"args\": {\"699049\": \"x\"}}";
  }
  const LaunchList list = ParseLaunchList("list.json", text + "}");
  ASSERT_EQ(list.items.size(), 2000U);
  EXPECT_EQ(list.items[1999].Argument(699049), "x");
}

TEST(ReadLaunchList, GoesOnPointingIntoItsDocumentWhenItIsMoved) {
  LaunchList list = ParseLaunchList("list.json", R"({"0": {"name": "a", "program": "/p"}})");
  const LaunchList moved = std::move(list);
  EXPECT_EQ(moved.items[0].name_member, &moved.document.root.members[0].value.members[0]);
  EXPECT_EQ(moved.items[0].program_member->value.text, "/p");
}
