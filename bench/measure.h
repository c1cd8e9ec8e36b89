// What the benchmarks measure with: a steady clock, durations and percentiles.
#pragma once

#include <algorithm>
#include <chrono>
#include <cmath>
#include <ctime>
#include <vector>

namespace kestrune {

using stopwatch = std::chrono::steady_clock;

inline double millis(stopwatch::time_point a, stopwatch::time_point b) {
    return std::chrono::duration<double, std::milli>(b - a).count();
}

inline double micros(stopwatch::time_point a, stopwatch::time_point b) {
    return std::chrono::duration<double, std::micro>(b - a).count();
}

// The sample at fraction q of the sorted samples, to the nearest; NaN for none.
inline double percentile(std::vector<double> v, double q) {
    if (v.empty()) return NAN;
    std::sort(v.begin(), v.end());
    const auto i = static_cast<std::size_t>(q * static_cast<double>(v.size() - 1) + 0.5);
    return v[std::min(i, v.size() - 1)];
}

// The calling thread's own CPU time in µs: the work alone, without the waits that other
// processes on a busy machine put into a wall-clock figure.
inline double thread_cpu_us() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) * 1e6 + static_cast<double>(t.tv_nsec) / 1e3;
}

inline double median(std::vector<double> v) { return percentile(std::move(v), 0.5); }

}  // namespace kestrune
