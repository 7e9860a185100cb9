// beside_threads COUNT: what one more thread and what a fork take beside COUNT sleeping threads, as in a launcher that
// supervises COUNT programs. Prints the medians, in microseconds: the making of one of the last threads, the making of
// a process by `fork`, and that process's own time until its end, in which the copy of the tables is taken down again.
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <vector>

using Clock = std::chrono::steady_clock;

static constexpr size_t kLastThreads = 10;
static constexpr int kForks = 50;

static void* Sleep(void*) {
  for (;;) (void)pause();
}

static double MicrosecondsSince(Clock::time_point begin) {
  return std::chrono::duration<double, std::micro>(Clock::now() - begin).count();
}

static double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

static double Microseconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_usec);
}

int main(int argc, char** argv) {
  if (argc < 2 || atoi(argv[1]) < 1) return EXIT_FAILURE;
  std::vector<double> thread_times;
  for (int i = atoi(argv[1]); i > 0; --i) {
    pthread_t thread;
    const Clock::time_point begin = Clock::now();
    if (pthread_create(&thread, nullptr, &Sleep, nullptr) != 0) return EXIT_FAILURE;
    thread_times.push_back(MicrosecondsSince(begin));
  }
  if (thread_times.size() > kLastThreads) thread_times.erase(thread_times.begin(), thread_times.end() - kLastThreads);

  std::vector<double> fork_times;
  std::vector<double> child_times;
  for (int i = 0; i < kForks; ++i) {
    const Clock::time_point begin = Clock::now();
    const pid_t pid = fork();
    if (pid == 0) _exit(EXIT_SUCCESS);
    if (pid < 0) return EXIT_FAILURE;
    fork_times.push_back(MicrosecondsSince(begin));
    rusage used = {};
    (void)wait4(pid, nullptr, 0, &used);
    child_times.push_back(Microseconds(used.ru_utime) + Microseconds(used.ru_stime));
  }
  printf("%.0f %.0f %.0f\n", Median(thread_times), Median(fork_times), Median(child_times));
}
