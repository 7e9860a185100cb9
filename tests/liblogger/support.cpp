#include "tests/liblogger/support.h"

#include <dirent.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <sstream>

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

// Whether the text has the form: '0' stands for any digit, '+' for either sign, and all else for itself.
static bool HasForm(const std::string& text, const std::string& form) {
  const auto fits = [](char c, char wanted) {
    if (wanted == '0') return isdigit(static_cast<unsigned char>(c)) != 0;
    return wanted == '+' ? c == '+' || c == '-' : c == wanted;
  };
  return std::equal(text.begin(), text.end(), form.begin(), form.end(), fits);
}

// By hand, because storms ask it hundreds of thousands of times.
bool IsRecord(const std::string& line) {
  const size_t start = AfterColumns(line, 5);
  if (start == std::string::npos) return false;
  std::istringstream columns(line.substr(0, start));
  std::string time, level, module, process, thread;
  columns >> time >> level >> module >> process >> thread;
  constexpr char kCapitals[] = "-ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
  return HasForm(time, "0000-00-00T00:00:00.000+00:00") && level.find_first_not_of(kCapitals) == std::string::npos &&
         HasForm(process, std::string(process.size(), '0')) && HasForm(thread, std::string(thread.size(), '0'));
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
