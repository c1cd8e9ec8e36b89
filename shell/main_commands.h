// The session's command table and the menu bar that lists it.
#pragma once

#include <string>
#include <vector>

#include "core/command_table.h"

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

// The commands that need no window: the track functions, quantize, undo and the note pad, and
// the editors' and the mixer's. kestrune-tool apply reads the same.
void add_program_commands(command_table& table);
// Fills the session's table: the program's commands, the File menu's and the window's own.
void add_main_commands(session& s);
// The window's own: transport keys, mode buttons, Options, preferences, zoom, About, Quit.
void add_window_commands(session& s);
command_record note_pad_command();

// The page F1 shows for a command: its own, else the main window's.
std::string_view command_help_page(const command_table& table, int id);

// The File menu's recent-file item text: "&1 /path/song.sng".
std::string recent_file_item_text(int index, const std::string& path);

}  // namespace kestrune
