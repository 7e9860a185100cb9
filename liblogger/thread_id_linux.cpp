#include <sys/syscall.h>
#include <unistd.h>

#include "liblogger/thread_id.h"

// Kept, because asking the kernel costs a tenth of writing a record. The storage model is one that is part of each
// thread from its start; the others may be allocated at first use.
static thread_local uint64_t t_thread_id __attribute__((tls_model("initial-exec")));

uint64_t CurrentThreadId() {
  if (t_thread_id == 0) t_thread_id = static_cast<uint64_t>(syscall(SYS_gettid));
  return t_thread_id;
}

void ForgetThreadId() { t_thread_id = 0; }
