#include "launcher/event_log.h"

#include <syslog.h>

#include "common/logging/log.h"
#include "common/settings/log_settings.h"
#include "liblogger/liblogger.h"

void InitLog(std::string name) {
  const LOGLEVEL level = GetLogLevel();
  const std::string location = GetLogPath();
  if (InitLogger(location.c_str()) != 0) {
    WriteEvent("Pellux Launcher for " + name, LOG_ERR, "Failed to initialize logger");
    return;
  }
  constexpr int kReserved = 2;
  ILog* log = nullptr;
  (void)GetLogger(kReserved, "launcher", level, &log);  // What counts is the pointer; it may stay null.
  logger = log;
}

// The text is the format by contract; see the header.
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"

void WriteEvent(const std::string& source, unsigned short priority, const std::string& message) {
  const std::string text = source + " : " + message;
  syslog(priority, text.c_str());
}
