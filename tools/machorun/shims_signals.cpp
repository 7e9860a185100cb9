// Signals, whose numbers and sets differ. The wait status of a process carries a number, too; see shims_processes.cpp.

#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <sys/time.h>

#include "tools/machorun/darwin.h"
#include "tools/machorun/shims.h"

static constexpr int kSignals = 32;

// By the number there; 0 where Linux has none.
static constexpr int kHostSignals[kSignals] = {
    0,       SIGHUP, SIGINT,  SIGQUIT, SIGILL,    SIGTRAP, SIGABRT,  0,       SIGFPE,  SIGKILL, SIGBUS,
    SIGSEGV, SIGSYS, SIGPIPE, SIGALRM, SIGTERM,   SIGURG,  SIGSTOP,  SIGTSTP, SIGCONT, SIGCHLD, SIGTTIN,
    SIGTTOU, SIGIO,  SIGXCPU, SIGXFSZ, SIGVTALRM, SIGPROF, SIGWINCH, 0,       SIGUSR1, SIGUSR2};

int HostSignal(int darwin_signal) {
  return darwin_signal >= 0 && darwin_signal < kSignals ? kHostSignals[darwin_signal] : 0;
}

int DarwinSignal(int host_signal) {
  for (int number = 1; number < kSignals; ++number) {
    if (kHostSignals[number] == host_signal) return number;
  }
  return 0;
}

static bool IsSignal(int darwin_signal) { return darwin_signal > 0 && darwin_signal < kSignals; }

static sigset_t HostSet(uint32_t mask) {
  sigset_t set;
  (void)sigemptyset(&set);
  for (int number = 1; number < kSignals; ++number) {
    if ((mask >> (number - 1) & 1) != 0 && HostSignal(number) != 0) (void)sigaddset(&set, HostSignal(number));
  }
  return set;
}

static uint32_t DarwinSet(const sigset_t& set) {
  uint32_t mask = 0;
  for (int number = 1; number < kSignals; ++number) {
    if (HostSignal(number) != 0 && sigismember(&set, HostSignal(number)) == 1) mask |= uint32_t{1} << (number - 1);
  }
  return mask;
}

// --- Actions: what the program asked for, and a handler of the host's that hands on the program's number.

static DarwinSigaction g_actions[kSignals];

static bool IsHandler(const void* handler) {
  return handler != reinterpret_cast<void*>(SIG_DFL) && handler != reinterpret_cast<void*>(SIG_IGN);
}

static void Deliver(int host_signal, siginfo_t* host_info, void* context) {
  const int number = DarwinSignal(host_signal);
  const DarwinSigaction action = g_actions[number];
  if (!IsHandler(action.handler)) return;
  if ((action.flags & kDarwinWithInfo) != 0) {
    DarwinSiginfo info = {};
    info.number = number;
    info.code = host_info->si_code;
    info.process = host_info->si_pid;
    info.user = host_info->si_uid;
    info.address = host_info->si_addr;
    reinterpret_cast<void (*)(int, DarwinSiginfo*, void*)>(action.handler)(number, &info, context);
  } else {
    reinterpret_cast<void (*)(int)>(action.handler)(number);
  }
}

static int HostActionFlags(int flags) {
  int host = SA_SIGINFO;
  if ((flags & kDarwinOnStack) != 0) host |= SA_ONSTACK;
  if ((flags & kDarwinRestart) != 0) host |= SA_RESTART;
  if ((flags & kDarwinResetHandler) != 0) host |= static_cast<int>(SA_RESETHAND);
  if ((flags & kDarwinNoChildStop) != 0) host |= SA_NOCLDSTOP;
  if ((flags & kDarwinNoDefer) != 0) host |= SA_NODEFER;
  if ((flags & kDarwinNoChildWait) != 0) host |= SA_NOCLDWAIT;
  return host;
}

static int Sigaction(int number, const DarwinSigaction* wanted, DarwinSigaction* previous) {
  if (!IsSignal(number)) {
    errno = EINVAL;
    return -1;
  }
  const int host_number = HostSignal(number);
  DarwinSigaction present = g_actions[number];
  if (host_number != 0) {
    struct sigaction host = {};
    if (sigaction(host_number, nullptr, &host) != 0) return -1;
    // What was in force when the program began, or was reset by a delivery.
    if (host.sa_handler == SIG_DFL || host.sa_handler == SIG_IGN) {
      present.handler = reinterpret_cast<void*>(host.sa_handler);
      present.flags &= ~kDarwinWithInfo;
    }
    if (wanted != nullptr) {
      struct sigaction made = {};
      made.sa_mask = HostSet(wanted->mask);
      if (IsHandler(wanted->handler)) {
        g_actions[number] = *wanted;
        made.sa_sigaction = &Deliver;
        made.sa_flags = HostActionFlags(wanted->flags);
      } else {
        made.sa_handler = reinterpret_cast<void (*)(int)>(wanted->handler);
        made.sa_flags = HostActionFlags(wanted->flags) & ~SA_SIGINFO;
      }
      if (sigaction(host_number, &made, nullptr) != 0) return -1;
    }
  }
  if (wanted != nullptr) g_actions[number] = *wanted;
  if (previous != nullptr) *previous = present;
  return 0;
}

