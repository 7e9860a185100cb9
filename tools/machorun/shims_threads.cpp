// Threads. The objects there begin with a signature, which a static initialiser sets; the host's are put behind it or
// their work is done here.

#include <dirent.h>
#include <errno.h>
#include <limits.h>
#include <linux/futex.h>
#include <pthread.h>
#include <stdlib.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>

#include "tools/machorun/darwin.h"
#include "tools/machorun/failure.h"
#include "tools/machorun/shims.h"

static constexpr int64_t kReady = 0x6d616368;
static constexpr int64_t kBusy = 0x62757379;

// --- Mutexes

struct Mutex {
  std::atomic<int64_t> signature;
  pthread_mutex_t host;
};
static_assert(sizeof(Mutex) <= kDarwinMutexBytes);

// The host's mutex in one of the program's, made on first use where a static initialiser was all there was.
static pthread_mutex_t* HostMutex(Mutex* mutex) {
  int64_t signature = mutex->signature.load(std::memory_order_acquire);
  while (signature != kReady) {
    if (signature != kBusy && signature != kDarwinMutexInitializer) Fail("a mutex that was never initialised is used");
    if (signature == kDarwinMutexInitializer && mutex->signature.compare_exchange_strong(signature, kBusy)) {
      (void)pthread_mutex_init(&mutex->host, nullptr);
      mutex->signature.store(kReady, std::memory_order_release);
    }
    signature = mutex->signature.load(std::memory_order_acquire);
  }
  return &mutex->host;
}

struct MutexAttributes {
  int64_t signature;
  int32_t kind;
};
static_assert(sizeof(MutexAttributes) <= kDarwinMutexAttributesBytes);

static int InitMutexAttributes(MutexAttributes* attributes) {
  *attributes = {kReady, 0};
  return 0;
}

static int SetMutexKind(MutexAttributes* attributes, int kind) {
  attributes->kind = kind;
  return 0;
}

static int DestroyMutexAttributes(MutexAttributes*) { return 0; }

static int InitMutex(Mutex* mutex, const MutexAttributes* attributes) {
  pthread_mutexattr_t host;
  (void)pthread_mutexattr_init(&host);
  if (attributes != nullptr && attributes->kind == kDarwinMutexRecursive) {
    (void)pthread_mutexattr_settype(&host, PTHREAD_MUTEX_RECURSIVE);
  }
  (void)pthread_mutex_init(&mutex->host, &host);
  mutex->signature.store(kReady, std::memory_order_release);
  return 0;
}

static int DestroyMutex(Mutex* mutex) { return DarwinError(pthread_mutex_destroy(HostMutex(mutex))); }
static int LockMutex(Mutex* mutex) { return DarwinError(pthread_mutex_lock(HostMutex(mutex))); }
static int TryMutex(Mutex* mutex) { return DarwinError(pthread_mutex_trylock(HostMutex(mutex))); }
static int UnlockMutex(Mutex* mutex) { return DarwinError(pthread_mutex_unlock(HostMutex(mutex))); }

// --- Conditions: a number that every notification changes, and the kernel's wait for a change.

struct Condition {
  int64_t signature;
  std::atomic<uint32_t> notifications;
};
static_assert(sizeof(Condition) <= kDarwinConditionBytes);

static int InitCondition(Condition* condition, const void*) {
  condition->signature = kReady;
  condition->notifications = 0;
  return 0;
}

static int DestroyCondition(Condition*) { return 0; }

// Returns 0 or ETIMEDOUT. `deadline` is by the system's clock, or null.
static int WaitUntil(Condition* condition, Mutex* mutex, const timespec* deadline) {
  const uint32_t seen = condition->notifications;
  pthread_mutex_t* const host = HostMutex(mutex);
  (void)pthread_mutex_unlock(host);
  int error = 0;
  // A signal's handler may run in between; the wait goes on after it, as it does there.
  while (condition->notifications == seen) {
    const long result =
        syscall(SYS_futex, &condition->notifications, FUTEX_WAIT_BITSET | FUTEX_PRIVATE_FLAG | FUTEX_CLOCK_REALTIME,
                seen, deadline, nullptr, FUTEX_BITSET_MATCH_ANY);
    if (result != 0 && errno == ETIMEDOUT) {
      error = ETIMEDOUT;
      break;
    }
  }
  (void)pthread_mutex_lock(host);
  return DarwinError(error);
}

