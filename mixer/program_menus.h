// The program field's pop-ups: the General MIDI and the numbered program menus, 16 groups of 8
// with the port's patch names, and the drum kits of a drum channel.
#pragma once

#include <array>
#include <string>
#include <vector>

namespace kestrune {

using program_names = std::array<std::string, 128>;

struct popup_item {
    int command = 0;
    std::string text;
    bool checked = false;
};
struct popup_group {
    std::string title;  // empty: the items stand in the menu itself
    std::vector<popup_item> items;
};
using program_popup = std::vector<popup_group>;

// A program menu (its items run commands 101 to 228) or, for a drum channel, the kit menu (301
// to 310); the item of `program` is checked.
program_popup program_menu(const program_names& names, bool gm, int program);
program_popup drum_menu(int program);

// The program a menu command sets; -1 for a command of neither menu.
int program_of_command(int command);
// A drum channel's field: the kit whose program is the highest not above `program`.
const char* drum_kit_name(int program);

}  // namespace kestrune
