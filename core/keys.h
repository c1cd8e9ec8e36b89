// Keys as the program sees them: by name and place on the keyboard, whatever its layout, with the
// modifiers held; and the shortcut texts of the command records that name them.
#pragma once

#include <string_view>

namespace kestrune {

struct key_mods {
    bool shift = false;
    bool ctrl = false;
    bool alt = false;
};

// Keys by name, independent of the keyboard layout; letters and digits come as `character`.
enum class key_code {
    character,  // `character` holds 'A'..'Z' or '0'..'9', upper case
    left, right, up, down,
    insert, del, backspace, escape, enter, space, tab,
    f1, f2, f3, f4, f5, f6, f7, f8, f9, f10, f11, f12,
    pad_plus, pad_minus, pad_enter, pad_0, pad_star, pad_dot, pad_slash,
    other,
};

struct key_event {
    key_code code = key_code::other;
    char character = 0;
    key_mods mods;
    bool auto_repeat = false;
};

// A shortcut text ("Ctrl+Shift+R", "Num+0", "F5", "Left", "E") against a key, modifiers and all.
bool shortcut_matches(std::string_view shortcut, const key_event& k);

}  // namespace kestrune
