#include "common/strings/path_string.h"

#include <gtest/gtest.h>

#include "tests/support/texts.h"

static const std::string kNul(1, '\0');

TEST(EnsureEndsWithDivider, AddsASlashWhereThereIsNone) {
  const struct {
    const char* path;
    const char* expected;
  } rows[] = {{"", "/"}, {"a", "a/"}, {"a/", "a/"}, {"a\\", "a\\/"}, {"/", "/"}, {"a//", "a//"}, {"/a", "/a/"}};
  for (const auto& row : rows) EXPECT_EQ(ensure_ends_with_divider(row.path), row.expected) << "path: " << row.path;
}

TEST(RemoveHeadSlashes, StripsBothKindsButKeepsAPathOfNothingElse) {
  const struct {
    const char* path;
    const char* expected;
  } rows[] = {{"/\\/a/b", "a/b"}, {"///", "///"}, {"", ""},       {"a/b", "a/b"}, {"/", "/"},
              {"\\", "\\"},       {"\\a", "a"},   {"a//", "a//"}, {"//.", "."},   {"/\\", "/\\"}};
  for (const auto& row : rows) EXPECT_EQ(remove_head_slashes(row.path), row.expected) << "path: " << row.path;
}

TEST(RemoveTailSlashes, StripsBothKindsButKeepsAPathOfNothingElse) {
  const struct {
    const char* path;
    const char* expected;
  } rows[] = {{"a/b\\//", "a/b"}, {"\\\\", "\\\\"}, {"", ""},       {"a/b", "a/b"}, {"/", "/"},
              {"\\", "\\"},       {"a\\", "a"},     {"//a", "//a"}, {"./", "."},    {"/\\", "/\\"}};
  for (const auto& row : rows) EXPECT_EQ(remove_tail_slashes(row.path), row.expected) << "path: " << row.path;
}

TEST(RemoveDuplicatedSlashes, ShortensRunsOfSlashesAndLeavesBackslashes) {
  const struct {
    const char* path;
    const char* expected;
  } rows[] = {{"//a///b/", "/a/b/"}, {"a\\\\b", "a\\\\b"}, {"", ""},         {"/", "/"},    {"////", "/"},
              {"a/b", "a/b"},        {"/\\/", "/\\/"},     {"\\\\", "\\\\"}, {"a//", "a/"}, {"/\\//\\", "/\\/\\"}};
  for (const auto& row : rows) EXPECT_EQ(remove_duplicated_slashes(row.path), row.expected) << "path: " << row.path;
}

TEST(RemoveDuplicatedSlashes, AgreesWithKeepingCharactersOneByOne) {
  ForEachText("/\\a", 8, [](const std::string& path) {
    std::string expected;
    for (const char c : path) {
      if (c != '/' || expected.empty() || expected.back() != '/') expected += c;
    }
    ASSERT_EQ(remove_duplicated_slashes(path), expected) << "path: " << path;
  });
}

TEST(SplitContainerName, SplitsAtTheFirstSlashBehindTheLeadingOnes) {
  const struct {
    const char* path;
    const char* container;
    const char* rest;
  } rows[] = {
      {"/a/b/c", "a", "b/c"},  {"a", "a", ""},       {"a/", "a", ""}, {"//a//b", "a", "/b"}, {"\\a/b", "a", "b"},
      {"a\\b/c", "a\\b", "c"}, {"///", "", "//"},    {"/", "", ""},   {"\\", "\\", ""},      {"\\/", "\\", ""},
      {"/\\", "", "\\"},       {"a\\b", "a\\b", ""}, {"/a", "a", ""}, {"a//", "a", "/"},
  };
  for (const auto& row : rows) {
    std::string container = "container before";
    std::string rest = "rest before";
    split_container_name(row.path, container, rest);
    EXPECT_EQ(container, row.container) << "path: " << row.path;
    EXPECT_EQ(rest, row.rest) << "path: " << row.path;
  }
}

TEST(SplitContainerName, LeavesBothAloneWhenThePathIsEmpty) {
  std::string container = "container before";
  std::string rest = "rest before";
  split_container_name("", container, rest);
  EXPECT_EQ(container, "container before");
  EXPECT_EQ(rest, "rest before");
}

TEST(SplitContainerName, AssignsTheRestLast) {
  std::string both = "before";
  split_container_name("/a/b/c", both, both);
  EXPECT_EQ(both, "b/c");
  split_container_name(both, both, both);
  EXPECT_EQ(both, "c");
}

TEST(GetFileName, IsWhatStandsBehindTheLastSlash) {
  const struct {
    const char* path;
    const char* expected;
  } rows[] = {{"a/b/c.txt", "c.txt"}, {"a/b/", ""}, {"a\\b", "a\\b"}, {"", ""}, {"a", "a"}, {"/", ""}, {"/a", "a"}};
  for (const auto& row : rows) EXPECT_EQ(get_file_name(row.path), row.expected) << "path: " << row.path;
}

TEST(PathStrings, TreatNulAsAnyOtherCharacter) {
  EXPECT_EQ(ensure_ends_with_divider("a/" + kNul), "a/" + kNul + "/");
  EXPECT_EQ(remove_head_slashes("/" + kNul + "/"), kNul + "/");
  EXPECT_EQ(remove_tail_slashes("/" + kNul + "/"), "/" + kNul);
  EXPECT_EQ(remove_duplicated_slashes("//" + kNul + "//"), "/" + kNul + "/");
  EXPECT_EQ(get_file_name("a" + kNul + "/b" + kNul + "c"), "b" + kNul + "c");
}

TEST(PathStrings, LeaveTheCallersPathAlone) {
  const std::string original = "//a//b//";
  std::string path = original;
  std::string container;
  std::string rest;
  (void)ensure_ends_with_divider(path);
  (void)remove_head_slashes(path);
  (void)remove_tail_slashes(path);
  (void)remove_duplicated_slashes(path);
  (void)get_file_name(path);
  split_container_name(path, container, rest);
  EXPECT_EQ(path, original);
}

TEST(IsQzfs, IsTrueOfEveryPathReadOrNot) {
  char narrow[] = "/a";
  wchar_t wide[] = L"/a";
  EXPECT_TRUE(IsQZFS(narrow));
  EXPECT_TRUE(IsQZFS(wide));
  EXPECT_TRUE(IsQZFS(static_cast<char*>(nullptr)));
  EXPECT_TRUE(IsQZFS(static_cast<wchar_t*>(nullptr)));
}