static void* Signal(int number, void* handler) {
  DarwinSigaction wanted = {handler, 0, kDarwinRestart};
  DarwinSigaction previous = {};
  return Sigaction(number, &wanted, &previous) == 0 ? previous.handler : reinterpret_cast<void*>(SIG_ERR);
}

// --- Masks

static int HostHow(int how) {
  switch (how) {
    case kDarwinBlock:
      return SIG_BLOCK;
    case kDarwinUnblock:
      return SIG_UNBLOCK;
    default:
      return SIG_SETMASK;
  }
}

static int ThreadMask(int how, const uint32_t* mask, uint32_t* previous) {
  sigset_t set;
  sigset_t before;
  if (mask != nullptr) set = HostSet(*mask);
  const int error = pthread_sigmask(HostHow(how), mask != nullptr ? &set : nullptr, &before);
  if (error == 0 && previous != nullptr) *previous = DarwinSet(before);
  return DarwinError(error);
}

static int ProcessMask(int how, const uint32_t* mask, uint32_t* previous) {
  const int error = HostError(ThreadMask(how, mask, previous));
  if (error == 0) return 0;
  errno = error;
  return -1;
}

static int Pending(uint32_t* mask) {
  sigset_t set;
  if (sigpending(&set) != 0) return -1;
  *mask = DarwinSet(set);
  return 0;
}

static int Suspend(const uint32_t* mask) {
  const sigset_t set = HostSet(*mask);
  return sigsuspend(&set);
}

static int Wait(const uint32_t* mask, int* number) {
  const sigset_t set = HostSet(*mask);
  int host_number = 0;
  const int error = sigwait(&set, &host_number);
  if (error == 0) *number = DarwinSignal(host_number);
  return DarwinError(error);
}

// --- Sending

static int Kill(pid_t process, int number) {
  if (number != 0 && HostSignal(number) == 0) {
    errno = EINVAL;
    return -1;
  }
  return kill(process, HostSignal(number));
}

static int Raise(int number) { return raise(HostSignal(number)); }

static int ThreadKill(pthread_t thread, int number) { return DarwinError(pthread_kill(thread, HostSignal(number))); }

static int SetTimer(int which, const DarwinIntervalTimer* wanted, DarwinIntervalTimer* previous) {
  const itimerval host = {{wanted->interval.seconds, wanted->interval.microseconds},
                          {wanted->value.seconds, wanted->value.microseconds}};
  itimerval before = {};
  if (setitimer(static_cast<__itimer_which>(which), &host, &before) != 0) return -1;
  if (previous != nullptr) {
    *previous = {{before.it_interval.tv_sec, static_cast<int32_t>(before.it_interval.tv_usec)},
                 {before.it_value.tv_sec, static_cast<int32_t>(before.it_value.tv_usec)}};
  }
  return 0;
}

// --- What a process does with signals: of all that the system can be asked for, this one answer.

static int AskSystem(const int* question, unsigned words, void* answer, size_t* bytes, const void*, size_t) {
  if (words != 4 || question[0] != kDarwinAskKernel || question[1] != kDarwinAskProcess ||
      question[2] != kDarwinAskByNumber || answer == nullptr || *bytes < sizeof(DarwinProcessInfo)) {
    errno = ENOENT;
    return -1;
  }
  *bytes = 0;  // So it is for a process that is not there.
  char text[64];
  (void)snprintf(text, sizeof(text), "/proc/%d/status", question[3]);
  FILE* const file = fopen(text, "re");
  if (file == nullptr) return 0;
  unsigned long long handled = 0;
  while (*bytes == 0 && fgets(text, sizeof(text), file) != nullptr) {
    if (sscanf(text, "SigCgt: %llx", &handled) == 1) *bytes = sizeof(DarwinProcessInfo);
  }
  (void)fclose(file);
  auto* const info = static_cast<DarwinProcessInfo*>(answer);
  *info = {};
  for (int number = 1; number < kSignals; ++number) {
    const int host = HostSignal(number);
    if (host != 0 && (handled >> (host - 1) & 1) != 0) info->handled_signals |= uint32_t{1} << (number - 1);
  }
  return 0;
}

template <typename Function>
static void* Address(Function* function) {
  return reinterpret_cast<void*>(function);
}

const Shim* SignalShims() {
  static const Shim shims[] = {
      {"_sigaction", Address(&Sigaction)},
      {"_signal", Address(&Signal)},
      {"_pthread_sigmask", Address(&ThreadMask)},
      {"_sigprocmask", Address(&ProcessMask)},
      {"_sysctl", Address(&AskSystem)},
      {"_sigpending", Address(&Pending)},
      {"_sigsuspend", Address(&Suspend)},
      {"_sigwait", Address(&Wait)},
      {"_kill", Address(&Kill)},
      {"_raise", Address(&Raise)},
      {"_pthread_kill", Address(&ThreadKill)},
      {"_setitimer", Address(&SetTimer)},
      {nullptr, nullptr},
  };
  return shims;
}