static int WaitForCondition(Condition* condition, Mutex* mutex) { return WaitUntil(condition, mutex, nullptr); }

static int WaitForConditionUntil(Condition* condition, Mutex* mutex, const DarwinTimespec* deadline) {
  const timespec host = {deadline->seconds, deadline->nanoseconds};
  return WaitUntil(condition, mutex, &host);
}

static int Notify(Condition* condition, int waiters) {
  ++condition->notifications;
  (void)syscall(SYS_futex, &condition->notifications, FUTEX_WAKE | FUTEX_PRIVATE_FLAG, waiters, nullptr, nullptr, 0);
  return 0;
}

static int SignalCondition(Condition* condition) { return Notify(condition, 1); }
static int BroadcastCondition(Condition* condition) { return Notify(condition, INT_MAX); }

// --- Once

struct Once {
  std::atomic<int64_t> signature;
};

static int RunOnce(Once* once, void (*routine)()) {
  int64_t signature = once->signature;
  while (signature != kReady) {
    signature = kDarwinOnceInitializer;
    if (once->signature.compare_exchange_strong(signature, kBusy)) {
      routine();
      once->signature = kReady;
    }
    signature = once->signature;
  }
  return 0;
}

// --- Threads

struct ThreadAttributes {
  int64_t signature;
  uint64_t stack_bytes;
  int32_t detached;
};
static_assert(sizeof(ThreadAttributes) <= kDarwinThreadAttributesBytes);

static int InitThreadAttributes(ThreadAttributes* attributes) {
  *attributes = {kReady, kDarwinThreadStackBytes, 0};
  return 0;
}

static int DestroyThreadAttributes(ThreadAttributes*) { return 0; }

static int GetStackBytes(const ThreadAttributes* attributes, size_t* bytes) {
  *bytes = attributes->stack_bytes;
  return 0;
}

static int SetStackBytes(ThreadAttributes* attributes, size_t bytes) {
  attributes->stack_bytes = bytes;
  return 0;
}

// A thread's stack there is 512 KiB, whatever the limits of the process.
static int CreateThread(pthread_t* thread, const ThreadAttributes* attributes, void* (*routine)(void*),
                        void* argument) {
  pthread_attr_t host;
  (void)pthread_attr_init(&host);
  const size_t stack_bytes = attributes != nullptr ? attributes->stack_bytes : kDarwinThreadStackBytes;
  (void)pthread_attr_setstacksize(&host, stack_bytes);
  const int error = pthread_create(thread, &host, routine, argument);
  (void)pthread_attr_destroy(&host);
  return DarwinError(error);
}

static int JoinThread(pthread_t thread, void** result) { return DarwinError(pthread_join(thread, result)); }
static int DetachThread(pthread_t thread) { return DarwinError(pthread_detach(thread)); }

static int MakeKey(unsigned long* key, void (*destructor)(void*)) {
  pthread_key_t host;
  const int error = pthread_key_create(&host, destructor);
  if (error == 0) *key = host;
  return DarwinError(error);
}

static int DeleteKey(unsigned long key) { return DarwinError(pthread_key_delete(static_cast<pthread_key_t>(key))); }
static void* GetSpecific(unsigned long key) { return pthread_getspecific(static_cast<pthread_key_t>(key)); }
static int SetSpecific(unsigned long key, const void* value) {
  return DarwinError(pthread_setspecific(static_cast<pthread_key_t>(key), value));
}

static uint32_t ThreadPort(pthread_t) { return static_cast<uint32_t>(gettid()); }

