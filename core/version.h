// The program's version, in the form "d.d.d": About shows it, Check For Updates compares it, and
// the build takes its project version from this line.
#pragma once

namespace kestrune {

inline constexpr const char* program_version = "0.1.0";

}  // namespace kestrune
