// The help page of each command of the menus, keys and buttons: what F1 over a menu item shows.
#pragma once

#include <string_view>

namespace kestrune {

// The page of a command; the main window's page for a command without one of its own.
std::string_view help_page_of_command(int id);

}  // namespace kestrune
