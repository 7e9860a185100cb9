#include "liblogger/liblogger.h"

#include <signal.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <new>

#include "liblogger/log_folder.h"
#include "liblogger/logger.h"

// Held by `InitLogger` and `GetLogger` only, never while a record is written.
static std::mutex g_mutex;

static char g_location[PATH_MAX];
static bool g_is_prepared = false;
static UtcOffsets* g_utc_offsets = nullptr;  // Never changed once it is there, and never deleted: threads log at exit.

// What stands between the location and a path's end: the longest module's file after four rotations.
static constexpr size_t kLongestFileNameBytes = sizeof("/") + kLongestModuleBytes + sizeof(".log.4");

static void IgnoreSignal(int) {}

// A write beyond the process's file size limit raises SIGXFSZ, which ends the process by default. A handler, rather
// than ignoring the signal, because programs that are started from here get the default back.
static void SurviveFileSizeLimit() {
  struct sigaction present = {};
  if (sigaction(SIGXFSZ, nullptr, &present) != 0 || (present.sa_flags & SA_SIGINFO) != 0) return;
  if (present.sa_handler != SIG_DFL) return;
  struct sigaction survive = {};
  survive.sa_handler = IgnoreSignal;
  survive.sa_flags = SA_RESTART;
  (void)sigemptyset(&survive.sa_mask);
  (void)sigaction(SIGXFSZ, &survive, nullptr);
}

static int PrepareProcess() {
  if (g_is_prepared) return 0;
  if (g_utc_offsets == nullptr) g_utc_offsets = new (std::nothrow) UtcOffsets;
  if (g_utc_offsets == nullptr) return ENOMEM;
  const int error = Logger::PrepareForForks();
  if (error != 0) return error;
  g_utc_offsets->Learn(time(nullptr));
  g_is_prepared = true;
  return 0;
}

static bool IsModuleName(const char* module) {
  static constexpr char kAllowed[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._-";
  const size_t length = strlen(module);
  return length > 0 && length <= kLongestModuleBytes && module[0] != '.' && strspn(module, kAllowed) == length;
}

int InitLogger(const char* location) {
  if (location == nullptr || *location != '/') return EINVAL;
  if (strlen(location) + kLongestFileNameBytes > sizeof(g_location)) return ENAMETOOLONG;
  const std::lock_guard<std::mutex> lock(g_mutex);
  SurviveFileSizeLimit();
  int error = MakeFolder(location);
  if (error == 0) error = TryFolder(location);
  if (error == 0) error = FindTakenPlace(location);
  if (error == 0) error = PrepareProcess();
  if (error == 0) (void)snprintf(g_location, sizeof(g_location), "%s", location);
  return error;
}

int GetLogger(int, const char* module, LOGLEVEL level, ILog** log) {
  if (module == nullptr || log == nullptr || !IsModuleName(module)) return EINVAL;
  const std::lock_guard<std::mutex> lock(g_mutex);
  if (*g_location == '\0') return ENOENT;  // InitLogger has not succeeded yet.
  char path[PATH_MAX + kLongestFileNameBytes];
  (void)snprintf(path, sizeof(path), "%s/%s.log", g_location, module);
  Logger* logger = Logger::Find(path);
  if (logger != nullptr) {
    logger->SetLevel(level);
  } else {
    logger = new (std::nothrow) Logger(path, module, level, *g_utc_offsets, kDefaultLimits);
  }
  if (logger == nullptr) return ENOMEM;
  *log = logger;
  return 0;
}
