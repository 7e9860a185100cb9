// Takes liblogger's place in a copied bundle and writes down, exactly as they come, the calls that the launcher makes:
// those of the logging library, and those of `syslog` and `fork`, which reach this library instead of the system's;
// recording_replaced_*.cpp says by what means.
//
// One line a call into the file that the environment variable RECORDING names, fields separated by tabs:
//   MILLISECONDS  PROCESS  LogV        LEVEL     FORMAT    TEXT
//   MILLISECONDS  PROCESS  InitLogger  LOCATION
//   MILLISECONDS  PROCESS  GetLogger   RESERVED  MODULE    LEVEL
//   MILLISECONDS  PROCESS  syslog      PRIORITY  FORMAT    1 when any standard stream is open, else 0
// RECORDING_FAILS makes InitLogger fail; RECORDING_FORK_DELAY_MS makes every fork that much slower, on the parent's
// side before it and after it. RECORDING_FORK_GATES=PATH holds the N-th fork back until there is a file PATHN.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <thread>

#include "liblogger/liblogger.h"
#include "tests/support/recording_liblogger.h"

// Like the real library it must serve forked children, so it uses no stdio stream and takes no lock.
__attribute__((format(printf, 1, 2))) static void Record(const char* call, ...) {
  static const char* const path = getenv("RECORDING");
  if (path == nullptr) return;
  const int saved_errno = errno;
  timespec now = {};
  (void)clock_gettime(CLOCK_MONOTONIC, &now);
  char line[4096];  // Longer than any call that a test looks at.
  size_t length = static_cast<size_t>(snprintf(
      line, sizeof(line), "%lld\t%d\t", static_cast<long long>(now.tv_sec) * 1000 + now.tv_nsec / 1000000, getpid()));
  va_list arguments;
  va_start(arguments, call);
  length += static_cast<size_t>(vsnprintf(line + length, sizeof(line) - length, call, arguments));
  va_end(arguments);
  length = std::min(length, sizeof(line) - 1);
  line[length++] = '\n';
  // Moved out of the way of 0, 1 and 2, which the launcher has closed: a fork meanwhile must not hand it on.
  const int low = open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
  const int file = fcntl(low, F_DUPFD_CLOEXEC, 100);
  (void)close(low);
  if (file >= 0) {
    (void)!write(file, line, length);
    (void)close(file);
  }
  errno = saved_errno;
}

class WrittenLog final : public ILog {
 public:
  __attribute__((format(printf, 3, 0))) void LogV(LOGLEVEL level, const char* format, va_list arguments) override {
    char text[2048];
    (void)vsnprintf(text, sizeof(text), format, arguments);
    for (char* byte = text; *byte != '\0'; ++byte) {
      if (*byte == '\n' || *byte == '\t') *byte = '?';  // A recorded call is a line, whose fields tabs separate.
    }
    Record("LogV\t%d\t%s\t%s", level, format, text);
  }
};

extern "C" {

int InitLogger(const char* location) {
  Record("InitLogger\t%s", location);
  return getenv("RECORDING_FAILS") != nullptr ? EACCES : 0;
}

int GetLogger(int reserved, const char* module, LOGLEVEL level, ILog** log) {
  Record("GetLogger\t%d\t%s\t%d", reserved, module, level);
  *log = new WrittenLog;
  return 0;
}

}  // extern "C"

void RecordSyslog(int priority, const char* format) {
  const bool any_stream_is_open = fcntl(0, F_GETFD) != -1 || fcntl(1, F_GETFD) != -1 || fcntl(2, F_GETFD) != -1;
  Record("syslog\t%d\t%s\t%d", priority, format, any_stream_is_open ? 1 : 0);
}

static void WaitAtTheGate() {
  static const char* const gates = getenv("RECORDING_FORK_GATES");
  if (gates == nullptr) return;
  static std::atomic<int> forks(0);
  const std::string gate = gates + std::to_string(++forks);
  while (access(gate.c_str(), F_OK) != 0) std::this_thread::sleep_for(std::chrono::milliseconds(5));
}

pid_t SlowFork(pid_t (*system_fork)()) {
  WaitAtTheGate();
  static const char* const delay = getenv("RECORDING_FORK_DELAY_MS");
  const auto pause = std::chrono::milliseconds(delay != nullptr ? atoi(delay) : 0);
  std::this_thread::sleep_for(pause);
  const pid_t pid = system_fork();
  if (pid > 0) std::this_thread::sleep_for(pause);
  return pid;
}
