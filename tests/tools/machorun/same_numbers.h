// The numbers that machorun hands through unchanged, because they are the same on both systems: compiling this holds
// it.
#pragma once

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

static_assert(O_RDONLY == 0 && O_WRONLY == 1 && O_RDWR == 2);
static_assert(F_DUPFD == 0 && F_GETFD == 1 && F_SETFD == 2 && F_GETFL == 3 && F_SETFL == 4 && FD_CLOEXEC == 1);
static_assert(LOCK_SH == 1 && LOCK_EX == 2 && LOCK_NB == 4 && LOCK_UN == 8);
static_assert(F_OK == 0 && X_OK == 1 && W_OK == 2 && R_OK == 4);
static_assert(SEEK_SET == 0 && SEEK_CUR == 1 && SEEK_END == 2);
static_assert(S_IFIFO == 0010000 && S_IFDIR == 0040000 && S_IFREG == 0100000 && S_IFLNK == 0120000);
static_assert(DT_FIFO == 1 && DT_DIR == 4 && DT_REG == 8 && DT_LNK == 10);
static_assert(PROT_READ == 1 && PROT_WRITE == 2 && PROT_EXEC == 4);
static_assert(MAP_SHARED == 1 && MAP_PRIVATE == 2 && MAP_FIXED == 16);
static_assert(WNOHANG == 1 && WUNTRACED == 2);
static_assert(CLD_EXITED == 1 && CLD_KILLED == 2 && CLD_DUMPED == 3);
static_assert(static_cast<int>(P_ALL) == 0 && static_cast<int>(P_PID) == 1);
static_assert(static_cast<int>(RLIMIT_CPU) == 0 && static_cast<int>(RLIMIT_FSIZE) == 1);
static_assert(static_cast<int>(RLIMIT_DATA) == 2 && static_cast<int>(RLIMIT_STACK) == 3);
static_assert(static_cast<int>(ITIMER_REAL) == 0 && static_cast<int>(ITIMER_VIRTUAL) == 1);
