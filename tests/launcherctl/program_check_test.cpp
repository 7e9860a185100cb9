#include "launcherctl/program_check.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "tests/support/files.h"
#include "tests/support/temp_folder.h"

// Files of all kinds; what the system would say to each is known.
class CheckProgramFile : public testing::Test {
 protected:
  std::string PathOf(const std::string& name) const { return temp.path() + "/" + name; }

  std::string Program(const std::string& content, mode_t mode = 0755) const {
    WriteFile(PathOf("program"), content);
    EXPECT_EQ(chmod(PathOf("program").c_str(), mode), 0);
    return PathOf("program");
  }

  TempFolder temp;
};

// What the system says: true when it executes the program. Its streams are closed.
static bool SystemExecutes(const std::string& program) {
  const pid_t child = fork();
  if (child == 0) {
    for (int descriptor = 0; descriptor < 3; ++descriptor) (void)close(descriptor);
    (void)execl(program.c_str(), program.c_str(), nullptr);
    _exit(99);
  }
  int status = 0;
  (void)waitpid(child, &status, 0);
  return !WIFEXITED(status) || WEXITSTATUS(status) != 99;
}

TEST(CheckProgram, TakesWhatTheSystemExecutes) {
  EXPECT_EQ(CheckProgram("/bin/sh").code, "");
  EXPECT_EQ(CheckProgram("/bin/../bin/ls").code, "");
}

TEST_F(CheckProgramFile, TellsWhatTheSystemRefusesAndAgreesWithIt) {
  ASSERT_EQ(symlink("nowhere", PathOf("dangling").c_str()), 0);
  ASSERT_EQ(symlink("loop", PathOf("loop").c_str()), 0);
  ASSERT_EQ(mkfifo(PathOf("fifo").c_str(), 0755), 0);
  const struct {
    std::string path;
    const char* code;
    const char* part;  // Of the message.
  } rows[] = {
      {PathOf("missing"), "program-not-found", "does not exist"},
      {PathOf("missing/program"), "program-not-found", "the folder"},
      {"/bin/sh/program", "program-not-found", "not a folder"},
      {PathOf("dangling"), "program-not-found", "link"},
      {PathOf("loop"), "program-not-found", "can't be found"},
      {"/" + std::string(5000, 'x'), "program-not-found", "can't be found"},
      {temp.path(), "program-not-executable", "folder"},
      {PathOf("fifo"), "program-not-executable", "not a file"},
  };
  for (const auto& row : rows) {
    const ProgramProblem problem = CheckProgram(row.path);
    EXPECT_EQ(problem.code, row.code) << row.path;
    EXPECT_NE(problem.message.find(row.part), std::string::npos) << problem.message;
    EXPECT_FALSE(problem.remedy.empty());
    EXPECT_FALSE(SystemExecutes(row.path)) << row.path;
  }
}

TEST_F(CheckProgramFile, LooksIntoTheFileAndAgreesWithTheSystem) {
  const struct {
    const char* what;
    std::string content;
    mode_t mode;
    const char* code;
    const char* part;
  } rows[] = {
      {"a script", "#!/bin/sh\nexit 0\n", 0755, "", ""},
      {"a script without a line feed", "#!/bin/sh", 0755, "", ""},
      {"blanks before the interpreter", "#! \t/bin/sh -e\n", 0755, "", ""},
      {"no permission", "#!/bin/sh\n", 0644, "program-not-executable", "permission"},
      {"a missing interpreter", "#!/nonexistent/sh\n", 0755, "interpreter-not-found", "does not exist"},
      {"a carriage return", "#!/bin/sh\r\n", 0755, "interpreter-not-found", "carriage return"},
      {"a folder as interpreter", "#!/bin\n", 0755, "interpreter-not-found", "is a folder"},
      {"an interpreter without permission", "#!/etc/passwd\n", 0755, "interpreter-not-found", "permission"},
      {"no interpreter", "#!\n", 0755, "interpreter-not-found", "names no"},
      {"a name as interpreter", "#!sh\n", 0755, "interpreter-not-found", "absolute"},
      {"a script without a first line", "echo x\n", 0755, "program-not-executable", "neither"},
      {"a mark before the first line", "\xEF\xBB\xBF#!/bin/sh\n", 0755, "program-not-executable", "neither"},
      {"nothing", "", 0755, "program-not-executable", "empty"},
      {"a program for Windows", std::string("MZ\x90\0\3\0\0\0", 8), 0755, "program-not-executable", "Windows"},
      {"a library of classes", std::string("\xCA\xFE\xBA\xBE\0\0\0\x34", 8), 0755, "program-not-executable", "neither"},
      {"the beginning of a program", "\177ELF", 0755, "program-not-executable", "neither"},
  };
  for (const auto& row : rows) {
    const std::string path = Program(row.content, row.mode);
    const ProgramProblem problem = CheckProgram(path);
    EXPECT_EQ(problem.code, row.code) << row.what;
    EXPECT_NE(problem.message.find(row.part), std::string::npos) << row.what << ": " << problem.message;
    EXPECT_EQ(SystemExecutes(path), problem.code.empty()) << row.what;
  }
}

TEST_F(CheckProgramFile, TellsProgramsForOtherProcessorsAndSystems) {
  const std::string program = ReadFile("/bin/sh");
  if (program.substr(0, 4) != "\177ELF") GTEST_SKIP() << "Only where programs are ELF files.";
  const auto changed = [&program](size_t offset, char byte) {
    std::string other = program;
    other[offset] = byte;
    return other;
  };
  const size_t loader = program.find("/ld-");  // In the name of the program that is to load this one.
  ASSERT_NE(loader, std::string::npos);
  const struct {
    const char* what;
    std::string content;
    const char* part;
  } rows[] = {
      {"another processor", changed(18, '\x16'), "another processor, processor 22"},
      {"an object file", changed(16, '\x01'), "not a program"},
      {"a loader that does not exist", changed(loader + 1, 'x'), "which is to load it"},
      {"a program for the other system", std::string("\xCF\xFA\xED\xFE\x0C\0\0\x01\0\0\0\0\2\0\0\0", 16), "macOS"},
  };
  for (const auto& row : rows) {
    const std::string path = Program(row.content);
    const ProgramProblem problem = CheckProgram(path);
    EXPECT_EQ(problem.code, "program-not-executable") << row.what;
    EXPECT_NE(problem.message.find(row.part), std::string::npos) << row.what << ": " << problem.message;
    EXPECT_FALSE(SystemExecutes(path)) << row.what;
  }
  EXPECT_EQ(CheckProgram(Program(program)).code, "");
}
