// One table of commands: id -> text, shortcut, enabled, checked, run. Menus, keys, child buttons,
// popups, kestrune-tool apply and tests all dispatch through it.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrune {

struct command {
    int id = 0;
    std::string text;      // the menu text with its "&" and "...", e.g. "&Load Song..."
    std::string shortcut;  // portable key sequence text, e.g. "Ctrl+L", or empty
    std::function<bool()> enabled;  // empty: always enabled
    std::function<bool()> checked;  // empty: not a check item
    std::function<void()> run;
};

class command_table {
public:
    // Adds or replaces the command with c.id.
    void add(command c);
    const command* find(int id) const;
    // By the menu text without "&", "..." and the shortcut, ignoring case ("Load Song").
    const command* find_by_name(std::string_view name) const;
    const std::vector<command>& all() const { return commands_; }
    bool is_enabled(int id) const;
    // Runs the command if it exists and is enabled; false otherwise.
    bool run(int id) const;

private:
    std::vector<command> commands_;
};

// The menu text as the command's name: no "&", no "...", no tab and what follows.
std::string command_name(std::string_view menu_text);

}  // namespace kestrune
