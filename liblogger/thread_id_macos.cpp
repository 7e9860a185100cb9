#include <pthread.h>

#include "liblogger/thread_id.h"

uint64_t CurrentThreadId() {
  uint64_t id = 0;
  (void)pthread_threadid_np(nullptr, &id);
  return id;
}

void ForgetThreadId() {}  // The system keeps the number, and keeps it right.
