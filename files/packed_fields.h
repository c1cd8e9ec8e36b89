// Range holds for fields of packed file records.
#pragma once

namespace kestrune {

// Range holds for fields of packed records, which are taken by value: a reference to a packed
// field may be misaligned.
template <class T>
constexpr T held(T v, T lo, T hi) {
    return v < lo ? lo : hi < v ? hi : v;
}
template <class T>
constexpr T at_most(T v, T hi) {
    return hi < v ? hi : v;
}
template <class T>
constexpr T at_least(T v, T lo) {
    return v < lo ? lo : v;
}

}  // namespace kestrune
