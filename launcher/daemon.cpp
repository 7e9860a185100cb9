#include "launcher/daemon.h"

#include <signal.h>
#include <unistd.h>

// Defined in this order, so that at exit the map is destroyed last.
std::unordered_map<std::string, std::shared_ptr<ChildProc>> g_child_map;
std::mutex g_process_mutex;
std::condition_variable g_process_condition;

void InitDaemon() {
  // Nobody to report a failure to: there is no logger yet, and soon no standard error.
  (void)close(STDIN_FILENO);
  (void)close(STDOUT_FILENO);
  (void)close(STDERR_FILENO);
  (void)signal(SIGTERM, &sigterm_handler);
}

void sigterm_handler(int signal_number) {
  if (signal_number != SIGTERM) return;
  g_child_map.clear();
  g_process_condition.notify_all();
}
