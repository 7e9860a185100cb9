// Holds what machorun knows of macOS against the system's own headers. It is enough that this compiles.

#include "tests/tools/machorun/same_numbers.h"
#include "tools/machorun/darwin.h"

#include <ctype.h>
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <locale.h>
#include <mach/thread_info.h>
#include <pthread.h>
#include <pwd.h>
#include <regex.h>
#include <runetype.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/proc_info.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/sysctl.h>
#include <sys/time.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>
#include <xlocale.h>

#include <cstddef>

// Functions have these names, too.
using StatThere = struct stat;
using SigactionThere = struct sigaction;

#define SAME(ours, theirs) static_assert((ours) == (theirs), #theirs)
#define SAME_FIELD(Ours, our_field, Theirs, their_field)                                   \
  static_assert(offsetof(Ours, our_field) == offsetof(Theirs, their_field), #their_field); \
  static_assert(sizeof(Ours::our_field) == sizeof(Theirs::their_field), #their_field)

SAME(kDarwinNonBlock, O_NONBLOCK);
SAME(kDarwinAppend, O_APPEND);
SAME(kDarwinNoFollow, O_NOFOLLOW);
SAME(kDarwinCreate, O_CREAT);
SAME(kDarwinTruncate, O_TRUNC);
SAME(kDarwinExclusive, O_EXCL);
SAME(kDarwinNoControllingTerminal, O_NOCTTY);
SAME(kDarwinDirectory, O_DIRECTORY);
SAME(kDarwinCloseOnExec, O_CLOEXEC);
SAME(kDarwinAccessMode, O_ACCMODE);
SAME(kDarwinDupCloseOnExec, F_DUPFD_CLOEXEC);
SAME(kDarwinAtCurrentFolder, AT_FDCWD);
SAME(kDarwinAtNoFollow, AT_SYMLINK_NOFOLLOW);
SAME(kDarwinAtRemoveFolder, AT_REMOVEDIR);
SAME(kDarwinMapAnonymous, MAP_ANON);

SAME(sizeof(DarwinStat), sizeof(struct stat));
SAME_FIELD(DarwinStat, device, StatThere, st_dev);
SAME_FIELD(DarwinStat, mode, StatThere, st_mode);
SAME_FIELD(DarwinStat, links, StatThere, st_nlink);
SAME_FIELD(DarwinStat, inode, StatThere, st_ino);
SAME_FIELD(DarwinStat, user, StatThere, st_uid);
SAME_FIELD(DarwinStat, group, StatThere, st_gid);
SAME_FIELD(DarwinStat, special_device, StatThere, st_rdev);
SAME_FIELD(DarwinStat, modified, StatThere, st_mtimespec);
SAME_FIELD(DarwinStat, size_bytes, StatThere, st_size);
SAME_FIELD(DarwinStat, blocks, StatThere, st_blocks);
SAME_FIELD(DarwinStat, block_bytes, StatThere, st_blksize);

SAME_FIELD(DarwinDirectoryEntry, inode, dirent, d_ino);
SAME_FIELD(DarwinDirectoryEntry, name_bytes, dirent, d_namlen);
SAME_FIELD(DarwinDirectoryEntry, type, dirent, d_type);
SAME_FIELD(DarwinDirectoryEntry, name, dirent, d_name);

SAME(sizeof(DarwinPasswd), sizeof(passwd));
SAME_FIELD(DarwinPasswd, name, passwd, pw_name);
SAME_FIELD(DarwinPasswd, user, passwd, pw_uid);
SAME_FIELD(DarwinPasswd, folder, passwd, pw_dir);
SAME_FIELD(DarwinPasswd, shell, passwd, pw_shell);

SAME(sizeof(DarwinIntervalTimer), sizeof(itimerval));
SAME_FIELD(DarwinTimeval, microseconds, timeval, tv_usec);
SAME_FIELD(DarwinTimespec, nanoseconds, timespec, tv_nsec);

SAME(sizeof(DarwinSigaction), sizeof(struct sigaction));
SAME_FIELD(DarwinSigaction, mask, SigactionThere, sa_mask);
SAME_FIELD(DarwinSigaction, flags, SigactionThere, sa_flags);
SAME(sizeof(DarwinSiginfo), sizeof(siginfo_t));
SAME_FIELD(DarwinSiginfo, process, siginfo_t, si_pid);
SAME_FIELD(DarwinSiginfo, status, siginfo_t, si_status);
SAME_FIELD(DarwinSiginfo, address, siginfo_t, si_addr);
SAME(kDarwinBlock, SIG_BLOCK);
SAME(kDarwinUnblock, SIG_UNBLOCK);
SAME(kDarwinSetMask, SIG_SETMASK);
SAME(kDarwinOnStack, SA_ONSTACK);
SAME(kDarwinRestart, SA_RESTART);
SAME(kDarwinResetHandler, SA_RESETHAND);
SAME(kDarwinNoChildStop, SA_NOCLDSTOP);
SAME(kDarwinNoDefer, SA_NODEFER);
SAME(kDarwinNoChildWait, SA_NOCLDWAIT);
SAME(kDarwinWithInfo, SA_SIGINFO);

// The order in which machorun lists the host's signals.
SAME(7, SIGEMT);
SAME(10, SIGBUS);
SAME(12, SIGSYS);
SAME(16, SIGURG);
SAME(17, SIGSTOP);
SAME(18, SIGTSTP);
SAME(19, SIGCONT);
SAME(20, SIGCHLD);
SAME(23, SIGIO);
SAME(28, SIGWINCH);
SAME(29, SIGINFO);
SAME(30, SIGUSR1);
SAME(31, SIGUSR2);

SAME(kDarwinWaitNoHang, WNOHANG);
SAME(kDarwinWaitExited, WEXITED);
SAME(kDarwinWaitStopped, WSTOPPED);
SAME(kDarwinWaitContinued, WCONTINUED);
SAME(kDarwinWaitNoReap, WNOWAIT);

SAME(kDarwinAskKernel, CTL_KERN);
SAME(kDarwinAskProcess, KERN_PROC);
SAME(kDarwinAskByNumber, KERN_PROC_PID);
SAME(sizeof(DarwinProcessInfo), sizeof(kinfo_proc));
SAME_FIELD(DarwinProcessInfo, handled_signals, kinfo_proc, kp_proc.p_sigcatch);

SAME(kDarwinLimitCore, RLIMIT_CORE);
SAME(kDarwinLimitAddressSpace, RLIMIT_AS);
SAME(kDarwinLimitLocked, RLIMIT_MEMLOCK);
SAME(kDarwinLimitProcesses, RLIMIT_NPROC);
SAME(kDarwinLimitFiles, RLIMIT_NOFILE);
SAME(kDarwinLimitInfinite, RLIM_INFINITY);

SAME(kDarwinSysconfArguments, _SC_ARG_MAX);
SAME(kDarwinSysconfFiles, _SC_OPEN_MAX);
SAME(kDarwinSysconfPageSize, _SC_PAGESIZE);
SAME(kDarwinSysconfProcessors, _SC_NPROCESSORS_ONLN);
SAME(kDarwinSysconfPasswd, _SC_GETPW_R_SIZE_MAX);

SAME(kDarwinClockRealtime, CLOCK_REALTIME);
SAME(kDarwinClockMonotonicRaw, CLOCK_MONOTONIC_RAW);
SAME(kDarwinClockMonotonic, CLOCK_MONOTONIC);
SAME(kDarwinClockUptimeRaw, CLOCK_UPTIME_RAW);
SAME(kDarwinClockProcess, CLOCK_PROCESS_CPUTIME_ID);
SAME(kDarwinClockThread, CLOCK_THREAD_CPUTIME_ID);

SAME(kDarwinMutexInitializer, _PTHREAD_MUTEX_SIG_init);
SAME(kDarwinConditionInitializer, _PTHREAD_COND_SIG_init);
SAME(kDarwinOnceInitializer, _PTHREAD_ONCE_SIG_init);
SAME(kDarwinMutexBytes, sizeof(pthread_mutex_t));
SAME(kDarwinConditionBytes, sizeof(pthread_cond_t));
SAME(kDarwinThreadAttributesBytes, sizeof(pthread_attr_t));
SAME(kDarwinMutexAttributesBytes, sizeof(pthread_mutexattr_t));
SAME(kDarwinMutexRecursive, PTHREAD_MUTEX_RECURSIVE);

SAME(kDarwinCategoryAll, LC_ALL);
SAME(kDarwinCategoryCollate, LC_COLLATE);
SAME(kDarwinCategoryCtype, LC_CTYPE);
SAME(kDarwinCategoryMonetary, LC_MONETARY);
SAME(kDarwinCategoryNumeric, LC_NUMERIC);
SAME(kDarwinCategoryTime, LC_TIME);
SAME(kDarwinCategoryMessages, LC_MESSAGES);
SAME(1, LC_COLLATE_MASK);
SAME(2, LC_CTYPE_MASK);
SAME(4, LC_MESSAGES_MASK);
SAME(8, LC_MONETARY_MASK);
SAME(16, LC_NUMERIC_MASK);
SAME(32, LC_TIME_MASK);

SAME(kDarwinAlpha, _CTYPE_A);
SAME(kDarwinControl, _CTYPE_C);
SAME(kDarwinDigit, _CTYPE_D);
SAME(kDarwinGraph, _CTYPE_G);
SAME(kDarwinLower, _CTYPE_L);
SAME(kDarwinPunct, _CTYPE_P);
SAME(kDarwinSpace, _CTYPE_S);
SAME(kDarwinUpper, _CTYPE_U);
SAME(kDarwinHexDigit, _CTYPE_X);
SAME(kDarwinBlank, _CTYPE_B);
SAME(kDarwinPrint, _CTYPE_R);
SAME(sizeof(DarwinRuneLocale), sizeof(_RuneLocale));
SAME_FIELD(DarwinRuneLocale, types, _RuneLocale, __runetype);
SAME_FIELD(DarwinRuneLocale, lower, _RuneLocale, __maplower);
SAME_FIELD(DarwinRuneLocale, upper, _RuneLocale, __mapupper);

SAME(11, EDEADLK);
SAME(35, EAGAIN);
SAME(45, ENOTSUP);
SAME(60, ETIMEDOUT);
SAME(62, ELOOP);
SAME(63, ENAMETOOLONG);
SAME(66, ENOTEMPTY);
SAME(69, EDQUOT);
SAME(77, ENOLCK);
SAME(78, ENOSYS);
SAME(84, EOVERFLOW);
SAME(89, ECANCELED);
SAME(92, EILSEQ);
SAME(94, EBADMSG);

SAME(sizeof(DarwinRegex), sizeof(regex_t));
SAME_FIELD(DarwinRegex, groups, regex_t, re_nsub);
SAME(sizeof(DarwinRegexMatch), sizeof(regmatch_t));
SAME_FIELD(DarwinRegexMatch, end, regmatch_t, rm_eo);
SAME(kDarwinRegexExtended, REG_EXTENDED);
SAME(kDarwinRegexIgnoreCase, REG_ICASE);
SAME(kDarwinRegexNoGroups, REG_NOSUB);
SAME(kDarwinRegexNewline, REG_NEWLINE);

SAME(sizeof(DarwinSystemName), sizeof(utsname));
SAME_FIELD(DarwinSystemName, machine, utsname, machine);
SAME(kDarwinListThreads, PROC_PIDLISTTHREADS);
SAME(kDarwinThreadInfo, PROC_PIDTHREADINFO);
SAME(kDarwinThreadRuns, TH_STATE_RUNNING);
SAME(kDarwinThreadWaits, TH_STATE_WAITING);
SAME(sizeof(DarwinThreadInfo), sizeof(proc_threadinfo));
SAME_FIELD(DarwinThreadInfo, run_state, proc_threadinfo, pth_run_state);
