#include "launcherctl/wait_status.h"

#include <csignal>

std::optional<WaitStatus> ReadWaitStatus(int64_t raw) {
  if (raw < 0 || raw > 0xFFFF) return std::nullopt;
  const int high = static_cast<int>(raw >> 8);
  const int low = static_cast<int>(raw & 0x7F);
  const bool has_core = (raw & 0x80) != 0;
  constexpr int kStopped = 0x7F;
  if (low == 0 && !has_core) return WaitStatus{false, high, false};
  if (low == 0 || low == kStopped || high != 0) return std::nullopt;
  return WaitStatus{true, low, has_core};
}

std::string SignalName(int number) {
  // The numbers are the system's, and not every system has all of them.
  static const struct {
    int number;
    const char* name;
  } kSignals[] = {
      {SIGHUP, "SIGHUP"},       {SIGINT, "SIGINT"},   {SIGQUIT, "SIGQUIT"},   {SIGILL, "SIGILL"},
      {SIGTRAP, "SIGTRAP"},     {SIGABRT, "SIGABRT"}, {SIGBUS, "SIGBUS"},     {SIGFPE, "SIGFPE"},
      {SIGKILL, "SIGKILL"},     {SIGUSR1, "SIGUSR1"}, {SIGSEGV, "SIGSEGV"},   {SIGUSR2, "SIGUSR2"},
      {SIGPIPE, "SIGPIPE"},     {SIGALRM, "SIGALRM"}, {SIGTERM, "SIGTERM"},   {SIGCHLD, "SIGCHLD"},
      {SIGCONT, "SIGCONT"},     {SIGSTOP, "SIGSTOP"}, {SIGTSTP, "SIGTSTP"},   {SIGTTIN, "SIGTTIN"},
      {SIGTTOU, "SIGTTOU"},     {SIGURG, "SIGURG"},   {SIGXCPU, "SIGXCPU"},   {SIGXFSZ, "SIGXFSZ"},
      {SIGVTALRM, "SIGVTALRM"}, {SIGPROF, "SIGPROF"}, {SIGWINCH, "SIGWINCH"}, {SIGIO, "SIGIO"},
      {SIGSYS, "SIGSYS"},
#ifdef SIGSTKFLT
      {SIGSTKFLT, "SIGSTKFLT"},
#endif
#ifdef SIGPWR
      {SIGPWR, "SIGPWR"},
#endif
#ifdef SIGEMT
      {SIGEMT, "SIGEMT"},
#endif
#ifdef SIGINFO
      {SIGINFO, "SIGINFO"},
#endif
  };
  for (const auto& signal : kSignals) {
    if (signal.number == number) return signal.name;
  }
  return "";
}

std::string Meaning(const WaitStatus& status) {
  if (!status.is_signal) return "exit status " + std::to_string(status.number);
  std::string text = "signal " + std::to_string(status.number);
  const std::string name = SignalName(status.number);
  if (!name.empty()) text += " (" + name + ")";
  if (status.has_core) text += ", core dumped";
  return text;
}

std::string MeaningOf(int64_t raw) {
  const auto status = ReadWaitStatus(raw);
  return status ? Meaning(*status) : "wait status " + std::to_string(raw);
}
