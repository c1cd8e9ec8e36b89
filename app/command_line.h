// What the programs say about their command lines: an option without its value, an option that
// the command does not take.
#pragma once

#include <cstdlib>
#include <string>

namespace kestrune {

inline std::string needs_value(const std::string& option, const char* what = "a value") {
    return option + " needs " + what;
}

// "--from takes a bar number from 1 to 9999, not 0"
inline std::string takes(const std::string& option, const std::string& what,
                         const std::string& value) {
    return option + " takes " + what + ", not " + value;
}

// The whole text as a number from low to high.
inline bool whole_number(const std::string& text, long low, long high, int& out) {
    char* end = nullptr;
    const long n = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != 0 || n < low || n > high) return false;
    out = static_cast<int>(n);
    return true;
}

// An option word that `command` of kestrune-tool does not take: one that another command takes,
// or one that no command knows.
inline std::string refused_option(const std::string& command, const std::string& option) {
    static const char* const known[] = {
        "--pattern", "--tempo", "--signature", "--track", "--locators",  "--answer", "--list",
        "--port",    "--from",  "--loop",      "--to",    "--soundfont", "--rate"};
    for (const char* k : known)
        if (option == k) return command + " does not use " + option;
    return "unknown option " + option;
}

}  // namespace kestrune