static int ThreadNumber(pthread_t thread, uint64_t* number) {
  if (thread != 0 && pthread_equal(thread, pthread_self()) == 0) return ESRCH;
  *number = static_cast<uint64_t>(gettid());
  return 0;
}

static int AtFork(void (*prepare)(), void (*parent)(), void (*child)()) {
  return DarwinError(pthread_atfork(prepare, parent, child));
}

// How many threads this process has: the list itself is not asked for.
static int ListThreads(uint32_t, void** list, uint32_t* count) {
  *list = nullptr;
  *count = 0;
  DIR* const tasks = opendir("/proc/self/task");
  if (tasks == nullptr) return 1;
  for (const dirent* entry = readdir(tasks); entry != nullptr; entry = readdir(tasks)) {
    if (entry->d_name[0] != '.') ++*count;
  }
  (void)closedir(tasks);
  return 0;
}

static int Deallocate(uint32_t, uint64_t, uint64_t) { return 0; }

static uint32_t g_own_task = 1;

extern "C" {
int __cxa_thread_atexit_impl(void (*destructor)(void*), void* object, void* image);
extern void* __dso_handle;
}

static void AtThreadExit(void (*destructor)(void*), void* object) {
  (void)__cxa_thread_atexit_impl(destructor, object, &__dso_handle);
}

static void BootstrapThreadLocals() { Fail("a thread-local variable was not registered"); }

template <typename Function>
static void* Address(Function* function) {
  return reinterpret_cast<void*>(function);
}

const Shim* ThreadShims() {
  static const Shim shims[] = {
      {"_pthread_mutexattr_init", Address(&InitMutexAttributes)},
      {"_pthread_mutexattr_settype", Address(&SetMutexKind)},
      {"_pthread_mutexattr_destroy", Address(&DestroyMutexAttributes)},
      {"_pthread_mutex_init", Address(&InitMutex)},
      {"_pthread_mutex_destroy", Address(&DestroyMutex)},
      {"_pthread_mutex_lock", Address(&LockMutex)},
      {"_pthread_mutex_trylock", Address(&TryMutex)},
      {"_pthread_mutex_unlock", Address(&UnlockMutex)},
      {"_pthread_cond_init", Address(&InitCondition)},
      {"_pthread_cond_destroy", Address(&DestroyCondition)},
      {"_pthread_cond_wait", Address(&WaitForCondition)},
      {"_pthread_cond_timedwait", Address(&WaitForConditionUntil)},
      {"_pthread_cond_signal", Address(&SignalCondition)},
      {"_pthread_cond_broadcast", Address(&BroadcastCondition)},
      {"_pthread_once", Address(&RunOnce)},
      {"_pthread_attr_init", Address(&InitThreadAttributes)},
      {"_pthread_attr_destroy", Address(&DestroyThreadAttributes)},
      {"_pthread_attr_getstacksize", Address(&GetStackBytes)},
      {"_pthread_attr_setstacksize", Address(&SetStackBytes)},
      {"_pthread_create", Address(&CreateThread)},
      {"_pthread_join", Address(&JoinThread)},
      {"_pthread_detach", Address(&DetachThread)},
      {"_pthread_self", Address(&pthread_self)},
      {"_pthread_equal", Address(&pthread_equal)},
      {"_pthread_key_create", Address(&MakeKey)},
      {"_pthread_key_delete", Address(&DeleteKey)},
      {"_pthread_getspecific", Address(&GetSpecific)},
      {"_pthread_setspecific", Address(&SetSpecific)},
      {"_pthread_mach_thread_np", Address(&ThreadPort)},
      {"_pthread_threadid_np", Address(&ThreadNumber)},
      {"_pthread_atfork", Address(&AtFork)},
      {"_task_threads", Address(&ListThreads)},
      {"_vm_deallocate", Address(&Deallocate)},
      {"_mach_task_self_", &g_own_task},
      {"__tlv_atexit", Address(&AtThreadExit)},
      {"__tlv_bootstrap", Address(&BootstrapThreadLocals)},
      {nullptr, nullptr},
  };
  return shims;
}
