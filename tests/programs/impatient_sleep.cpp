// Preloaded into a launcher: its pauses below 30 seconds take no time, so that a long one comes soon. What it logs and
// shows is the truth all the same, but for these pauses.

#include <dlfcn.h>
#include <time.h>

extern "C" int nanosleep(const timespec* wanted, timespec* left) {
  constexpr time_t kLongSeconds = 30;
  if (wanted->tv_sec >= 1 && wanted->tv_sec < kLongSeconds) return 0;
  static const auto real = reinterpret_cast<int (*)(const timespec*, timespec*)>(dlsym(RTLD_NEXT, "nanosleep"));
  return real(wanted, left);
}
