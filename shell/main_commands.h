// The main window's commands: their texts, shortcuts and functions in the table, the menus they
// stand in, the shortcut keys, and dispatch in its stages.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "shell/main_screen.h"

namespace kestrune {

class session;

inline constexpr int menu_separator = 0;

// A menu item: a command, a separator, or a submenu with its own items.
struct menu_item {
    int command = menu_separator;
    std::string submenu;  // the submenu's title when not empty
    std::vector<menu_item> items;
};

struct menu {
    std::string title;
    std::vector<menu_item> items;
};

// The menu bar, left to right. Recent files stand where the first recent file's id stands.
const std::vector<menu>& main_menus();

// Fills the session's table with every command of the window.
void add_main_commands(session& s);

// Every command goes this way: focus back to the window, the window's own buttons and Help first,
// then an open editor or the Mixer, then the general commands, each with the recording refusal
// and the note-offs of MIDI thru before file commands.
void dispatch_command(session& s, int id);

// The command a key is the shortcut of, 0 when none is.
int command_for_key(const session& s, const key_event& k);
// A portable shortcut text ("Ctrl+Shift+R", "Num+0", "F5", "E") against a key.
bool shortcut_matches(std::string_view shortcut, const key_event& k);

// The File menu's recent-file item text: "&1 /path/song.sng".
std::string recent_file_item_text(int index, const std::string& path);

}  // namespace kestrune
