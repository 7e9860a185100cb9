#include "tests/liblogger/support.h"

#include <dirent.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <regex>

#include "tests/support/wait_until.h"

void Log(ILog* log, LOGLEVEL level, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  log->LogV(level, format, arguments);
  va_end(arguments);
}

// Steps over `count` columns and the blanks between them.
static size_t AfterColumns(const std::string& line, int count) {
  size_t position = 0;
  for (; count > 0; --count) {
    position = line.find_first_not_of(' ', position);
    if (position == std::string::npos) return position;
    position = line.find(' ', position);
    if (position == std::string::npos) return position;
  }
  return position + 1;
}

std::string MessageOf(const std::string& line) {
  const size_t start = AfterColumns(line, 5);
  return start == std::string::npos ? "(no record) " + line : line.substr(start);
}

std::vector<std::string> ReadMessages(const std::filesystem::path& file) {
  std::vector<std::string> messages;
  for (const std::string& line : ReadLines(file)) messages.push_back(MessageOf(line));
  return messages;
}

bool IsRecord(const std::string& line) {
  static const std::regex columns(
      "[0-9]{4}-[01][0-9]-[0-3][0-9]T[0-2][0-9]:[0-5][0-9]:[0-6][0-9]\\.[0-9]{3}[+-][0-9]{2}:[0-9]{2} "
      "[-A-Z0-9]+ * [A-Za-z0-9._-]+ +[0-9]+ +[0-9]+ ");
  const size_t start = AfterColumns(line, 5);
  return start != std::string::npos && std::regex_match(line.substr(0, start), columns);
}

int WaitForChild(pid_t child) {
  int status = 0;
  if (!WaitUntil([&] { return waitpid(child, &status, WNOHANG) != 0; })) {
    (void)kill(child, SIGKILL);
    (void)waitpid(child, &status, 0);
    return 255;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 200 + WTERMSIG(status);
}

int RunInChild(const std::function<int()>& body) {
  const pid_t child = fork();
  if (child == 0) _exit(body());
  return WaitForChild(child);
}

std::vector<int> OpenDescriptors() {
  std::vector<int> open;
  DIR* const folder = opendir("/dev/fd");
  while (const dirent* const entry = readdir(folder)) {
    const int number = atoi(entry->d_name);
    if (entry->d_name[0] != '.' && number != dirfd(folder)) open.push_back(number);
  }
  (void)closedir(folder);
  return open;
}
