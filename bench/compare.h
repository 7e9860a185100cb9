// The frame of the benchmarks: one of our functions beside a named peer that does the same work, in one run.
//
// A family of functions has a file of its own here, listed in CMakeLists.txt, and each comparison is an object in it:
//
//   static const Comparison kJoin("join", "100 items of 8 bytes",
//                                 [] { return join(Items(), ", "); },
//                                 "absl::StrJoin", [] { return absl::StrJoin(Items(), ", "); });
//
// Both callables do the work once and return its result, so that it is not optimised away. What they work on is made
// when they are called first, and never measured: in a function's static, as `Items` above. Both results should be
// equal; say in a comment where they are not.
//
// scripts/bench runs all of them, interleaved, and prints the ratios.
#pragma once

#include <benchmark/benchmark.h>

#include <string>
#include <utility>

class Comparison {
 public:
  // `function` holds no '/', and neither does `peer_name`; `input` says in a few words what both work on.
  template <typename Ours, typename Peer>
  Comparison(const std::string& function, const std::string& input, Ours ours, const std::string& peer_name,
             Peer peer) {
    Register(function + "/" + input + "/ours", std::move(ours));
    Register(function + "/" + input + "/" + peer_name, std::move(peer));
  }

 private:
  template <typename Work>
  static void Register(const std::string& name, Work work) {
    benchmark::RegisterBenchmark(name.c_str(), [work](benchmark::State& state) {
      benchmark::DoNotOptimize(work());  // Makes what it works on.
      for (auto _ : state) benchmark::DoNotOptimize(work());
    });
  }
};
