// What the benchmarks measure with: a steady clock, durations and percentiles.
#pragma once

#include <algorithm>
#include <chrono>
#include <cmath>
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

inline double median(std::vector<double> v) { return percentile(std::move(v), 0.5); }

}  // namespace kestrune
