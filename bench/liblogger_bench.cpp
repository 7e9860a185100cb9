// Records per second of the logging library beside those of spdlog's multi-threaded file logger, flushed per record
// and with the same columns: 1, 2 and 8 threads that write the launcher's longest everyday record.
//
//   scripts/bench LogV  # real time by record, and CPU time of all threads by record
//
// The peer writes to the file that it has once opened. Ours also looks where the path leads and whether the file ends
// with a whole record, in a burst like this one every 50 microseconds, and rotates. Both leave the time zone to a
// table.
#include <benchmark/benchmark.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#include <stdlib.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "liblogger/liblogger.h"

static std::string g_folder;

__attribute__((format(printf, 2, 3))) static void Log(ILog* log, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  log->LogV(LOGLEVEL_ERROR, format, arguments);
  va_end(arguments);
}

static void BM_Liblogger(benchmark::State& state) {
  ILog* log = nullptr;
  if (GetLogger(2, "launcher", LOGLEVEL_ERROR, &log) != 0) state.SkipWithError("no logger");
  int seconds = 0;
  for (auto _ : state) {
    Log(log, "[LAUNCHER  ] Program %s ended with status %d after %d seconds", "sync", 3, seconds++);
  }
  state.SetItemsProcessed(state.iterations());
}

static void BM_Spdlog(benchmark::State& state) {
  static const std::shared_ptr<spdlog::logger> log = [] {
    auto made = spdlog::basic_logger_mt("spdlog", g_folder + "/spdlog.log");
    made->set_pattern("%Y-%m-%dT%H:%M:%S.%e%z %-8l %n %8P %8t %v");
    made->flush_on(spdlog::level::trace);
    return made;
  }();
  // An unbounded file would fill the disk in a long run.
  if (state.thread_index() == 0) std::filesystem::resize_file(g_folder + "/spdlog.log", 0);
  int seconds = 0;
  for (auto _ : state) {
    log->error("[LAUNCHER  ] Program {} ended with status {} after {} seconds", "sync", 3, seconds++);
  }
  state.SetItemsProcessed(state.iterations());
}

BENCHMARK(BM_Liblogger)->Name("LogV/everyday record/ours")->Threads(1)->Threads(2)->Threads(8)->UseRealTime();
BENCHMARK(BM_Spdlog)->Name("LogV/everyday record/spdlog")->Threads(1)->Threads(2)->Threads(8)->UseRealTime();

int main(int argc, char** argv) {
  char folder[] = "/tmp/liblogger_bench.XXXXXX";
  if (mkdtemp(folder) == nullptr || InitLogger(folder) != 0) {
    perror(folder);
    return EXIT_FAILURE;
  }
  g_folder = folder;
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  std::filesystem::remove_all(folder);
  return EXIT_SUCCESS;
}
