#include "core/keys.h"

#include <cctype>
#include <string>

namespace kestrune {

namespace {

struct named_key {
    std::string_view name;
    key_code code;
};
constexpr named_key named_keys[] = {
    {"Left", key_code::left},          {"Right", key_code::right},     {"Up", key_code::up},
    {"Down", key_code::down},          {"Ins", key_code::insert},      {"Del", key_code::del},
    {"Backspace", key_code::backspace}, {"Esc", key_code::escape},     {"Enter", key_code::enter},
    {"Space", key_code::space},        {"Num+0", key_code::pad_0},     {"Num+Enter", key_code::pad_enter},
    {"Num+.", key_code::pad_dot},      {"Num+*", key_code::pad_star},  {"Num+/", key_code::pad_slash},
    {"Num++", key_code::pad_plus},     {"Num+-", key_code::pad_minus},
};
constexpr int function_keys = 12;

bool take_prefix(std::string_view& s, std::string_view prefix) {
    if (s.substr(0, prefix.size()) != prefix || s.size() == prefix.size()) return false;
    s.remove_prefix(prefix.size());
    return true;
}

}  // namespace

bool shortcut_matches(std::string_view s, const key_event& k) {
    key_mods m;
    for (bool more = true; more;) {
        more = false;
        if (take_prefix(s, "Ctrl+")) more = m.ctrl = true;
        if (take_prefix(s, "Shift+")) more = m.shift = true;
        if (take_prefix(s, "Alt+")) more = m.alt = true;
    }
    if (m.ctrl != k.mods.ctrl || m.shift != k.mods.shift || m.alt != k.mods.alt) return false;
    for (const named_key& n : named_keys)
        if (s == n.name) return k.code == n.code;
    if (s.size() >= 2 && s[0] == 'F' && std::isdigit(static_cast<unsigned char>(s[1]))) {
        const int f = std::stoi(std::string(s.substr(1)));
        return f >= 1 && f <= function_keys &&
               k.code == static_cast<key_code>(static_cast<int>(key_code::f1) + f - 1);
    }
    return s.size() == 1 && k.code == key_code::character && k.character == s[0];
}

}  // namespace kestrune
