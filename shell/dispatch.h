// How the window runs commands: by number from the menus, buttons and pop-ups, and by key.
#pragma once

#include "core/command.h"
#include "core/keys.h"

#include <string>

namespace kestrune {

class session;

// Runs a command of the session's table with its dialog in a window, then brings the focus back
// to the main window and the menus up to date. A disabled command does nothing (refused).
outcome dispatch_command(session& s, int id);
// With the values given and no dialog: a pop-up's item.
outcome dispatch_command(session& s, int id, field_values values);
// A key first runs the command whose shortcut it is (held, only a command that repeats); only a
// key no shortcut claims reaches the screen. True when the key was used.
bool press_key(session& s, const key_event& k);
// A button's tip: the command's name and its shortcut, "Cycle (C)".
std::string command_tip(const session& s, int id);
// A column header's tip: what the column holds and the command that works on it, from its record.
std::string header_tip(const session& s, int x, int y);
// Whether the session's command can run now.
bool command_enabled(const session& s, int id);

}  // namespace kestrune
