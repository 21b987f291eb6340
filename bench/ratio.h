/// Measures two ways of doing one job side by side, so that a figure means the same on every machine.
#pragma once

#include <benchmark/benchmark.h>
#include <time.h>  // clock_gettime

#include <algorithm>
#include <chrono>
#include <vector>

namespace bench {

inline double seconds_of(const auto& job) {
  const auto start = std::chrono::steady_clock::now();
  job();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// Of this thread: other work on the machine does not count.
inline double processor_seconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

inline double processor_seconds_of(const auto& job) {
  const double start = processor_seconds();
  job();
  return processor_seconds() - start;
}

/// For a benchmark that measures all of its queries itself, in one go.
inline void once(benchmark::internal::Benchmark* registered) {
  registered->UseManualTime()->Iterations(1)->Unit(benchmark::kMicrosecond);
}

inline double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

/// Runs `ours` and `peer` in turns. The benchmark's time is that of `ours`; counters give the median time per
/// item of both in nanoseconds and the median of peer / ours as "times_as_fast". `time_of` measures a job.
/// Register with ->UseManualTime().
inline void compare_by(benchmark::State& state, double items, const auto& ours, const auto& peer,
                       const auto& time_of) {
  std::vector<double> ourTimes;
  std::vector<double> peerTimes;
  std::vector<double> ratios;
  ours();
  peer();
  for (auto unused : state) {
    static_cast<void>(unused);
    ourTimes.push_back(time_of(ours));
    peerTimes.push_back(time_of(peer));
    ratios.push_back(peerTimes.back() / ourTimes.back());
    state.SetIterationTime(ourTimes.back());
  }
  state.counters["ours_ns"] = median(ourTimes) / items * 1e9;
  state.counters["peer_ns"] = median(peerTimes) / items * 1e9;
  state.counters["times_as_fast"] = median(ratios);
}

/// By the clock.
inline void compare(benchmark::State& state, double items, const auto& ours, const auto& peer) {
  compare_by(state, items, ours, peer, [](const auto& job) { return seconds_of(job); });
}

/// By the processor's time of this thread: for jobs of one thread, on machines that have other work.
inline void compare_thread(benchmark::State& state, double items, const auto& ours, const auto& peer) {
  compare_by(state, items, ours, peer, [](const auto& job) { return processor_seconds_of(job); });
}

}  // namespace bench
