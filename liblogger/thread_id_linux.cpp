#include <sys/syscall.h>
#include <unistd.h>

#include "liblogger/thread_id.h"

uint64_t CurrentThreadId() { return static_cast<uint64_t>(syscall(SYS_gettid)); }
