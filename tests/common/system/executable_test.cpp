#include "common/system/executable.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <filesystem>
#include <vector>

#include "tests/support/file_tree.h"
#include "tests/support/probe.h"

static std::string CurrentPathAt(const std::string& path) {
  return RunProbe(PlaceProbe(SYSTEM_PROBE, path), {}).at("GetCurrentPath");
}

TEST(GetExecutablePath, NamesTheRunningProgram) {
  char path[4096];
  uint32_t size = sizeof(path);
  ASSERT_EQ(GetExecutablePath(path, &size), 0);
  EXPECT_EQ(path[0], '/');
  EXPECT_TRUE(std::filesystem::equivalent(path, testing::internal::GetArgvs()[0]));
}

TEST(GetExecutablePath, FitsABufferOfItsLengthAndANul) {
  char path[4096];
  uint32_t size = sizeof(path);
  ASSERT_EQ(GetExecutablePath(path, &size), 0);
  const size_t needed = strlen(path) + 1;

  std::vector<char> buffer(needed, '#');
  size = static_cast<uint32_t>(needed);
  EXPECT_EQ(GetExecutablePath(buffer.data(), &size), 0);
  EXPECT_STREQ(buffer.data(), path);

  for (const size_t too_small : {needed - 1, needed / 2, size_t{1}, size_t{0}}) {
    buffer.assign(needed, '#');
    size = static_cast<uint32_t>(too_small);
    EXPECT_LT(GetExecutablePath(buffer.data(), &size), 0) << too_small;
    EXPECT_EQ(size, needed) << too_small;
    EXPECT_EQ(buffer, std::vector<char>(needed, '#')) << too_small;
  }
}

TEST(GetCurrentPath, IsTheExecutablesFolderAndNotTheWorkingDirectory) {
  const FileTree folder;
  EXPECT_EQ(CurrentPathAt(folder.PathOf("x/y/z")), folder.PathOf("x/y"));
  EXPECT_EQ(CurrentPathAt(folder.PathOf("a b/\xC3\xA9.app/z")), folder.PathOf("a b/\xC3\xA9.app"));
  EXPECT_EQ(CurrentPathAt(folder.PathOf("z")), folder.path());
}

TEST(GetCurrentPath, IsEmptyWhenTheExecutablesPathHas1025BytesOrMore) {
  const FileTree folder;
  for (const size_t bytes : {size_t{1023}, size_t{1024}, size_t{1025}, size_t{1500}}) {
    if (bytes >= PATH_MAX) continue;  // No such program can be started.
    const std::string path = PathOfLength(folder.path(), bytes, "z");
    ASSERT_EQ(path.size(), bytes);
    EXPECT_EQ(CurrentPathAt(path), bytes <= 1024 ? path.substr(0, path.rfind('/')) : "") << bytes;
  }
}
