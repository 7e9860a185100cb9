// The daemon: `launcher NAME LIST` starts what the launch list names and supervises it until SIGTERM.
//
// The exit status is inverted, by contract with whoever starts it: 0 for every failure, 1 for an orderly end.

#include <signal.h>
#include <syslog.h>

#include <mutex>
#include <string>

#include "common/logging/log.h"
#include "launcher/daemon.h"
#include "launcher/event_log.h"
#include "launcher/heap.h"
#include "launcher/launch_list.h"
#include "launcher/sigterm_mask.h"

static constexpr int kFailure = 0;
static constexpr int kOrderlyEnd = 1;

static void WaitForSigterm() {
  std::unique_lock<std::mutex> lock(g_process_mutex);
  const SigtermAdmitted now;
  g_process_condition.wait(lock);  // Once: any wake-up ends the daemon.
}

static int Run(int argc, char** argv) {
  InitDaemon();
  if (argc <= 2) {
    WriteEvent("Pellux Launcher", LOG_ERR, "wrong parameters.");
    return kFailure;
  }
  const std::string name = argv[1];
  const std::string path = argv[2];

  // The list is read before the logger starts, so this line and those of the reading are dropped.
  std::string text;
  __LOG__A(logger, LOGLEVEL_ERROR, "[LAUNCHER  ] Read data from %s", path.c_str());
  if (!ReadData(path, text)) {
    __LOG__A(logger, LOGLEVEL_ERROR, "[LAUNCHER  ] Failed to read data from %s", path.c_str());
    return kFailure;
  }
  InitLog(name);

  // From here on there is something to stop, so SIGTERM may interrupt this thread only where it holds nothing that the
  // handler needs: between two items, and in the wait.
  BlockSigterm();
  try {
    StartChildren(name, text);
  } catch (...) {
    // Children that were started already end with the process.
    __LOG__A(logger, LOGLEVEL_ERROR, "[LAUNCHER  ] Error while parsing saved json string.");
    return kFailure;
  }
  WaitForSigterm();
  return kOrderlyEnd;
}

int main(int argc, char** argv) {
  ShareOneHeap();
  const int exit_status = Run(argc, argv);
  // Static destruction comes next, and stops the supervisors that are left. The handler must not meet a map that is
  // being destroyed.
  (void)signal(SIGTERM, SIG_IGN);
  return exit_status;
}
