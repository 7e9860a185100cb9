#include "tests/support/launcher_process.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>

#include "tests/support/files.h"
#include "tests/support/recording.h"
#include "tests/support/test_process.h"
#include "tests/support/wait_until.h"

static constexpr int kMostDescriptors = 1024;

// The launcher closes its standard error, so a sanitizer in it reports into a file.
static void AppendOption(const char* variable, const std::string& option) {
  const char* const present = getenv(variable);
  (void)setenv(variable, (present != nullptr ? std::string(present) + ":" + option : option).c_str(), 1);
}

LauncherProcess::LauncherProcess(const Bundle& bundle, const std::vector<std::string>& arguments,
                                 const Options& options)
    : recording(bundle.recording()) {
  const std::string program = bundle.launcher();
  std::vector<char*> argv = {const_cast<char*>(program.c_str())};
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  static int launchers = 0;
  sanitizer_report = bundle.PathOf("sanitizer-" + std::to_string(++launchers));
  id = fork();
  if (id != 0) return;

  (void)setsid();
  EndWithParent(SIGTERM);
  (void)setenv("RECORDING", recording.c_str(), 1);
  for (const auto& [name, value] : options.environment) (void)setenv(name.c_str(), value.c_str(), 1);
  AppendOption("ASAN_OPTIONS", "log_path=" + sanitizer_report);
  AppendOption("TSAN_OPTIONS", "log_path=" + sanitizer_report);
  // What whoever runs the tests has left open here would reach the launcher's children too.
  for (int descriptor = STDERR_FILENO + 1; descriptor < kMostDescriptors; ++descriptor) (void)close(descriptor);
  if (options.before_exec) options.before_exec();
  (void)execv(program.c_str(), argv.data());
  _exit(127);
}

LauncherProcess::LauncherProcess(const Bundle& bundle, const std::string& list)
    : LauncherProcess(bundle, std::vector<std::string>{"agent", list}) {}

LauncherProcess::~LauncherProcess() {
  // The group is the launcher's own session, and this test made it.
  (void)kill(-id, SIGKILL);
  if (!status) {
    (void)kill(id, SIGKILL);  // It may not have got so far as to make it.
    (void)waitpid(id, nullptr, 0);
  }
  EXPECT_TRUE(WaitUntil([this] { return NobodyLeft(); })) << "processes are left of launcher " << id;

  const std::filesystem::path report(sanitizer_report);
  for (const auto& entry : std::filesystem::directory_iterator(report.parent_path())) {
    if (entry.path().filename().string().rfind(report.filename().string() + ".", 0) == 0) {
      ADD_FAILURE() << "A sanitizer reports:\n" << ReadFile(entry.path().string());
    }
  }
}

std::optional<int> LauncherProcess::WaitStatus() {
  (void)WaitUntil([this] { return !IsRunning(); });
  return status;
}

int LauncherProcess::ExitStatus() {
  const std::optional<int> ended = WaitStatus();
  if (!ended) {
    ADD_FAILURE() << "The launcher did not end.";
    return -1;
  }
  if (!WIFEXITED(*ended)) {
    ADD_FAILURE() << "The launcher was ended by signal " << WTERMSIG(*ended);
    return -1;
  }
  return WEXITSTATUS(*ended);
}

bool LauncherProcess::IsRunning() {
  int raw = 0;
  if (!status && waitpid(id, &raw, WNOHANG) == id) status = raw;
  return !status;
}

void LauncherProcess::Signal(int number) const { ASSERT_EQ(kill(id, number), 0); }

void LauncherProcess::WaitUntilItWaits() const {
  EXPECT_TRUE(WaitUntil([&] {
    for (const RecordedCall& call : LoggedWith(recording, "has no name")) {
      if (call.process == id) return true;
    }
    return false;
  }));
  EXPECT_TRUE(WaitUntil([&] { return MainThreadKeepsWaiting(id); }));
}

int LauncherProcess::Stop() {
  EXPECT_TRUE(WaitUntil([&] { return MainThreadKeepsWaiting(id); }));
  Signal(SIGTERM);
  return ExitStatus();
}

bool LauncherProcess::NobodyLeft() const {
  while (waitpid(-id, nullptr, WNOHANG) > 0) {
  }
  return kill(-id, 0) != 0 && errno == ESRCH;
}
